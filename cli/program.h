/** @file
 *  The frame of zelctl and zelsim: reads the command line, does the work, and prints one line if something goes wrong. */
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
/** Throws Failure: "cannot " and what, and the reason that errno has. */
[[noreturn]] void fail_to(const std::string &what);
/** Ends a command with exit status 2 and one line on stderr that begins with the argument's name. */
[[noreturn]] void refuse_argument(const std::string &name, const std::string &why);

/** The name of this program. Each line on stderr begins with it. */
extern const char *const kProgram;
/** Prints the line on stderr. @return `status`, so that a caller can end with it */
int complain(const std::string &line, int status);

/* ---- SIGINT, SIGTERM and SIGHUP ----
 * At first a signal ends the program. Before the end, the program prints the line of say_when_ended, if there is one. A
 * program that begins to change something holds the signals: it looks for them between two pieces of the change. A
 * signal that was ignored at the start, as under nohup, stays ignored. */

/** Sets the line that a signal prints before it ends the program, while signals are not held. An empty line: it prints
 *  nothing. */
void say_when_ended(const std::string &line);
/** From now on signals wait until `release_signals`. A closed pipe does not end the program any more, also after that. */
void hold_signals();
/** True if a held signal waits. */
bool interrupted();
/** A descriptor that can be read when a held signal waits. Reading takes the signal. */
int held_signals();
/** Ends the hold. A signal that waits takes effect now. */
void release_signals();

/** Makes a command line that has no commands yet.
 *  @param what    what the program is for
 *  @param footer  the last lines of its help */
std::unique_ptr<CLI::App> command_line(const std::string &what, const std::string &footer);
/** Reads the command line, does the work, and finishes the output. Prints on stderr what went wrong.
 *  @return the exit status */
int run_program(CLI::App &app, int argc, char **argv, const std::function<void()> &work);
/** For the end of `main`: a signal that waits takes effect now. @return `status` */
int end_program(int status);

#endif
