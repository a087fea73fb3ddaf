#include <sys/file.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "../cli/archive.h"
#include "environment.h"
#include "launch.h"
#include "line_buffer.h"
#include "recording.h"
#include "shared_mutex.h"
#include "strays.h"
#include "system_calls.h"
#include "tool.h"
#include "trace.h"

// `zelsim record`: a program with the recorder in front of it.

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

bool is_compressed(const std::string &file) { return file.ends_with(kCompressed); }

// The file that the program writes. A compressed recording is made of it at the end: if zelsim is killed before, the lines
// are in the plain file.
std::string plain_file(const std::string &file) { return is_compressed(file) ? file + ".part" : file; }

// Prints a message. It is no Failure: the program has run, and zelsim ends with the program's status.
void warn_about_recording(const std::string &what) { std::fprintf(stderr, "zelsim: record: %s\n", what.c_str()); }

std::string why_not_written(const std::string &file) { return "cannot write '" + file + "': " + std::strerror(errno); }

/** The file that the program writes. No other recorder writes into it as long as this lives. */
class PlainFile {
 public:
  explicit PlainFile(const std::string &path)
      : path_(path), file_(sys::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666)) {
    if (file_.get() < 0) throw Failure("--output: " + why_not_written(path));
    bool is_taken = flock(file_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (is_taken) throw Failure("--output: another zelsim record writes into '" + path + "'");
    sys::make_empty(file_.get());
  }

  const std::string &path() const { return path_; }

  /** Returns false with errno if the text is not there as a whole. */
  bool write(const std::string &text) { return write_all(file_.get(), bytes_of(text)); }

  off_t size() const { return sys::lseek(file_.get(), 0, SEEK_END); }

 private:
  std::string path_;
  sys::File file_;
};

// The first line, and as remarks the program's command line and the folder of its board, if it is on one.
void write_title(PlainFile &file, const Words &words) {
  std::string text = recording_title(host_time_us()) + "#";
  for (const std::string &word : words) text += " " + escaped(word);
  text += "\n";
  std::string board = variable(kBoardFolderVariable);
  if (!board.empty()) text += kBoardRemark + escaped(board) + "\n";
  if (!file.write(text)) throw Failure("--output: " + why_not_written(file.path()));
}

// A remark about a call without an answer: its process was killed in it, or is still in it.
std::string remark_about(BegunCall &row, int64_t start_ns) {
  char text[kCallText];
  row.call.given.data = row.given;
  size_t length = asked_text(row.call, text, sizeof text);
  std::string asked(text, length);
  int64_t began_us = (row.call.began_ns - start_ns) / 1000;
  return format("# no answer: %lld.%06lld %u/%u %s\n", static_cast<long long>(began_us / 1000000),
                static_cast<long long>(began_us % 1000000), row.process, row.thread, asked.c_str());
}

/** The buffer that the program's processes fill. They find it among zelsim's own descriptors, so it ends with
 *  zelsim. */
class SharedLines {
 public:
  SharedLines() : file_(memfd_create("zelsim-record", MFD_CLOEXEC)) {
    bool has_room = file_.get() >= 0 && ftruncate(file_.get(), sizeof(LineBuffer)) == 0;
    if (has_room) buffer_ = map_line_buffer(file_.get());
    if (buffer_ == nullptr) return;
    make_shared_mutex(buffer_->mutex, PTHREAD_MUTEX_ERRORCHECK);
    buffer_->magic = kLineBufferMagic;
  }

  /** Empty without a buffer: each line is then written at once. */
  std::string path() const {
    return buffer_ != nullptr ? format("/proc/%d/fd/%d", getpid(), file_.get()) : std::string();
  }

  /** Ends the recording: what processes do from now on is not written. Returns the lines that are left; nothing if an
   *  earlier write to the file has failed. */
  std::optional<std::string> finish(int64_t start_ns) {
    LineBufferGuard guard(buffer_);
    if (!guard.holds()) return "";
    std::string rest(buffer_->text, buffer_->size);
    buffer_->size = 0;
    buffer_->has_ended = 1;
    if (buffer_->failed != 0) return std::nullopt;
    for (BegunCall &row : buffer_->begun) {
      if (row.process != 0) rest += remark_about(row, start_ns);
    }
    return rest;
  }

 private:
  sys::File file_;
  LineBuffer *buffer_ = nullptr;
};

void compress(const std::string &plain, const std::string &file) {
  constexpr size_t kPiece = 0x40000;
  OutputFile packed(file, "--output");
  GzipWriter compressed([&](Bytes bytes) { packed.write(bytes); }, GzipWriter::kQuick);
  std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(std::fopen(plain.c_str(), "re"), std::fclose);
  if (stream == nullptr) refuse_unreadable(plain, "--output");
  std::vector<uint8_t> piece(kPiece);
  for (;;) {
    size_t count = std::fread(piece.data(), 1, piece.size(), stream.get());
    if (count == 0) break;
    compressed.write({piece.data(), count});
  }
  if (std::ferror(stream.get()) != 0) refuse_unreadable(plain, "--output");
  compressed.finish();
  packed.commit();
  fs::remove(plain);
}

void compress_or_tell(const std::string &plain, const std::string &file) {
  try {
    compress(plain, file);
  } catch (const std::exception &trouble) {
    warn_about_recording(trouble.what() + std::string("; the recording is in '") + plain + "'");
  }
}

void wait_for_strays(std::vector<pid_t> &strays, const std::string &mark) {
  if (strays.empty()) return;
  hold_signals();
  warn_about_recording(running_text(strays.size()) + ", and the recording goes on until its end or Ctrl-C");
  wait_for(strays, mark);
}

// Tells why a recording has no line.
void tell_empty(const std::string &program) {
  std::string file = find_program(program);
  if (!is_executable(file)) return;  // that was told
  if (is_static(file)) {
    warn_about_recording("no call was recorded: '" + escaped(file) + "' is linked statically");
  } else {
    warn_about_recording("no call was recorded: the program made none, or its environment was cleared");
  }
}

void finish(SharedLines &lines, PlainFile &file, int64_t start_ns, off_t title_size, const std::string &program) {
  std::optional<std::string> rest = lines.finish(start_ns);
  if (!rest) return;
  bool is_empty = file.size() == title_size && rest->empty();
  if (!file.write(*rest + kRecordingEnd + "\n")) {
    warn_about_recording(why_not_written(file.path()));
    return;
  }
  if (is_empty) tell_empty(program);
}

}  // namespace

void record_program(const CommandLine &line) {
  if (line.words.empty()) throw Usage("PROGRAM: missing, see zelsim record --help");
  if (line.output.empty()) throw Usage("--output: missing, see zelsim record --help");
  if (line.output == "-") throw Usage("--output: must be a file: the program prints to standard output");
  std::string target = fs::absolute(line.output);
  if (!line.board.empty()) put_on_board(line);
  PlainFile file(plain_file(target));
  write_title(file, line.words);
  off_t title_size = file.size();
  put_recorder_first();
  set_variable(kRecordVariable, file.path());
  SharedLines lines;
  set_variable(kRecordBufferVariable, lines.path());
  int64_t start_ns = monotonic_ns();
  std::string start = std::to_string(start_ns);
  set_variable(kRecordStartVariable, start);
  unsetenv(kReplayVariable);
  int status = run_and_wait(line.words);
  std::string mark = std::string(kRecordStartVariable) + "=" + start;
  bool has_ended_by_itself = WIFEXITED(status) && !was_asked_to_end();
  std::vector<pid_t> strays = processes_with(mark);
  if (has_ended_by_itself) wait_for_strays(strays, mark);
  if (!strays.empty()) warn_about_recording(running_text(strays.size()) + ": further calls are not recorded");
  finish(lines, file, start_ns, title_size, line.words[0]);
  if (is_compressed(target)) compress_or_tell(file.path(), target);
  end_like(status);
}

}  // namespace zelsim::tool
