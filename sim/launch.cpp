#include "launch.h"

#include <link.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "arguments.h"
#include "tool.h"

// How a program gets onto a board, and a board into the browser: zelsim becomes another program.

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

std::string loadable(const std::string &name) {
  std::string library = library_folder() / name;
  if (!fs::exists(library)) throw Failure("cannot find " + library);
  bool good = library.find_first_of(" :") == std::string::npos;
  if (!good) throw Failure("the loader preloads nothing from a folder with a blank or a colon: " + library);
  return library;
}

// Puts a value in front of a list that is separated by colons, unless it is the first one already.
void put_first(const char *name, const std::string &value) {
  std::string list = variable(name);
  if (list.empty()) return put(name, value);
  bool is_first = (list + ":").starts_with(value + ":");
  if (!is_first) put(name, value + ":" + list);
}

void put_switch(const char *name, bool on) { put(name, on ? "1" : "0"); }

// A trace tells one run: an older file is emptied.
std::string trace_target(const std::string &file) {
  if (file.empty() || file == "-") return "-";
  if (std::ofstream(file)) return fs::absolute(file);
  throw Usage("--trace: cannot write '" + file + "': " + std::strerror(errno));
}

bool is_executable(const std::string &file) { return access(file.c_str(), X_OK) == 0; }

// The file that a program's name stands for; the name itself if it is in no folder of PATH.
std::string find_program(const std::string &program) {
  if (program.find('/') != std::string::npos) return program;
  for (const std::string &folder : split(variable("PATH"), ':')) {
    std::string file = folder + '/' + program;
    if (is_executable(file)) return file;
  }
  return program;
}

// True for an ELF program whose headers name no interpreter: nothing is preloaded into it.
bool is_static(const std::string &program) {
  std::ifstream file(program, std::ios::binary);
  ElfW(Ehdr) header = {};
  file.read(reinterpret_cast<char *>(&header), sizeof header);
  bool is_elf = std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0;
  if (!is_elf || header.e_phentsize != sizeof(ElfW(Phdr))) return false;
  file.seekg(static_cast<std::streamoff>(header.e_phoff));
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    ElfW(Phdr) segment = {};
    file.read(reinterpret_cast<char *>(&segment), sizeof segment);
    if (!file) break;
    if (segment.p_type == PT_INTERP) return false;
  }
  return true;
}

}  // namespace

fs::path library_folder() { return fs::canonical("/proc/self/exe").parent_path().parent_path() / "lib/zelboard"; }

void put(const char *name, const std::string &value) { setenv(name, value.c_str(), 1); }

void preload(const std::string &library) {
  put_first("LD_PRELOAD", loadable(library));
  // A program with the address sanitizer otherwise refuses to start behind any preloaded library.
  put_first("ASAN_OPTIONS", "verify_asan_link_order=0");
}

void become(const Words &words) {
  std::vector<char *> arguments;
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  int error = errno;
  std::string program = escaped(find_program(words[0]));
  std::fprintf(stderr, "zelsim: PROGRAM: cannot run '%s': %s\n", program.c_str(), std::strerror(error));
  int status = error == ENOENT ? 127 : 126;  // as in a shell
  std::exit(status);
}

namespace {

// In the environment: what stands in the arguments of a process everybody can read.
void hand_over_token(const CommandLine &line) {
  constexpr size_t kMost = 4096;
  std::string token = line.token;
  if (!line.token_file.empty()) {
    std::vector<uint8_t> content = read_file(line.token_file, kMost, "--token-file");
    token.assign(content.begin(), content.end());
    token.erase(token.find_last_not_of(" \t\r\n") + 1);
    if (token.empty()) throw Usage("--token-file: '" + line.token_file + "' is empty");
  }
  if (!token.empty()) put(kWebTokenVariable, token);
}

volatile sig_atomic_t g_program;

void hand_on(int number) { kill(static_cast<pid_t>(g_program), number); }

}  // namespace

int run_and_wait(const Words &words) {
  // Keys of a terminal reach the program, too.
  auto interrupt = std::signal(SIGINT, SIG_IGN);
  auto quit = std::signal(SIGQUIT, SIG_IGN);
  pid_t program = fork();
  if (program < 0) throw Failure(std::string("cannot start a process: ") + std::strerror(errno));
  if (program == 0) {
    std::signal(SIGINT, interrupt);
    std::signal(SIGQUIT, quit);
    become(words);
  }
  g_program = program;
  std::signal(SIGTERM, hand_on);
  std::signal(SIGHUP, hand_on);
  int status = 0;
  while (waitpid(program, &status, 0) < 0 && errno == EINTR) continue;
  return status;
}

void end_like(int status) {
  std::fflush(nullptr);
  if (WIFSIGNALED(status)) {
    std::signal(WTERMSIG(status), SIG_DFL);
    raise(WTERMSIG(status));
  }
  std::exit(WEXITSTATUS(status));
}

void put_on_board(const CommandLine &line) {
  put(kBoardFolderVariable, open_or_make_board(line.board).folder);
  put_switch(kTraceOpensVariable, line.trace_opens);
  put_switch(kTraceTimesVariable, line.trace_times);
  put_switch(kFastVariable, line.fast);
  put_switch(kChipTimesVariable, line.chip_times);
  preload("libzelsim.so");
  put_first("PATH", library_folder());  // of debugCmd
}

void run(const CommandLine &line) {
  if (line.words.empty()) throw Usage("PROGRAM: missing, see zelsim run --help");
  if (!line.replay.empty()) replay_recording(line);
  put_on_board(line);
  std::string program = find_program(line.words[0]);
  bool runs = is_executable(program);
  put(kTraceVariable, line.trace && runs ? trace_target(*line.trace) : "");
  if (runs && is_static(program))
    std::fprintf(stderr, "zelsim: PROGRAM: '%s' is linked statically: it will not see the board\n",
                 escaped(program).c_str());
  become(line.words);
}

void serve(const CommandLine &line) {
  std::string program = library_folder() / "zelboard-web";
  std::string board = line.name();
  parse_number(line.port, "--port", 0, 65535);
  bool shows_all = board.empty() && variable(kBoardFolderVariable)[0] == '\0';
  if (shows_all) {
    board = "*";
  } else {
    open_or_make_board(board);
  }
  hand_over_token(line);
  Words arguments = {program, board, line.port, line.listen};
  arguments.insert(arguments.end(), line.hosts.begin(), line.hosts.end());
  std::vector<char *> pointers;
  for (std::string &word : arguments) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  execv(program.c_str(), pointers.data());
  throw Failure("serve: cannot run " + program + ", which the package zelboard-web brings: " + std::strerror(errno));
}

}  // namespace zelsim::tool
