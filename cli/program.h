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
/** Ends a command with exit status 2 and one line on stderr that names the argument. */
[[noreturn]] void refuse_argument(const std::string &name, const std::string &why);

/** Name of this program, which each line on stderr begins with. */
extern const char *const kProgram;
/** Prints the line on stderr. @return the status */
int complain(const std::string &line, int status);

/* ---- SIGINT, SIGTERM and SIGHUP ----
 * A program begins with a line for their coming; when it begins to change something it holds them to its end. One that
 * was ignored from the start, as under nohup, stays ignored. */

/** Until signals are held: one of them prints this line and ends the program. Without a text it ends in silence. */
void say_when_ended(const std::string &line);
/** From here on signals wait until the end, so that a change ends between two pieces of it. A closed pipe does not end
 *  the program either. */
void hold_signals();
/** True if one waits. */
bool interrupted();
/** A descriptor that can be read when a held signal has come. Reading takes the signal. */
int held_signals();
/** One that waits now takes effect. */
void release_signals();

/** A command line without commands as yet.
 *  @param what    what the program is for
 *  @param footer  what its help ends with */
std::unique_ptr<CLI::App> command_line(const std::string &what, const std::string &footer);
/** Reads the command line, does the work, and finishes the output.
 *  @return the exit status; what went wrong stands on stderr */
int run_program(CLI::App &app, int argc, char **argv, const std::function<void()> &work);

#endif
