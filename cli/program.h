/** @file
 *  The frame of zelctl and zelsim: the command line is read, the work done, and one line tells what went wrong. */
#ifndef ZELBOARD_CLI_PROGRAM_H
#define ZELBOARD_CLI_PROGRAM_H

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

/** Ends a command with exit status 1 and one line on stderr. */
struct Failure : std::runtime_error {
  explicit Failure(const std::string &line, uint32_t of_status = 0) : std::runtime_error(line), status(of_status) {}
  uint32_t status;  // of a call of the library, 0 for none
};
/** A wrong argument: exit status 2. */
[[noreturn]] void refuse_argument(const std::string &name, const std::string &why);

/** This program's name before each line on stderr. */
extern const char *const kProgram;
/** Prints the line. @return the status */
int complain(const std::string &line, int status);

/** From here on SIGINT, SIGTERM and SIGHUP wait until the end, so that a change ends between two pieces of it, and a closed
 *  pipe does not end it. */
void hold_signals();
/** One of them waits. */
bool interrupted();
/** A descriptor that can be read when one of them has come; reading takes it. */
int held_signals();

/** A command line without commands as yet: what it is for, and what its help ends with. */
std::unique_ptr<CLI::App> command_line(const std::string &what, const std::string &footer);
/** Reads the command line, does the work, and finishes the output.
 *  @return the exit status; what went wrong stands on stderr */
int run_program(CLI::App &app, int argc, char **argv, const std::function<void()> &work);

#endif
