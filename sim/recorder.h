#pragma once

#include <time.h>

#include <cstddef>
#include <cstdint>

#include "nodes.h"
#include "request.h"

// The recorder stands in front of whatever answers the nodes, the real drivers or the virtual switch. A call of a program
// is handed on and written down, or answered from a recording.

namespace zelsim {

enum class CallKind : uint8_t { Open, Close, Request, Read, Write, Seek, Pause, Command };

/** Bytes of a call: a request's record, data of the flash, or the line of a command. */
struct CallBytes {
  const uint8_t *data = nullptr;
  size_t size = 0;
};

/** A call and, once it was made, its result. */
struct NodeCall {
  CallKind kind;
  Node node = Node::None;
  int fd = -1;               // of the node; of a run of debugCmd, its standard output; -1 for a command line
  int flags = 0;             // of an open
  int whence = 0;            // of a seek
  uint32_t number = 0;       // the whole ioctl code of a request
  int64_t at = 0;            // position in the flash before the call
  int64_t argument = 0;      // bytes of a read or write, offset of a seek, microseconds of a pause
  CallBytes given = {};      // what the program gives
  CallBytes taken = {};      // what it has afterwards, if that differs from `given`; for debugCmd what it prints
  CallBytes complaint = {};  // what debugCmd prints on stderr
  int64_t result = 0;
  int error = 0;  // errno of a failure
  int64_t began_ns = 0;
  int64_t ended_ns = 0;
};

/** True for a run of debugCmd. A command line, which may run it several times, has no descriptor. */
constexpr bool is_tool_run(const NodeCall &call) { return call.kind == CallKind::Command && call.fd >= 0; }

/** The text of a call without its result, as a trace has it. Returns its length. */
size_t call_text(const NodeCall &call, char *text, size_t size);
/** The same for a call that has no answer yet. */
size_t asked_text(const NodeCall &asked, char *text, size_t size);
/** A call without bytes has at most this. */
constexpr size_t kCallText = 1024;

/** The last line of a recording. */
constexpr char kRecordingEnd[] = "end";

// What the environment hands to the recorder.
constexpr char kRecordVariable[] = "ZELSIM_RECORD";               // the file, which has its first line already
constexpr char kRecordStartVariable[] = "ZELSIM_RECORD_START";    // when it began: nanoseconds of the monotonic clock
constexpr char kRecordBufferVariable[] = "ZELSIM_RECORD_BUFFER";  // line_buffer.h
constexpr char kReplayVariable[] = "ZELSIM_REPLAY";               // the tape (tape.h)
constexpr char kRecordToolsVariable[] = "ZELSIM_RECORD_TOOLS";    // folder of the recorder's debugCmd

inline int64_t monotonic_ns() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

/** Writes the line of a call, which may stay in the buffer for a while. errno stays. */
void write_down(const NodeCall &call);
/** Writes the buffered lines into the file if the last write was at least `since_ns` ago. errno stays. */
void write_buffered(int64_t since_ns);

/** True if a recording answers. */
bool replays();
/** True if the recording has this call as the next one of this thread. */
bool is_next_recorded(const NodeCall &call);
/** What a run of debugCmd prints. */
struct Printed {
  CallBytes output;
  CallBytes complaint;
};

/** Answers a call from the recording: returns its result, fills `data` and sets errno. `data` is the record, the bytes of a
 *  read, or a Printed for a run of debugCmd. For a pause it returns 1 if the program has to sleep, 0 if not. Ends the process
 *  if the recording has no such call. */
int64_t replay(const NodeCall &call, void *data = nullptr);

}  // namespace zelsim
