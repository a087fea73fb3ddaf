#pragma once

#include <filesystem>
#include <string>

#include "tool.h"

// How zelsim becomes, or starts, a program with libraries in front of it.

namespace zelsim::tool {

/** Where the parts of zelsim are. */
std::filesystem::path library_folder();
/** Puts one of its libraries in front of those that the loader preloads. */
void preload(const std::string &library);
/** Sets a variable of the environment. */
void put(const char *name, const std::string &value);
/** The environment of programs on a board, which is made when missing. */
void put_on_board(const CommandLine &line);
/** Becomes the program, or ends with a line that tells why not. */
[[noreturn]] void become(const Words &words);
/** Starts the program and waits for it: signals that would end zelsim alone are handed on. Returns what wait() gives. */
int run_and_wait(const Words &words);
/** Ends zelsim as the program ended: with its status, or by its signal. */
[[noreturn]] void end_like(int status);

}  // namespace zelsim::tool
