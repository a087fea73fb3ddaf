#include "model_answer.h"

#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "../cli/child.h"
#include "flash.h"
#include "launch.h"
#include "request.h"
#include "rules.h"
#include "system_calls.h"
#include "trace.h"

namespace zelsim::tool {
namespace {

constexpr size_t kLongestRead = kFlashSize;

Answer refused(int error) { return {-1, error, {}}; }

Answer answer_of(int64_t result) { return {result, result < 0 ? errno : 0, {}}; }

// The words of a line between blanks. Nothing for a line in which a shell would find more than words.
std::optional<Words> plain_words(std::string line) {
  constexpr char kSpecial[] = ";&|<>()$`\\\"'*?[]#~={}!";
  line.erase(line.find_last_not_of(" \t\r\n") + 1);
  bool is_plain = line.find_first_of(kSpecial) == std::string::npos && line.find('\n') == std::string::npos;
  if (!is_plain) return std::nullopt;
  std::ranges::replace(line, '\t', ' ');
  Words words = split(line, ' ');
  std::erase(words, "");
  return words;
}

// All links have settled when the recording begins.
void settle(Board &board, int64_t began_us) {
  for (Cage &cage : board.cages) {
    int64_t settled = began_us - static_cast<int64_t>(board.settle_ms) * 1000;
    cage.negotiating_since_us = std::min(cage.negotiating_since_us, settled);
  }
}

// A rule that kills would end zelsim, and not the program of the recording. debugCmd has a process of its own.
void drop_killing_rules(Board &board) {
  for (FaultRule &rule : board.rules) {
    bool kills_zelsim = rule.effect == Effect::Killed && rule.target.node != Node::DebugCmd;
    if (kills_zelsim) rule.effect = Effect::None;
  }
  count_rules(board);
}

}  // namespace

Model::Model(const std::string &board, const Recording &recording) : board_(board), began_us_(recording.began_us) {
  settle(*board_, began_us_);
  drop_killing_rules(*board_);
  flash_ = sys::open((board_.folder() + kFlashFile).c_str(), O_RDWR | O_CLOEXEC);
  if (flash_ < 0) throw Failure("the copy of the board has no flash image: " + std::string(std::strerror(errno)));
}

Model::~Model() { sys::close(flash_); }

std::optional<unsigned> Model::selected_port() const {
  unsigned port = (*board_).gpio.selected_cage;
  return port < kPorts ? std::optional(port) : std::nullopt;
}

// The copy has the time of the recorded call.
void Model::set_time(const RecordedCall &recorded) {
  int64_t ahead_us = began_us_ + recorded.at_us + not_slept_us_ - host_time_us();
  (*board_).paused_us = static_cast<uint64_t>(ahead_us);
}

Answer Model::request(const RecordedCall &recorded) {
  const NodeCall &call = recorded.call;
  if (!is_request_code(call.number)) return refused(ENOTTY);
  std::vector<uint8_t> record = recorded.given;
  record.resize(std::max(kMaxRecord, record.size()));
  auto number = static_cast<uint8_t>(call.number);
  sys::lseek(flash_, static_cast<off_t>(call.at), SEEK_SET);  // an erase is at the position
  errno = 0;
  void *data = recorded.given.empty() ? nullptr : record.data();
  Answer answer = answer_of(answer_request(board_.attached(), call.node, flash_, number, data));
  record.resize(recorded.given.size());
  answer.after = record;
  return answer;
}

Answer Model::read(const NodeCall &call) {
  if (call.node != Node::Flash) return refused(EINVAL);
  size_t size = std::min(static_cast<size_t>(call.argument), kLongestRead);
  std::vector<uint8_t> data(size);
  Answer answer = answer_of(flash_read(board_.attached(), flash_, data.data(), size, static_cast<off_t>(call.at)));
  data.resize(static_cast<size_t>(std::max<int64_t>(answer.result, 0)));
  answer.after = data;
  return answer;
}

Answer Model::write(const RecordedCall &recorded) {
  const NodeCall &call = recorded.call;
  if (call.node != Node::Flash) return refused(EINVAL);
  auto at = static_cast<off_t>(call.at);
  return answer_of(flash_write(board_.attached(), flash_, recorded.given.data(), recorded.given.size(), at));
}

Answer Model::seek(const NodeCall &call) {
  if (call.node != Node::Flash) return refused(ESPIPE);
  sys::lseek(flash_, static_cast<off_t>(call.at), SEEK_SET);
  return answer_of(flash_seek(board_.attached(), flash_, static_cast<off_t>(call.argument), call.whence));
}

// The node of a board is always there: only a fault keeps it closed.
Answer Model::open(const NodeCall &call) {
  FaultCall asked = {};
  asked.node = call.node;
  asked.kind = Call::Open;
  Fault fault = take_fault(*board_, asked);
  return fault.error != 0 ? refused(fault.error) : Answer{};
}

// A recording is somebody else's file: only our own debugCmd is started, and no shell. What a shell would treat in a way of
// its own is no plain line.
std::optional<Answer> Model::command(const RecordedCall &recorded) {
  constexpr std::chrono::seconds kLimit(10);
  constexpr int kHangs = W_EXITCODE(124, 0);  // the status of the command `timeout`
  std::string line(recorded.given.begin(), recorded.given.end());
  std::optional<Words> words = plain_words(line);
  if (!words || words->empty() || words->front() != "debugCmd") return std::nullopt;
  words->front() = library_folder() / "debugCmd";
  sys::File printed(memfd_create("printed", MFD_CLOEXEC));
  sys::File complaint(memfd_create("complaint", MFD_CLOEXEC));  // not compared
  pid_t child = 0;
  int error = start_child(child, *words, own_environment(), printed.get(), complaint.get());
  if (error != 0) throw Failure(words->front() + ": cannot be run: " + std::strerror(error));
  int status = wait_for_child(child, kLimit).value_or(kHangs);
  std::string text = content_of(printed.get());
  return Answer{status, 0, {text.begin(), text.end()}};
}

std::optional<Answer> Model::answer(const RecordedCall &recorded) {
  const NodeCall &call = recorded.call;
  set_time(recorded);
  switch (call.kind) {
    case CallKind::Open:
      return open(call);
    case CallKind::Request:
      return request(recorded);
    case CallKind::Read:
      return read(call);
    case CallKind::Write:
      return write(recorded);
    case CallKind::Seek:
      return seek(call);
    case CallKind::Command:
      return command(recorded);
    case CallKind::Pause:
      not_slept_us_ += std::max<int64_t>(call.argument - recorded.duration_us, 0);
      return std::nullopt;
    case CallKind::Close:
      break;
  }
  return std::nullopt;
}

}  // namespace zelsim::tool
