#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "../cli/child.h"
#include "tool.h"

/** Why debugCmd has failed; empty = it has not failed. */
static std::string trouble;
/** Lines that debugCmd has done since somebody asked. */
static uint32_t lines_done;

constexpr int kFailed = 127 << 8;  // the shell's exit status for a command that cannot be run

/** How a child has ended, for people; nothing if all is well. */
static std::string trouble_of(const std::optional<int> &status, long limit) {
  if (!status && interrupted()) return "interrupted";
  if (!status) return format("no answer within %ld seconds", limit);
  if (WIFSIGNALED(*status)) return format("ended by signal %d", WTERMSIG(*status));
  if (WEXITSTATUS(*status) != 0) return format("ended with status %d", WEXITSTATUS(*status));
  return {};
}

/** How a line of the shell has ended. */
struct ShellRun {
  int status;           // as waitpid gives it
  std::string trouble;  // why it has failed; empty = it has not failed
};

static ShellRun cannot_be_run(int error) { return {kFailed, std::string("cannot be run: ") + std::strerror(error)}; }

/** Starts the line and waits for its end. */
static ShellRun start_and_wait(const char *line, int errors) {
  constexpr std::chrono::seconds kLimit(10);
  pid_t child = 0;
  const int error = start_child(child, {"/bin/sh", "-c", line}, own_environment(), STDOUT_FILENO, errors);
  if (error != 0) return cannot_be_run(error);
  const std::optional<int> status = wait_for_child(child, kLimit);
  return {status.value_or(kFailed), trouble_of(status, static_cast<long>(kLimit.count()))};
}

/** Runs a line of the shell. If it fails by itself, what it printed on standard error goes into the reason. If it
 *  succeeds, that is passed on. */
static ShellRun run_in_shell(const char *line) {
  const int errors = memfd_create("errors", MFD_CLOEXEC);
  if (errors < 0) return cannot_be_run(errno);
  ShellRun run = start_and_wait(line, errors);
  std::string said = content_of(errors);
  close(errors);
  said.erase(said.find_last_not_of('\n') + 1);
  if (said.empty()) return run;
  if (run.trouble.empty()) {
    std::fprintf(stderr, "%s\n", said.c_str());
  } else if (!interrupted()) {
    std::replace(said.begin(), said.end(), '\n', ' ');
    run.trouble += ": '" + said + "'";
  }
  return run;
}

/** Takes the place of libc's function, which the library calls to run debugCmd. The library ignores debugCmd's exit
 *  status, and libc's function waits for debugCmd without a limit. This function keeps the reason of a failure for
 *  `require_debug_command`, and limits the wait. A call of the library can run several lines. After a failure the
 *  further lines are not run. */
extern "C" int system(const char *line) {
  if (line == nullptr) return 1;
  if (!trouble.empty()) return kFailed;
  hold_signals();  // a signal ends debugCmd, and then this program
  if (interrupted()) {
    trouble = "interrupted";
    return kFailed;
  }
  const ShellRun run = run_in_shell(line);
  trouble = run.trouble;
  if (trouble.empty()) ++lines_done;
  return run.status;
}

void require_debug_command(const std::string &what, const std::string &left) {
  std::string why = std::exchange(trouble, "");
  const uint32_t done = std::exchange(lines_done, 0);
  if (why.empty()) return;
  if (!left.empty() && done > 0) why += format(", after %u of its lines", done);
  if (!left.empty()) why += "; " + left;
  throw Failure{what + ": debugCmd: " + why};
}

void forget_debug_command() {
  trouble.clear();
  lines_done = 0;
}
