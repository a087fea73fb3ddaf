#include "acts.h"

#include <algorithm>
#include <exception>

#include "act_log.h"
#include "attached.h"
#include "way_back.h"

// What people do to a board, and how it comes into the board's log.

namespace zelsim::tool {
namespace {

struct Performed;
thread_local Performed *t_performed = nullptr;

/** The act that this thread does. */
struct Performed {
  Performed(const char *by, std::string what, bool undo) : who(by), command(std::move(what)), can_be_undone(undo) {
    t_performed = this;
  }
  ~Performed() { t_performed = nullptr; }
  Performed(const Performed &) = delete;
  Performed &operator=(const Performed &) = delete;

  const std::string who;
  std::string command;
  const bool can_be_undone;
  uint32_t undoes = 0;       // number of the act that it undoes; 0: none
  bool entry_is_due = true;  // false: its entry is in the log already, or there is nothing to log
};

/** Writes the entry of an act that has led from the state `before` to the state `after`. */
void log_act(Performed &act, const Board &before, Board &after) {
  std::optional<Words> commands;
  if (act.can_be_undone) commands = way_back(before, after);
  std::string undo = commands ? "" : kNoWayBack;
  for (const std::string &command : commands.value_or(Words{})) add_item(undo, command, ";");
  keep(after, {.undoes = act.undoes, .who = act.who, .command = act.command, .undo = undo});
  act.entry_is_due = false;
}

/** Writes the entry of an act that left the board itself as it was. */
void log_act_beside(Performed &act, const std::string &name) {
  OpenBoard board = look_at(name);
  log_act(act, *board, *board);
  announce_change(*board);
}

}  // namespace

std::string command_text(const CommandRow &row, const CommandLine &line) {
  std::string text = row.name;
  if (!row.names_board) {
    for (const std::string &word : line.words) text += ' ' + word;
  }
  if (!line.result.empty()) text += " --result " + line.result;
  if (!line.count.empty()) text += " --count " + line.count;
  if (line.skip != "0") text += " --skip " + line.skip;
  if (!line.probability.empty()) text += " --probability " + line.probability;
  if (line.seed != "0") text += " --seed " + line.seed;
  if (line.flash) text += " --flash";
  if (!line.region.empty()) text += " --region '" + line.region + "'";
  return text;
}

LoggedAct::LoggedAct(Board &board, Intent intent) : board_(board), exceptions_(std::uncaught_exceptions()) {
  is_logged_ = t_performed != nullptr && t_performed->entry_is_due && intent == Intent::Change;
  if (is_logged_) before_ = std::make_unique<Board>(board);
}

LoggedAct::~LoggedAct() {
  bool has_failed = std::uncaught_exceptions() > exceptions_;
  if (is_logged_ && !has_failed && t_performed->entry_is_due) log_act(*t_performed, *before_, board_);
}

void perform(const CommandRow &row, const CommandLine &line, const char *who) {
  bool shows_only = line.list || line.requests;
  if (shows_only) {
    row.run(line);
    return;
  }
  Performed performed(who, command_text(row, line), row.undo);
  row.run(line);
  // A command that opens no board to change it, such as `save`, is logged all the same.
  if (performed.entry_is_due) log_act_beside(performed, row.names_board ? line.name() : line.board);
}

namespace {

// Puts the commands of an act behind its title and a line feed. One command without a title stands alone.
std::string together_text(const std::string &title, const Words &commands) {
  if (title.empty() && commands.size() == 1) return commands[0];
  std::string all;
  for (const std::string &command : commands) add_item(all, command, ";");
  return title + '\n' + all;
}

std::string name_in(const std::vector<LoggedEntry> &entries, uint32_t number) {
  auto entry = std::ranges::find(entries, number, &LoggedEntry::number);
  return entry != entries.end() ? told_name(*entry) : "this act";
}

/** Refuses the undo if the act is undone already, or if a newer act was done that the sender does not know. */
void check_meant(const Watch &watch, const MeantAct &meant) {
  std::vector<LoggedEntry> entries = entries_of(watch);
  auto undoes_it = [&](const LoggedEntry &entry) { return entry.undoes == meant.number; };
  bool is_undone = std::ranges::any_of(entries, undoes_it);
  if (is_undone) throw Failure(name_in(entries, meant.number) + " is undone already");
  auto is_unknown = [&](const LoggedEntry &entry) { return entry.number > meant.newest_known; };
  auto unknown = std::ranges::find_if(entries, is_unknown);
  if (unknown != entries.end()) throw Failure("nothing is undone: " + told_name(*unknown) + " came in between");
  if (meant.newest_known != watch.acts_done) throw Failure("nothing is undone: the board was made anew in between");
}

/** Names of the later acts that cannot be undone. An act that an earlier undo has passed over is not named again. */
Words passed_over(const Watch &watch, uint32_t number) {
  std::vector<LoggedEntry> entries = entries_of(watch);
  Words names;
  for (const LoggedEntry &entry : entries) {
    auto has_passed = [&](const LoggedEntry &undo) {
      return undo.undoes != 0 && undo.undoes < entry.number && entry.number < undo.number;
    };
    bool is_passed = entry.number > number && entry.undo == kNoWayBack;
    if (is_passed && std::ranges::none_of(entries, has_passed)) names.push_back(told_name(entry));
  }
  return names;
}

}  // namespace

Outcome perform_together(const Together &acts, const char *who) {
  Outcome outcome;
  Words done;
  Performed performed(who, acts.title, true);
  HeldBoard held(acts.board);
  if (acts.undoes) {
    check_meant(held->watch, *acts.undoes);
    performed.undoes = acts.undoes->number;
    outcome.passed_over = passed_over(held->watch, acts.undoes->number);
  }
  auto before = std::make_unique<Board>(*held);
  for (const Step &step : acts.steps) {
    std::string refusal;
    try {
      step.row->run(step.line);
      done.push_back(command_text(*step.row, step.line));
    } catch (const std::runtime_error &error) {
      if (acts.on_refusal == OnRefusal::UndoAll) {
        copy_saved_part(*before, *held);
        throw;
      }
      refusal = error.what();
    }
    outcome.refusals.push_back(refusal);
  }
  performed.command = together_text(acts.title, done);
  if (done.empty()) performed.entry_is_due = false;
  return outcome;
}

}  // namespace zelsim::tool
