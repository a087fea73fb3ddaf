#pragma once

#include <optional>

#include "environment.h"
#include "launch.h"
#include "recording.h"
#include "scratch_board.h"

// What the virtual switch answers to recorded calls.

namespace zelsim::tool {

struct Answer {
  int64_t result = 0;
  int error = 0;                    // errno of a failure
  std::vector<uint8_t> after = {};  // the record, what was read, or what debugCmd printed
};

/** A copy of a board. It gets the calls of a recording in their order, at their times. */
class Model {
 public:
  Model(const std::string &board, const Recording &recording);
  ~Model();
  Model(const Model &) = delete;
  Model &operator=(const Model &) = delete;

  /** The answer to a call. Nothing for a call without one: a pause, a close, a command line that is not one plain run
   *  of debugCmd. */
  std::optional<Answer> answer(const RecordedCall &recorded);

  /** The port whose module is selected; nothing without a selection. */
  std::optional<unsigned> selected_port() const;

 private:
  void set_time(const RecordedCall &recorded);
  Answer request(const RecordedCall &recorded);
  Answer read(const NodeCall &call);
  Answer write(const RecordedCall &recorded);
  Answer seek(const NodeCall &call);
  Answer open(const NodeCall &call);
  static std::optional<Answer> command(const RecordedCall &recorded);

  ScratchBoard board_;
  // For debugCmd, the only program that is started: it works on the copy, and nothing is in front of it.
  VariableForNow board_folder_{kBoardFolderVariable, board_.folder()};
  VariableForNow trace_{kTraceVariable, ""};
  VariableForNow preloaded_{"LD_PRELOAD", std::nullopt};
  int64_t began_us_;
  int64_t not_slept_us_ = 0;  // pauses that the recorded program counted instead of slept
  int flash_;                 // descriptor of the copy's flash image
};

}  // namespace zelsim::tool
