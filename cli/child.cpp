#include "child.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "program.h"

static std::vector<char *> pointers_to(std::vector<std::string> &texts) {
  std::vector<char *> pointers;
  for (std::string &text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

int start_child(pid_t &child, std::vector<std::string> words, std::vector<std::string> environment, int output,
                int errors) {
  constexpr int kFirstOther = STDERR_FILENO + 1;
  sigset_t none;
  sigset_t usual;
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
  posix_spawn_file_actions_adddup2(&files, errors, STDERR_FILENO);
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

std::optional<int> status_if_ended(pid_t child) {
  constexpr int kNotKnown = W_EXITCODE(127, 0);
  int status = 0;
  const pid_t ended = waitpid(child, &status, WNOHANG);
  if (ended == 0) return std::nullopt;
  if (ended < 0) return kNotKnown;
  return status;
}

std::optional<int> wait_for_child(pid_t child, std::chrono::milliseconds limit) {
  using namespace std::chrono_literals;
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    const std::optional<int> status = status_if_ended(child);
    if (status) return status;
    if (interrupted() || std::chrono::steady_clock::now() >= deadline) {
      end_child(child);
      return std::nullopt;
    }
    std::this_thread::sleep_for(1ms);
  }
}
