#pragma once

#include <filesystem>
#include <string>

#include "tool.h"

// How zelsim becomes, or starts, a program with libraries in front of it.

namespace zelsim::tool {

/** The folder of zelsim's own libraries and programs. */
std::filesystem::path library_folder();
/** Makes the loader preload one of these libraries, in front of others. */
void preload(const std::string &library);
/** Makes programs find the recorder's debugCmd first. */
void put_recorder_tools();
/** Sets a variable of the environment. */
void set_variable(const char *name, const std::string &value);
/** Prepares the environment for a program on a board. The board is made if it is missing. */
void put_on_board(const CommandLine &line);
/** Becomes the program, or ends with a line that says why not. */
[[noreturn]] void become(const Words &words);
/** Starts the program and waits for its end. Signals that would end zelsim go to the program. Returns a status as wait()
 *  does. */
int run_and_wait(const Words &words);
/** Ends zelsim as the program ended: with its status, or by its signal. */
[[noreturn]] void end_like(int status);

}  // namespace zelsim::tool
