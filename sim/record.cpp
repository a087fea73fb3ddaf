#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "../cli/archive.h"
#include "attached.h"
#include "launch.h"
#include "line_buffer.h"
#include "recording.h"
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

// The program has run: its status is handed on in any case.
void tell(const std::string &trouble) { std::fprintf(stderr, "zelsim: --output: %s\n", trouble.c_str()); }

// The first line, and the program's command line as a remark.
void write_title(const std::string &file, const Words &words) {
  std::string text = recording_title(host_time_us()) + "#";
  for (const std::string &word : words) text += " " + escaped(word);
  text += "\n";
  std::ofstream stream(file);
  stream << text << std::flush;
  if (!stream) throw Failure("--output: cannot write '" + file + "': " + std::strerror(errno));
}

/** The buffer that the program's processes fill. They find it among zelsim's own descriptors, so that nothing is left of it. */
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

  /** Writes what is left, and the closing line. A process that goes on writes its lines behind that. */
  void finish(const std::string &recording) {
    LineBufferGuard guard(buffer_);
    std::string rest;
    if (guard.holds()) {
      rest.assign(buffer_->text, buffer_->size);
      buffer_->size = 0;
      buffer_->passes_on = 1;
    }
    bool has_ended = guard.holds() && buffer_->failed != 0;
    if (has_ended) return;
    rest += std::string(kRecordingEnd) + "\n";
    sys::File file(sys::open(recording.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (!write_all(file.get(), bytes_of(rest))) tell("cannot write '" + recording + "': " + std::strerror(errno));
  }

 private:
  sys::File file_;
  LineBuffer *buffer_ = nullptr;
};

void compress(const std::string &plain, const std::string &file) {
  constexpr size_t kPiece = 0x40000;
  OutputFile packed(file, "--output");
  GzipWriter compressed([&](Bytes bytes) { packed.write(bytes); }, GzipWriter::kQuick);
  std::FILE *stream = std::fopen(plain.c_str(), "re");
  if (stream == nullptr) refuse_unreadable(plain, "--output");
  std::vector<uint8_t> piece(kPiece);
  for (;;) {
    size_t count = std::fread(piece.data(), 1, piece.size(), stream);
    if (count == 0) break;
    compressed.write({piece.data(), count});
  }
  std::fclose(stream);
  compressed.finish();
  packed.commit();
  fs::remove(plain);
}

void compress_or_tell(const std::string &plain, const std::string &file) {
  try {
    compress(plain, file);
  } catch (const std::exception &trouble) {
    tell(trouble.what() + std::string("; the recording is in '") + plain + "'");
  }
}

}  // namespace

void record_program(const CommandLine &line) {
  if (line.words.empty()) throw Usage("PROGRAM: missing, see zelsim record --help");
  if (line.output.empty()) throw Usage("--output: missing, see zelsim record --help");
  if (!line.board.empty()) put_on_board(line);
  std::string file = fs::absolute(line.output);
  std::string plain = plain_file(file);
  write_title(plain, line.words);
  preload("libzelrecord.so");
  put_recorder_tools();
  set_variable(kRecordVariable, plain);
  SharedLines lines;
  set_variable(kRecordBufferVariable, lines.path());
  set_variable(kRecordStartVariable, std::to_string(monotonic_ns()));
  unsetenv(kReplayVariable);
  int status = run_and_wait(line.words);
  lines.finish(plain);
  if (is_compressed(file)) compress_or_tell(plain, file);
  end_like(status);
}

}  // namespace zelsim::tool
