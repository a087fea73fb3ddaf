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

/** A world command of several that are done together. */
struct Step {
  const CommandRow *row;
  CommandLine line;
};
enum class OnRefusal : uint8_t { GoOn, UndoAll };
/** Does world commands as one act under one lock: nobody sees the board between them.
 *  @param board  its name, as all of the lines have it
 *  @param title  what the log says; empty for the commands alone
 *  @return why each of the steps was refused; an empty text for one that was done. With OnRefusal::UndoAll a refusal is
 *          thrown instead, and the board is as it was */
Words perform_together(const std::string &board, const std::string &title, const std::vector<Step> &steps,
                       const char *who, OnRefusal on_refusal);

/** The world commands that change a board from the state `after` back to the state `before`. Nothing if no commands can. */
Words way_back(const Board &before, const Board &after);

}  // namespace zelsim::tool
