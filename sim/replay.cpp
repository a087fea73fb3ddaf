#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <map>

#include "launch.h"
#include "recording.h"
#include "shared_mutex.h"
#include "strays.h"
#include "system_calls.h"
#include "tape.h"
#include "tool.h"

// `zelsim run --replay`: a recording becomes a tape, which answers the program.

namespace zelsim::tool {
namespace {

/** The calls of a recording by thread; threads in the order of their first calls. */
using Threads = std::vector<std::vector<const RecordedCall *>>;

Threads threads_of(const Recording &recording) {
  std::map<std::pair<uint32_t, uint32_t>, size_t> known;
  Threads threads;
  for (const RecordedCall &call : recording.calls) {
    auto [place, is_new] = known.try_emplace({call.process, call.thread}, threads.size());
    if (is_new) threads.emplace_back();
    threads[place->second].push_back(&call);
  }
  return threads;
}

/** The bytes of a tape: tables first, then what they point to. */
class TapeMaker {
 public:
  TapeMaker(const Threads &threads, uint32_t cut_after, bool fast) {
    size_t calls = 0;
    for (const auto &thread : threads) calls += thread.size();
    head_.magic = kTapeMagic;
    head_.streams = static_cast<uint32_t>(threads.size());
    head_.cut_after = cut_after;
    head_.fast = fast;
    head_.stream_table = {sizeof head_, threads.size() * sizeof(TapeStream)};
    head_.call_table = {head_.stream_table.at + head_.stream_table.size, calls * sizeof(TapeCall)};
    bytes_at_ = head_.call_table.at + head_.call_table.size;
    for (const auto &thread : threads) add(thread);
  }

  std::vector<uint8_t> tape() const {
    std::vector<uint8_t> all;
    auto append = [&](const void *from, size_t size) {
      const auto *first = static_cast<const uint8_t *>(from);
      all.insert(all.end(), first, first + size);
    };
    append(&head_, sizeof head_);
    append(streams_.data(), streams_.size() * sizeof(TapeStream));
    append(calls_.data(), calls_.size() * sizeof(TapeCall));
    append(bytes_.data(), bytes_.size());
    return all;
  }

 private:
  TapePiece add_bytes(const void *from, size_t size) {
    const auto *first = static_cast<const uint8_t *>(from);
    TapePiece piece = {bytes_at_ + bytes_.size(), size};
    bytes_.insert(bytes_.end(), first, first + size);
    return piece;
  }

  void add(const std::vector<const RecordedCall *> &thread) {
    auto first = static_cast<uint32_t>(calls_.size());
    streams_.push_back({first, static_cast<uint32_t>(thread.size()), 0, kNoOwner});
    for (const RecordedCall *recorded : thread) {
      TapeCall row = {};
      row.call = recorded->call;
      row.line = recorded->line;
      row.given = add_bytes(recorded->given.data(), recorded->given.size());
      row.taken = add_bytes(recorded->taken.data(), recorded->taken.size());
      row.complaint = add_bytes(recorded->complaint.data(), recorded->complaint.size());
      row.text = add_bytes(recorded->text.data(), recorded->text.size());
      calls_.push_back(row);
    }
  }

  TapeHead head_ = {};
  std::vector<TapeStream> streams_;
  std::vector<TapeCall> calls_;
  std::vector<uint8_t> bytes_;
  uint64_t bytes_at_;
};

/** A tape in a file that all processes of the program map. The file is removed at the end of its scope. */
class TapeFile {
 public:
  explicit TapeFile(const std::vector<uint8_t> &tape)
      : path_(std::filesystem::temp_directory_path() / "zelsim-XXXXXX") {
    sys::File file(mkostemp(path_.data(), O_CLOEXEC));
    if (file.get() < 0) fail_to("write " + path_);
    if (!write_all(file.get(), tape)) remove_and_throw("write");
    void *mapped = mmap(nullptr, tape.size(), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (mapped == MAP_FAILED) remove_and_throw("map");
    mapped_ = static_cast<uint8_t *>(mapped);
    make_shared_mutex(reinterpret_cast<TapeHead *>(mapped_)->mutex);
  }
  // A process that still runs must not reach a driver: its next call ends it.
  ~TapeFile() {
    reinterpret_cast<TapeHead *>(mapped_)->failed = 1;
    unlink(path_.c_str());
  }
  TapeFile(const TapeFile &) = delete;
  TapeFile &operator=(const TapeFile &) = delete;

  const std::string &path() const { return path_; }
  const TapeHead &head() const { return *reinterpret_cast<const TapeHead *>(mapped_); }
  const TapeStream &stream(uint32_t index) const {
    return reinterpret_cast<const TapeStream *>(mapped_ + head().stream_table.at)[index];
  }

 private:
  [[noreturn]] void remove_and_throw(const std::string &what) const {
    int error = errno;
    unlink(path_.c_str());
    errno = error;
    fail_to(what + " " + path_);
  }

  std::string path_;
  uint8_t *mapped_ = nullptr;
};

// Tells how many calls the program did not make. They are no failure: it may have ended early.
void tell_rest(const TapeFile &tape, const Threads &threads) {
  size_t left = 0;
  const RecordedCall *first = nullptr;
  for (uint32_t i = 0; i < threads.size(); ++i) {
    for (size_t position = tape.stream(i).position; position < threads[i].size(); ++position) {
      const RecordedCall *call = threads[i][position];
      if (call->call.kind == CallKind::Pause) continue;
      ++left;
      if (first == nullptr || call->line < first->line) first = call;
    }
  }
  if (left == 0) return;
  std::fprintf(stderr, "zelsim: replay: %zu calls of the recording were not made; the first one, line %u: %s\n", left,
               first->line, escaped(first->text).c_str());
}

// What the program has left running is answered, too.
void answer_strays(const std::string &mark) {
  std::vector<pid_t> strays = processes_with(mark);
  if (strays.empty()) return;
  hold_signals();
  std::fprintf(stderr, "zelsim: replay: %s, and the recording answers until its end or Ctrl-C\n",
               running_text(strays.size()).c_str());
  wait_for(strays, mark);
  if (!strays.empty())
    std::fprintf(stderr, "zelsim: replay: %s: a further call ends it\n", running_text(strays.size()).c_str());
}

int answer_program(const CommandLine &line) {
  const Recording recording = read_recording(line.replay);
  const Threads threads = threads_of(recording);
  TapeFile tape(TapeMaker(threads, recording.cut_after, line.fast).tape());
  put_recorder_first();
  set_variable(kReplayVariable, tape.path());
  unsetenv(kRecordVariable);
  int status = run_and_wait(line.words);
  bool has_ended_by_itself = WIFEXITED(status) && !was_asked_to_end();
  if (has_ended_by_itself) answer_strays(std::string(kReplayVariable) + "=" + tape.path());
  if (tape.head().failed != 0) {
    std::fprintf(stderr, "zelsim: %s", tape.head().message);
    return W_EXITCODE(kNotInRecording, 0);
  }
  tell_rest(tape, threads);
  return status;
}

}  // namespace

// Never returns.
void replay_recording(const CommandLine &line) { end_like(answer_program(line)); }

}  // namespace zelsim::tool
