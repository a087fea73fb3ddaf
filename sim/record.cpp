#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "../cli/archive.h"
#include "launch.h"
#include "recording.h"
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

// The first line, and the program's command line as a remark.
void write_title(const std::string &file, const Words &words) {
  std::string text = recording_title(host_time_us()) + "#";
  for (const std::string &word : words) text += " " + escaped(word);
  text += "\n";
  std::ofstream stream(file);
  stream << text << std::flush;
  if (!stream) throw Failure("--output: cannot write '" + file + "': " + std::strerror(errno));
}

void compress(const std::string &plain, const std::string &file) {
  constexpr size_t kPiece = 0x40000;
  OutputFile packed(file, "--output");
  GzipWriter compressed([&](Bytes bytes) { packed.write(bytes); });
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
  set_variable(kRecordStartVariable, std::to_string(monotonic_ns()));
  unsetenv(kReplayVariable);
  int status = run_and_wait(line.words);
  if (is_compressed(file)) compress(plain, file);
  end_like(status);
}

}  // namespace zelsim::tool
