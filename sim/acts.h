#pragma once

#include "tool.h"

namespace zelsim::tool {

constexpr char kByShell[] = "shell", kByPage[] = "page";

/** A world command as it is typed, without the board. */
std::string command_text(const CommandRow &row, const CommandLine &line);

/** Does what a world command does, and keeps in the board's log what was done, by whom, and what undoes it. */
void perform(const CommandRow &row, const CommandLine &line, const char *who);

/** World commands that make of a board that is like `after` one that is like `before`. Nothing when no commands can. */
Words way_back(const Board &before, const Board &after);

}  // namespace zelsim::tool
