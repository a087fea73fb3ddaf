#include "child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "program.h"
#include "text.h"

static std::vector<char *> pointers_to(std::vector<std::string> &texts) {
  std::vector<char *> pointers;
  for (std::string &text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

int start_child(pid_t &child, std::vector<std::string> words, std::vector<std::string> environment, int output) {
  constexpr int kFirstOther = STDERR_FILENO + 1;
  sigset_t none, usual;
  sigemptyset(&none);
  sigemptyset(&usual);
  sigaddset(&usual, SIGPIPE);
  posix_spawnattr_t how;
  posix_spawnattr_init(&how);
  posix_spawnattr_setflags(&how, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setsigmask(&how, &none);
  posix_spawnattr_setsigdefault(&how, &usual);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
  posix_spawn_file_actions_addclosefrom_np(&files, kFirstOther);
  const int error =
      posix_spawnp(&child, words[0].c_str(), &files, &how, pointers_to(words).data(), pointers_to(environment).data());
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&how);
  return error;
}

std::vector<std::string> own_environment() {
  std::vector<std::string> all;
  for (char **entry = environ; *entry != nullptr; ++entry) all.emplace_back(*entry);
  return all;
}

void end_child(pid_t child) {
  kill(-child, SIGKILL);
  waitpid(child, nullptr, 0);
}

/** Reads to the end of the output. @return false when the time was up before */
static bool read_until(int from, std::string &text, std::chrono::steady_clock::time_point deadline) {
  using namespace std::chrono;
  constexpr size_t kMost = 0x10000;  // whoever prints without end has no more to say
  char piece[4096];
  while (text.size() < kMost) {
    const auto left = ceil<milliseconds>(deadline - steady_clock::now());
    pollfd output{from, POLLIN, 0};
    if (left.count() <= 0 || poll(&output, 1, static_cast<int>(left.count())) == 0) return false;
    const ssize_t count = read(from, piece, sizeof piece);
    if (count == 0) return true;
    if (count > 0) text.append(piece, static_cast<size_t>(count));
  }
  return false;
}

/** Whoever has said all may still go on. @return its status, or nothing when the time was up before its end */
static std::optional<int> status_of(pid_t child, std::chrono::steady_clock::time_point deadline) {
  using namespace std::chrono_literals;
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    std::this_thread::sleep_for(1ms);
  }
  return status;
}

std::optional<std::string> output_of(const std::vector<std::string> &words, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  int ends[2] = {-1, -1};
  pid_t child = 0;
  int error = pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno;
  if (error == 0) error = start_child(child, words, own_environment(), ends[1]);
  close(ends[1]);
  std::string text;
  const bool whole = error == 0 && read_until(ends[0], text, deadline);
  close(ends[0]);
  if (error != 0) throw Failure{words[0] + ": cannot be run: " + std::strerror(error)};
  const auto status = whole ? status_of(child, deadline) : std::nullopt;
  if (!status) {
    end_child(child);
    return std::nullopt;
  }
  if (WIFSIGNALED(*status)) throw Failure{words[0] + format(": ended by signal %d", WTERMSIG(*status))};
  if (WEXITSTATUS(*status) != 0) throw Failure{words[0] + format(": ended with status %d", WEXITSTATUS(*status))};
  return text;
}
