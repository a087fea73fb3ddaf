/** @file
 *  Programs that this one starts. */
#ifndef ZELBOARD_CLI_CHILD_H
#define ZELBOARD_CLI_CHILD_H

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

/** Starts a program, found through PATH, in a process group of its own, so that it can be ended with all that it has
 *  started: signals as they usually are, nothing to read, its output into `output`, no other file of this program.
 *  @return 0, or errno */
int start_child(pid_t &child, std::vector<std::string> words, std::vector<std::string> environment, int output);
/** "NAME=value" of all variables that this program has. */
std::vector<std::string> own_environment();
/** Ends it and all that it has started. */
void end_child(pid_t child);

/** Waits for its end. @return its status; nothing when that takes too long or a signal waits: then it was ended */
std::optional<int> wait_for_child(pid_t child, std::chrono::milliseconds limit);

#endif
