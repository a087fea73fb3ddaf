#pragma once

#include <optional>

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
/** The act that an undo means, by its number in the board's log. */
struct MeantAct {
  uint32_t number;
  uint32_t newest_known;  // number of the newest act that the sender of the undo knows
};
/** World commands that are done as one act. */
struct Together {
  std::string board;  // its name, the same in all lines
  std::string title;  // what the log says; empty for the commands alone
  std::vector<Step> steps = {};
  OnRefusal on_refusal = OnRefusal::GoOn;
  std::optional<MeantAct> undoes = {};
};
struct Outcome {
  Words refusals = {};     // why each of the steps was refused; an empty text for one that was done
  Words passed_over = {};  // for an undo: later acts that cannot be undone, unless an earlier undo has named them
};
/** Does world commands under one lock: nobody sees the board between them. With OnRefusal::UndoAll a refusal is thrown, and
 *  the board is as it was. An undo is refused if the act is undone already, or if an act has come that the sender does not
 *  know. */
Outcome perform_together(const Together &acts, const char *who);

}  // namespace zelsim::tool
