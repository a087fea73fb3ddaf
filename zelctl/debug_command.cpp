#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "../cli/child.h"
#include "tool.h"

/** Why debugCmd has failed; empty = it has not failed. */
static std::string trouble;

/** How a child has ended, for people; nothing if all is well. */
static std::string trouble_of(const std::optional<int> &status, long limit) {
  if (!status && interrupted()) return "interrupted";
  if (!status) return format("no answer within %ld seconds", limit);
  if (WIFSIGNALED(*status)) return format("ended by signal %d", WTERMSIG(*status));
  if (WEXITSTATUS(*status) != 0) return format("ended with status %d", WEXITSTATUS(*status));
  return {};
}

/** Takes the place of libc's function, which the library calls to run debugCmd. The library does not look at debugCmd's
 *  exit status and waits for it without a limit: this function does both. A call of the library can run several lines.
 *  After a failure the further lines are not run. */
extern "C" int system(const char *line) {
  constexpr std::chrono::seconds kLimit(10);
  constexpr int kFailed = 127 << 8;  // the shell's exit status for a command that cannot be run
  if (line == nullptr) return 1;
  if (!trouble.empty()) return kFailed;
  hold_signals();  // a signal ends debugCmd, and then this program
  pid_t child = 0;
  const int error = start_child(child, {"/bin/sh", "-c", line}, own_environment(), STDOUT_FILENO);
  if (error != 0) {
    trouble = std::string("cannot be run: ") + std::strerror(error);
    return kFailed;
  }
  const std::optional<int> status = wait_for_child(child, kLimit);
  trouble = trouble_of(status, static_cast<long>(kLimit.count()));
  return status.value_or(kFailed);
}

void require_debug_command(const std::string &what) {
  const std::string why = std::exchange(trouble, "");
  if (!why.empty()) throw Failure{what + ": debugCmd: " + why};
}
