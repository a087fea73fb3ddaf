#pragma once

#include <optional>

#include "recording.h"
#include "scratch_board.h"

// What the virtual switch answers to recorded calls.

namespace zelsim::tool {

struct Answer {
  int64_t result = 0;
  int error = 0;                    // errno of a failure
  std::vector<uint8_t> after = {};  // the record, or what was read
};

/** A copy of a board, which makes the calls of a recording in their order and at their times. */
class Model {
 public:
  Model(const std::string &board, const Recording &recording);
  ~Model();
  Model(const Model &) = delete;
  Model &operator=(const Model &) = delete;

  /** Nothing for a call that has no answer: a pause, or a command that is none of the platform's tool. */
  std::optional<Answer> answer(const RecordedCall &recorded);

  /** Port of the module that the last calls have selected; nothing without a selection. */
  std::optional<unsigned> selected_port() const;

 private:
  void set_time(const RecordedCall &recorded);
  Answer request(const RecordedCall &recorded);
  Answer read(const NodeCall &call);
  Answer write(const RecordedCall &recorded);
  Answer seek(const NodeCall &call);
  Answer open(const NodeCall &call);
  std::optional<Answer> command(const RecordedCall &recorded);

  ScratchBoard board_;
  int64_t began_us_;
  int64_t not_slept_us_ = 0;  // pauses that were counted while the recording was made
  int flash_;
};

}  // namespace zelsim::tool
