#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "environment.h"
#include "path_folders.h"
#include "recorder_file.h"

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
    auto *longer = static_cast<uint8_t *>(realloc(text_, size_ + size));
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
  return any_folder_in_path([&](const char *folder, int length) {
    snprintf(file, sizeof file, "%.*s/%s", length, folder, kName);
    return access(file, X_OK) == 0 && !is_this_program(file);
  });
}

void write_all(int fd, CallBytes bytes) {
  size_t done = 0;
  while (done < bytes.size) {
    ssize_t count = write(fd, bytes.data + done, bytes.size - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    done += static_cast<size_t>(count);
  }
}

/** A pipe from the tool: what it prints is passed on and kept. */
class Stream {
 public:
  explicit Stream(int to) : to_(to) { is_open_ = pipe2(ends_, O_CLOEXEC) == 0; }
  ~Stream() {
    close_end(ends_[0]);
    close_end(ends_[1]);
  }
  Stream(const Stream &) = delete;
  Stream &operator=(const Stream &) = delete;

  bool is_open() const { return is_open_; }
  CallBytes printed() const { return printed_.bytes(); }
  /** For the tool: what it prints goes into the pipe. */
  void take_place() const { dup2(ends_[1], to_); }
  /** For this process: only the tool writes into the pipe. */
  void begin_reading() { close_end(ends_[1]); }
  /** What poll() waits for; nothing after the end. */
  pollfd waited() const { return {is_open_ ? ends_[0] : -1, POLLIN, 0}; }

  void read_piece() {
    uint8_t piece[4096];
    ssize_t count = read(ends_[0], piece, sizeof piece);
    bool has_ended = count == 0 || (count < 0 && errno != EINTR);
    if (has_ended) is_open_ = false;
    if (count <= 0) return;
    write_all(to_, {piece, static_cast<size_t>(count)});
    printed_.add(piece, static_cast<size_t>(count));
  }

 private:
  static void close_end(int &end) {
    if (end >= 0) close(end);
    end = -1;
  }

  int to_;
  int ends_[2] = {-1, -1};
  bool is_open_;
  Text printed_;
};

/** Becomes the tool. Its own calls belong to it: they are not recorded. */
[[noreturn]] void become_tool(const char *file, char **argv) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  unsetenv(kRecordVariable);
  execv(file, argv);
  _exit(kNotFound);
}

/** Passes on what the tool prints, until the end of both streams. */
void pass_output_on(Stream &output, Stream &complaint) {
  while (output.is_open() || complaint.is_open()) {
    pollfd waited[] = {output.waited(), complaint.waited()};
    if (poll(waited, 2, -1) < 0) continue;
    if (waited[0].revents != 0) output.read_piece();
    if (waited[1].revents != 0) complaint.read_piece();
  }
}

/** Waits for the end of the tool. Returns its status as wait() does. */
int status_of(pid_t tool) {
  for (;;) {
    int status = 0;
    pid_t ended = waitpid(tool, &status, 0);
    if (ended == tool) return status;
    if (errno != EINTR) return W_EXITCODE(kNotFound, 0);
  }
}

/** Runs the tool. Returns its status as wait() does. */
int run_tool(const char *file, char **argv, Stream &output, Stream &complaint) {
  if (!output.is_open() || !complaint.is_open()) return W_EXITCODE(kNotFound, 0);
  pid_t tool = fork();
  if (tool < 0) return W_EXITCODE(kNotFound, 0);
  if (tool == 0) {
    output.take_place();
    complaint.take_place();
    become_tool(file, argv);
  }
  output.begin_reading();
  complaint.begin_reading();
  pass_output_on(output, complaint);
  return status_of(tool);
}

// Ends by the same signal. If this process blocks the signal, the status is the one that a shell has for it.
int end_like(int status) {
  constexpr int kSignalStatus = 128;
  if (WIFSIGNALED(status)) {
    signal(WTERMSIG(status), SIG_DFL);
    raise(WTERMSIG(status));
    return kSignalStatus + WTERMSIG(status);
  }
  return WEXITSTATUS(status);
}

int record(NodeCall &call, char **argv) {
  char file[PATH_MAX];
  Stream output(STDOUT_FILENO);
  Stream complaint(STDERR_FILENO);
  call.began_ns = monotonic_ns();
  if (find_tool(file)) {
    Begun begun(call);
    call.result = run_tool(file, argv, output, complaint);
  } else {
    fprintf(stderr, "%s: not found\n", kName);
    call.result = W_EXITCODE(kNotFound, 0);
  }
  call.ended_ns = monotonic_ns();
  call.taken = output.printed();
  call.complaint = complaint.printed();
  if (variable(kRecordVariable)[0] != '\0') write_down(call);
  return end_like(static_cast<int>(call.result));
}

int answer(const NodeCall &call) {
  Printed printed = {};
  int64_t status = replay(call, &printed);
  write_all(STDOUT_FILENO, printed.output);
  write_all(STDERR_FILENO, printed.complaint);
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
