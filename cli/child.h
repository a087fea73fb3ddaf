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

/** Runs a program and takes what it prints.
 *  @return nothing when it takes too long, and was ended; throws a Failure when it cannot be run, or fails */
std::optional<std::string> output_of(const std::vector<std::string> &words, std::chrono::milliseconds limit);

#endif
