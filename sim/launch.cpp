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
#include "recorder.h"
#include "tool.h"

// How zelsim starts a program, or becomes one; `zelsim run`.

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
  if (list.empty()) {
    set_variable(name, value);
    return;
  }
  bool is_first = (list + ":").starts_with(value + ":");
  if (!is_first) set_variable(name, value + ":" + list);
}

void put_switch(const char *name, bool on) { set_variable(name, on ? "1" : "0"); }

// A trace tells one run: an older file is emptied.
std::string trace_target(const std::string &file) {
  if (file.empty() || file == "-") return "-";
  std::ofstream emptied(file);
  if (!emptied) throw Usage("--trace: cannot write '" + file + "': " + std::strerror(errno));
  return fs::absolute(file);
}

// A replay needs no board, and no trace: `zelsim trace` shows the calls of the recording.
void refuse_beside_replay(const CommandLine &line) {
  if (!line.board.empty()) throw Usage("--board: not with --replay, which answers instead of a board");
  bool wants_trace = line.trace || line.trace_opens || line.trace_times;
  if (wants_trace) throw Usage("--trace: not with --replay: 'zelsim trace FILE' shows the calls of the recording");
  if (line.chip_times) throw Usage("--chip-times: not with --replay, which answers instead of a board");
}

volatile sig_atomic_t g_program;
volatile sig_atomic_t g_was_asked_to_end;

void pass_signal_on(int number) {
  g_was_asked_to_end = 1;
  if (g_program != 0) kill(static_cast<pid_t>(g_program), number);
}

// A signal that was ignored at the start, as under nohup, stays ignored.
void pass_on_unless_ignored(int number) {
  auto before = std::signal(number, pass_signal_on);
  if (before == SIG_IGN) std::signal(number, SIG_IGN);
}

// Ends zelsim by a signal, which may be blocked: a file that is written holds some of them.
[[noreturn]] void end_by(int number) {
  constexpr int kSignalStatus = 128;  // of a shell
  std::signal(number, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, number);
  sigprocmask(SIG_UNBLOCK, &only, nullptr);
  kill(getpid(), number);
  std::_Exit(kSignalStatus + number);
}

}  // namespace

fs::path library_folder() { return fs::canonical("/proc/self/exe").parent_path().parent_path() / "lib/zelboard"; }

bool is_executable(const std::string &file) { return access(file.c_str(), X_OK) == 0; }

std::string find_program(const std::string &program) {
  if (program.find('/') != std::string::npos) return program;
  for (const std::string &folder : split(variable("PATH"), ':')) {
    std::string file = folder + '/' + program;
    if (is_executable(file)) return file;
  }
  return program;
}

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

bool was_asked_to_end() { return g_was_asked_to_end != 0; }

void set_variable(const char *name, const std::string &value) { setenv(name, value.c_str(), 1); }

VariableForNow::VariableForNow(const char *name, const std::optional<std::string> &value) : name_(name) {
  const char *before = getenv(name);
  if (before != nullptr) before_ = before;
  put(value);
}

VariableForNow::~VariableForNow() { put(before_); }

void VariableForNow::put(const std::optional<std::string> &value) const {
  if (value) {
    set_variable(name_, *value);
  } else {
    unsetenv(name_);
  }
}

void preload(const std::string &library) {
  put_first("LD_PRELOAD", loadable(library));
  // A program with the address sanitizer otherwise refuses to start behind any preloaded library.
  put_first("ASAN_OPTIONS", "verify_asan_link_order=0");
}

void put_recorder_first() {
  preload("libzelrecord.so");
  fs::path tools = library_folder() / "recorder";
  put_first("PATH", tools);
  set_variable(kRecordToolsVariable, tools);
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

// Waits until a process has ended, and does not reap it: until it is reaped, no other process gets its number. So a
// signal that is handed on reaches no other process.
static void wait_for_end(pid_t program) {
  for (;;) {
    siginfo_t ended = {};
    int failed = waitid(P_PID, static_cast<id_t>(program), &ended, WEXITED | WNOWAIT);
    if (failed == 0 || errno != EINTR) return;
  }
}

// So a signal waits until there is a program to pass it on to. Returns the signals that were held before.
static sigset_t hold_what_is_passed_on() {
  sigset_t passed_on;
  sigset_t before;
  sigemptyset(&passed_on);
  sigaddset(&passed_on, SIGTERM);
  sigaddset(&passed_on, SIGHUP);
  sigprocmask(SIG_BLOCK, &passed_on, &before);
  return before;
}

int run_and_wait(const Words &words) {
  // Keys of a terminal reach the program, too.
  auto interrupt = std::signal(SIGINT, SIG_IGN);
  auto quit = std::signal(SIGQUIT, SIG_IGN);
  const sigset_t before = hold_what_is_passed_on();
  pid_t program = fork();
  if (program < 0) fail_to("start a process");
  if (program == 0) {
    std::signal(SIGINT, interrupt);
    std::signal(SIGQUIT, quit);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    become(words);
  }
  g_program = program;
  pass_on_unless_ignored(SIGTERM);
  pass_on_unless_ignored(SIGHUP);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  int status = 0;
  wait_for_end(program);
  g_program = 0;
  waitpid(program, &status, 0);
  std::signal(SIGINT, interrupt);
  std::signal(SIGQUIT, quit);
  return status;
}

void end_like(int status) {
  std::fflush(nullptr);
  if (WIFSIGNALED(status)) end_by(WTERMSIG(status));
  std::exit(WEXITSTATUS(status));
}

void put_on_board(const CommandLine &line) {
  set_variable(kBoardFolderVariable, open_or_make_board(line.board).folder);
  put_switch(kTraceOpensVariable, line.trace_opens);
  put_switch(kTraceTimesVariable, line.trace_times);
  put_switch(kFastVariable, line.fast);
  put_switch(kChipTimesVariable, line.chip_times);
  preload("libzelsim.so");
  put_first("PATH", library_folder());  // of debugCmd
  bool is_recorded = variable(kRecordVariable)[0] != '\0' || variable(kReplayVariable)[0] != '\0';
  if (is_recorded) put_recorder_first();
}

void run(const CommandLine &line) {
  if (line.words.empty()) throw Usage("PROGRAM: missing, see zelsim run --help");
  if (!line.replay.empty()) {
    refuse_beside_replay(line);
    replay_recording(line);
    return;
  }
  put_on_board(line);
  std::string program = find_program(line.words[0]);
  bool runs = is_executable(program);
  set_variable(kTraceVariable, line.trace && runs ? trace_target(*line.trace) : "");
  if (runs && is_static(program))
    std::fprintf(stderr, "zelsim: PROGRAM: '%s' is linked statically: it will not see the board\n",
                 escaped(program).c_str());
  become(line.words);
}

}  // namespace zelsim::tool
