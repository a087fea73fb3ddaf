#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "tool.h"

// How zelsim becomes, or starts, a program with libraries in front of it.

namespace zelsim::tool {

/** The folder of zelsim's own libraries and programs. */
std::filesystem::path library_folder();
/** Makes the loader preload one of these libraries, in front of others. */
void preload(const std::string &library);
/** Puts the recorder in front of the nodes, and its debugCmd in front of others. */
void put_recorder_first();
/** Sets a variable of the environment. */
void set_variable(const char *name, const std::string &value);
/** Gives a variable of the environment another value, or none, until the end of its scope. */
class VariableForNow {
 public:
  VariableForNow(const char *name, const std::optional<std::string> &value);
  ~VariableForNow();
  VariableForNow(const VariableForNow &) = delete;
  VariableForNow &operator=(const VariableForNow &) = delete;

 private:
  void put(const std::optional<std::string> &value) const;

  const char *name_;
  std::optional<std::string> before_ = {};
};
/** Prepares the environment for a program on a board. The board is made if it is missing. */
void put_on_board(const CommandLine &line);
/** Becomes the program, or ends with a line that says why not. */
[[noreturn]] void become(const Words &words);
/** Starts the program and waits for its end. Signals that would end zelsim go to the program. Returns a status as wait()
 *  does. */
int run_and_wait(const Words &words);
/** True if such a signal came, other than by a key of the terminal. */
bool was_asked_to_end();
/** The file that a program's name stands for; the name itself if it is in no folder of PATH. */
std::string find_program(const std::string &program);
bool is_executable(const std::string &file);
/** True for an ELF program whose headers name no interpreter: nothing is preloaded into it. */
bool is_static(const std::string &program);
/** Ends zelsim as the program ended: with its status, or by its signal. */
[[noreturn]] void end_like(int status);

}  // namespace zelsim::tool
