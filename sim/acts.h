#pragma once

#include "tool.h"

namespace zelsim::tool {

// Who does a command.
constexpr char kByShell[] = "shell";
constexpr char kByPage[] = "page";

/** A world command as it is typed, without the board. */
std::string command_text(const CommandRow &row, const CommandLine &line);

/** Does a world command. Writes into the board's log what was done, by whom, and the commands that undo it. */
void perform(const CommandRow &row, const CommandLine &line, const char *who);

/** The world commands that change a board from the state `after` back to the state `before`. Nothing if no commands can. */
Words way_back(const Board &before, const Board &after);

}  // namespace zelsim::tool
