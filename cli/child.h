/** @file
 *  Programs that this one starts. */
#ifndef ZELBOARD_CLI_CHILD_H
#define ZELBOARD_CLI_CHILD_H

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

/** Starts a program that is found through PATH. It gets a process group of its own, so that it can be ended together with
 *  all that it has started. Its signals are not blocked. Its input is empty, its output goes to the descriptor
 *  `output`, and its standard error to `errors`. It gets no other open file of this program.
 *  @return 0, or errno */
int start_child(pid_t &child, std::vector<std::string> words, std::vector<std::string> environment, int output,
                int errors = 2);
/** This program's environment variables, each as "NAME=value". */
std::vector<std::string> own_environment();
/** Kills the child and all that it has started, and waits for the child. */
void end_child(pid_t child);

/** The status of a child that has ended, as waitpid gives it; nothing while it runs. If the kernel does not tell how it
 *  has ended, the status is exit status 127. */
std::optional<int> status_if_ended(pid_t child);
/** Waits until the child ends. If that takes longer than the limit, or a signal waits, it is killed.
 *  @return its status, as waitpid gives it; nothing if it was killed */
std::optional<int> wait_for_child(pid_t child, std::chrono::milliseconds limit);

#endif
