#include "acts.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>

#include "act_log.h"
#include "attached.h"
#include "diagnostics_page.h"
#include "faults.h"
#include "modules.h"
#include "trace.h"

// What people do to a board, with the commands that undo it.

namespace zelsim::tool {
namespace {

std::string name_in(const Cage &cage) { return {cage.name, strnlen(cage.name, sizeof cage.name)}; }

// True if plugging the module's name brings the same page again.
bool is_in_catalogue(const Cage &cage, unsigned port) {
  return std::ranges::any_of(catalogue(), [&](const Module &module) {
    if (module.name != name_in(cage)) return false;
    const MemoryPage page = taken_from_catalogue(module, port).page;
    return std::memcmp(page.data(), cage.page, sizeof cage.page) == 0;
  });
}

/** The commands that lead back to a state. */
struct Commands {
  Words lines = {};
  bool possible = true;  // false: there is something that no command restores

  void add(const std::string &line) { lines.push_back(line); }
  template <typename Value>
  void restore(const std::string &command, const Value &before, const Value &after) {
    if (before != after) add(command + ' ' + std::to_string(before));
  }
};

const char *presence(uint8_t flag) { return flag != 0 ? "present" : "absent"; }

std::string link_text(const Cage &cage) {
  std::string speed = cage.link_speed == 0 ? "down" : std::to_string(cage.link_speed);
  return speed + (cage.full_duplex != 0 ? " full" : " half");
}

bool is_same_module(const Cage &before, const Cage &after) {
  return before.fitted == after.fitted && std::memcmp(before.page, after.page, sizeof before.page) == 0;
}

// `after` is the cage as these commands find it.
void restore_signals(Commands &commands, unsigned port, const Cage &before, const Cage &after) {
  std::string number = std::to_string(port);
  commands.restore("set loss-of-signal " + number, before.loss_of_signal, after.loss_of_signal);
  commands.restore("set tx-fault " + number, before.tx_fault, after.tx_fault);
}

void restore_link(Commands &commands, unsigned port, const Cage &before) {
  commands.add("set link " + std::to_string(port) + ' ' + link_text(before));
}

void restore_empty_cage(Commands &commands, unsigned port, const Cage &before, const Cage &after, bool emptied) {
  Cage cage = after;
  bool unplugs = after.fitted != 0 && !emptied;
  if (unplugs) commands.add("unplug " + std::to_string(port));
  if (unplugs || emptied) unplug(cage);
  restore_signals(commands, port, before, cage);
}

// @param emptied  an earlier command fits the slot anew, which pulls its modules
void restore_cage(Commands &commands, unsigned port, const Cage &before, const Cage &after, bool emptied) {
  std::string number = std::to_string(port);
  if (before.fitted == 0) {
    restore_empty_cage(commands, port, before, after, emptied);
    return;
  }
  bool plugs = emptied || !is_same_module(before, after);
  Cage cage = after;
  if (plugs) {
    if (!is_in_catalogue(before, port)) commands.possible = false;
    commands.add("plug " + number + ' ' + name_in(before));
    // A module that is plugged has light and no fault.
    cage.loss_of_signal = 0;
    cage.tx_fault = 0;
  }
  restore_signals(commands, port, before, cage);
  for (const std::string &command : measured_commands(port, before, after, plugs)) commands.add(command);
  // The link partner of a plugged module is the one that every module starts with.
  bool other_link = plugs || link_text(before) != link_text(after);
  if (before.phy != PhyKind::None && other_link) restore_link(commands, port, before);
}

// The cable of an RJ45 port; one that a command fits anew has the cable that every port starts with.
void restore_jack(Commands &commands, unsigned port, const Cage &before, const Cage &after, bool fitted_anew) {
  Cage fresh = {};
  unplug(fresh);
  const Cage &left = fitted_anew ? fresh : after;
  if (link_text(before) != link_text(left)) restore_link(commands, port, before);
}

void restore_slots(Commands &commands, const Board &before, const Board &after) {
  for (unsigned slot = 0; slot < kSlots; ++slot) {
    bool refits = before.i2c.slot_type[slot] != after.i2c.slot_type[slot];
    if (refits) commands.add("fit " + std::to_string(slot + 1) + ' ' + board_type(before, slot));
  }
}

void restore_cages(Commands &commands, const Board &before, const Board &after) {
  for (unsigned port = 0; port < kPorts; ++port) {
    unsigned slot = port / kPortsPerSlot;
    bool on_main_board = port >= kFirstMainPort;
    bool emptied = !on_main_board && before.i2c.slot_type[slot] != after.i2c.slot_type[slot];
    restore_cage(commands, port, before.cages[port], after.cages[port], emptied);
    if (has_jack(before, port)) restore_jack(commands, port, before.cages[port], after.cages[port], emptied);
  }
}

void restore_supplies(Commands &commands, const Board &before, const Board &after) {
  for (unsigned i = 0; i < kSupplies; ++i) {
    if (before.supply[i] == after.supply[i] && before.supply_good[i] == after.supply_good[i]) continue;
    std::string command = "set supply " + std::to_string(i + 1) + ' ';
    std::string type = name_of(kSupplyTypes, static_cast<unsigned>(before.supply[i]));
    commands.add(command + type);
    if (before.supply[i] != Supply::None && before.supply_good[i] == 0) commands.add(command + "failed");
  }
}

void restore_i2c(Commands &commands, const I2c &before, const I2c &after) {
  if (before.sensor.value[0] != after.sensor.value[0]) {
    double celsius = degrees_of(before.sensor.value[0]);
    commands.add(format("set temperature %.1f", celsius));
  }
  if (before.clock_present != after.clock_present)
    commands.add(std::string("set rtc ") + presence(before.clock_present));
  if (before.sensor_present != after.sensor_present)
    commands.add(std::string("set lm75 ") + presence(before.sensor_present));
  commands.restore("set busy", before.busy, after.busy);
  const uint8_t *io = before.io_level;
  if (std::memcmp(io, after.io_level, sizeof after.io_level) != 0)
    commands.add("set io " + std::to_string(io[0]) + ' ' + std::to_string(io[1]));
}

// Only the host's time can be given back at any later moment.
void restore_clock(Commands &commands, const Clock &before, const Clock &after) {
  constexpr int64_t kSecondUs = 1000000;
  bool was_set = std::abs(before.shift_us - after.shift_us) > 2 * kSecondUs;
  if (!was_set) return;
  bool had_host_time = std::abs(before.shift_us) < kSecondUs;
  if (!had_host_time) commands.possible = false;
  commands.add("set clock host");
}

bool stands_on(const FaultRule &rule, const Board &board) {
  return std::ranges::any_of(
      board.rules, [&](const FaultRule &other) { return other.effect != Effect::None && other.number == rule.number; });
}

// The command that makes a rule; nothing for a damaged rule.
std::optional<std::string> fail_command(const FaultRule &rule) {
  Json fault = fault_document(rule);
  if (fault.is_null()) return std::nullopt;
  const Json &result = fault["result"];
  std::string line = "fail " + fault["target"].get<std::string>();
  line += " --result " + (result.is_string() ? result.get<std::string>() : result.dump());
  if (rule.count > 0) line += " --count " + std::to_string(rule.count);
  if (rule.skip > 0) line += " --skip " + std::to_string(rule.skip);
  if (rule.probability > 0) line += format(" --probability %.10g --seed %u", rule.probability, rule.seed);
  return line;
}

void restore_faults(Commands &commands, const Board &before, const Board &after) {
  for (const FaultRule &rule : after.rules) {
    bool is_new = rule.effect != Effect::None && !stands_on(rule, before);
    if (is_new) commands.add("heal " + std::to_string(rule.number));
  }
  for (const FaultRule &rule : before.rules) {
    bool is_gone = rule.effect != Effect::None && !stands_on(rule, after);
    if (!is_gone) continue;
    std::optional<std::string> command = fail_command(rule);
    if (command) commands.add(*command);
  }
}

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
  uint32_t undoes = 0;  // number of the act that it undoes; 0: none
  bool is_told = false;
};

}  // namespace

std::string command_text(const CommandRow &row, const CommandLine &line) {
  std::string text = row.name;
  if (!row.names_board) {
    for (const std::string &word : line.words) text += ' ' + word;
  }
  if (!line.result.empty()) text += " --result " + line.result;
  if (line.count != "0") text += " --count " + line.count;
  if (line.skip != "0") text += " --skip " + line.skip;
  if (!line.probability.empty()) text += " --probability " + line.probability;
  if (line.seed != "0") text += " --seed " + line.seed;
  if (line.flash) text += " --flash";
  if (!line.region.empty()) text += " --region '" + line.region + "'";
  return text;
}

std::optional<Words> way_back(const Board &before, const Board &after) {
  Commands commands;
  restore_slots(commands, before, after);
  restore_cages(commands, before, after);
  restore_supplies(commands, before, after);
  restore_i2c(commands, before.i2c, after.i2c);
  restore_clock(commands, before.i2c.clock, after.i2c.clock);
  commands.restore("set reset-key", before.gpio.reset_key, after.gpio.reset_key);
  commands.restore("set reset-process", before.gpio.reset_process, after.gpio.reset_process);
  commands.restore("set settle", before.settle_ms, after.settle_ms);
  commands.restore("set chip-index", before.flash.chip_index, after.flash.chip_index);
  restore_faults(commands, before, after);
  if (!commands.possible) return std::nullopt;
  return commands.lines;
}

LoggedAct::LoggedAct(Board &board, Intent intent) : board_(board), exceptions_(std::uncaught_exceptions()) {
  is_logged_ = t_performed != nullptr && !t_performed->is_told && intent == Intent::Change;
  if (is_logged_) before_ = std::make_unique<Board>(board);
}

LoggedAct::~LoggedAct() {
  bool has_failed = std::uncaught_exceptions() > exceptions_;
  if (!is_logged_ || has_failed || t_performed->is_told) return;
  std::optional<Words> commands;
  if (t_performed->can_be_undone) commands = way_back(*before_, board_);
  std::string undo = commands ? "" : kNoWayBack;
  for (const std::string &command : commands.value_or(Words{})) add_item(undo, command, ";");
  keep(board_, {.undoes = t_performed->undoes, .who = t_performed->who, .command = t_performed->command, .undo = undo});
  t_performed->is_told = true;
}

void perform(const CommandRow &row, const CommandLine &line, const char *who) {
  bool shows_only = line.list || line.requests;
  if (shows_only) {
    row.run(line);
    return;
  }
  Performed performed(who, command_text(row, line), row.undo);
  row.run(line);
  // A command that opens no board, such as `save`, is logged all the same.
  if (!performed.is_told) open_board(row.names_board ? line.name() : line.board);
}

namespace {

// Several commands, or one with a title, stand behind a line feed.
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

/** Refuses to undo an act that is undone already, or after which one was done that the sender does not know. */
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

/** The later acts that cannot be undone, but for those that an undo has passed over before. */
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
  performed.is_told = done.empty();  // there is nothing to tell
  return outcome;
}

}  // namespace zelsim::tool
