#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "recorder.h"

// A recording as zelsim reads it. The first line has version and time; then each call has a line. Lines that begin with #
// are remarks. The last line closes it: without that it has been cut off.

namespace zelsim::tool {

constexpr char kRecordingTitle[] = "zelsim recording 2";
/** It has no closing line. */
constexpr char kOldRecordingTitle[] = "zelsim recording 1";
/** Begins the remark that names the folder of the recorded board. */
constexpr char kBoardRemark[] = "# board ";
/** The end of a compressed recording's name. */
constexpr char kCompressed[] = ".gz";

struct RecordedCall {
  uint32_t line;  // of the file
  int64_t at_us;  // since the recording began
  int64_t duration_us;
  uint32_t process;
  uint32_t thread;
  std::string text;     // as a trace has it
  NodeCall call;        // without its bytes
  std::string program;  // of a process's first line: the program's name
  std::vector<uint8_t> given;
  std::vector<uint8_t> taken;      // empty: the same as `given`
  std::vector<uint8_t> complaint;  // what debugCmd printed on stderr

  /** The bytes after the call. */
  const std::vector<uint8_t> &after() const { return taken.empty() ? given : taken; }
};

struct Recording {
  int64_t began_us;  // since 1970
  std::vector<RecordedCall> calls;
  std::string board = {};  // folder of the board that was recorded; empty without one
  uint32_t cut_after = 0;  // the last whole line of a recording that was cut off; 0: it is whole
};

/** The line that a recording begins with. */
std::string recording_title(int64_t began_us);

/** Reads a file, or standard input for "-". Throws Usage if it is no recording; the text has the number of a line that
 *  cannot be read. If the recording was cut off, a line on stderr says so, and its last line is left out unless it is
 *  whole. */
Recording read_recording(const std::string &file);

}  // namespace zelsim::tool
