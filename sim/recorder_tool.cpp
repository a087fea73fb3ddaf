#include <errno.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "environment.h"
#include "recorder.h"

// The recorder's debugCmd. It stands first in PATH, so that it sees every run of the platform's tool, whoever starts it. It
// runs the tool behind it and writes down what that prints, or answers from a recording.

namespace {

using namespace zelsim;

constexpr char kName[] = "debugCmd";
constexpr int kNotFound = 127;  // as in a shell

/** Text that grows. What the machine has no memory for is lost. */
class Text {
 public:
  ~Text() { free(text_); }
  Text() = default;
  Text(const Text &) = delete;
  Text &operator=(const Text &) = delete;

  void add(const void *bytes, size_t size) {
    auto *longer = static_cast<uint8_t *>(realloc(text_, size_ + size + 1));
    if (longer == nullptr) return;
    text_ = longer;
    memcpy(text_ + size_, bytes, size);
    size_ += size;
  }

  CallBytes bytes() const { return {text_, size_}; }

 private:
  uint8_t *text_ = nullptr;
  size_t size_ = 0;
};

/** The command line, as a shell would have it. */
void add_words(Text &line, char **argv) {
  line.add(kName, strlen(kName));
  for (char **word = argv + 1; *word != nullptr; ++word) {
    line.add(" ", 1);
    line.add(*word, strlen(*word));
  }
}

bool is_this_program(const char *file) {
  struct stat own = {};
  struct stat other = {};
  if (stat("/proc/self/exe", &own) != 0 || stat(file, &other) != 0) return false;
  return own.st_ino == other.st_ino && own.st_dev == other.st_dev;
}

/** Finds the tool that would run without the recorder. */
bool find_tool(char (&file)[PATH_MAX]) {
  const char *folders = variable("PATH");
  while (*folders != '\0') {
    size_t length = strcspn(folders, ":");
    snprintf(file, sizeof file, "%.*s/%s", static_cast<int>(length), folders, kName);
    if (access(file, X_OK) == 0 && !is_this_program(file)) return true;
    folders += length;
    if (*folders == ':') ++folders;
  }
  return false;
}

void write_all(CallBytes bytes) {
  size_t done = 0;
  while (done < bytes.size) {
    ssize_t count = write(STDOUT_FILENO, bytes.data + done, bytes.size - done);
    if (count < 0 && errno != EINTR) return;
    if (count > 0) done += static_cast<size_t>(count);
  }
}

/** Becomes the tool, which prints into the pipe. Its own calls belong to it: they are not recorded. */
[[noreturn]] void become_tool(const char *file, char **argv, const int (&pipe)[2]) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(pipe[1], STDOUT_FILENO);
  close(pipe[0]);
  close(pipe[1]);
  unsetenv(kRecordVariable);
  execv(file, argv);
  _exit(kNotFound);
}

/** Hands on what the tool prints, and keeps it. */
void hand_on(int from, Text &printed) {
  uint8_t piece[4096];
  for (;;) {
    ssize_t count = read(from, piece, sizeof piece);
    if (count == 0 || (count < 0 && errno != EINTR)) return;
    if (count < 0) continue;
    write_all({piece, static_cast<size_t>(count)});
    printed.add(piece, static_cast<size_t>(count));
  }
}

/** Runs the tool. Returns its status as wait() does. */
int run_tool(const char *file, char **argv, Text &printed) {
  int pipe[2];
  int status = 0;
  if (::pipe(pipe) != 0) return W_EXITCODE(kNotFound, 0);
  pid_t tool = fork();
  if (tool == 0) become_tool(file, argv, pipe);
  close(pipe[1]);
  hand_on(pipe[0], printed);
  close(pipe[0]);
  while (waitpid(tool, &status, 0) < 0) {
    if (errno != EINTR) return W_EXITCODE(kNotFound, 0);
  }
  return status;
}

int end_like(int status) {
  if (WIFSIGNALED(status)) {
    signal(WTERMSIG(status), SIG_DFL);
    raise(WTERMSIG(status));
  }
  return WEXITSTATUS(status);
}

int record(NodeCall &call, char **argv) {
  char file[PATH_MAX];
  Text printed;
  call.began_ns = monotonic_ns();
  if (find_tool(file)) {
    call.result = run_tool(file, argv, printed);
  } else {
    fprintf(stderr, "%s: not found\n", kName);
    call.result = W_EXITCODE(kNotFound, 0);
  }
  call.ended_ns = monotonic_ns();
  call.taken = printed.bytes();
  if (variable(kRecordVariable)[0] != '\0') write_down(call);
  return end_like(static_cast<int>(call.result));
}

int answer(const NodeCall &call) {
  CallBytes printed = {};
  int64_t status = replay(call, &printed);
  write_all(printed);
  return end_like(static_cast<int>(status));
}

}  // namespace

int main(int, char **argv) {
  Text line;
  add_words(line, argv);
  NodeCall call = {.kind = CallKind::Command, .fd = STDOUT_FILENO};
  call.given = line.bytes();
  return replays() ? answer(call) : record(call, argv);
}
