#include "acts.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "attached.h"
#include "diagnostics_page.h"
#include "faults.h"
#include "modules.h"
#include "trace.h"

// What people do to a board, kept with the way back, so that whoever watches the board can tell it and undo it.

namespace zelsim::tool {
namespace {

std::string name_in(const Cage &cage) { return {cage.name, strnlen(cage.name, sizeof cage.name)}; }

bool is_in_catalogue(const Cage &cage) {
  return std::ranges::any_of(catalogue(), [&](const Module &module) {
    return module.name == name_in(cage) && std::memcmp(module.page.data(), cage.page, sizeof cage.page) == 0;
  });
}

/** Collects commands; one that cannot be given makes all of them useless. */
struct Commands {
  Words lines = {};
  bool possible = true;

  void add(const std::string &line) { lines.push_back(line); }
  template <typename Value>
  void restore(const char *command, const Value &before, const Value &after) {
    if (before != after) add(std::string(command) + ' ' + std::to_string(before));
  }
};

const char *presence(uint8_t flag) { return flag != 0 ? "present" : "absent"; }

std::string link_text(const Cage &cage) {
  std::string speed = cage.link_speed == 0 ? "down" : std::to_string(cage.link_speed);
  return speed + (cage.full_duplex != 0 ? " full" : " half");
}

// A module that is plugged has light and no fault, and the link partner that every copper module starts with.
void restore_cage(Commands &commands, unsigned port, const Cage &before, const Cage &after, bool was_emptied) {
  std::string number = std::to_string(port);
  bool other = before.fitted != after.fitted || std::memcmp(before.page, after.page, sizeof before.page) != 0;
  bool plugs = before.fitted != 0 && (other || was_emptied);
  if (before.fitted == 0) {
    if (after.fitted != 0 && !was_emptied) commands.add("unplug " + number);
    return;
  }
  if (plugs) {
    commands.possible = commands.possible && is_in_catalogue(before);
    commands.add("plug " + number + ' ' + name_in(before));
  }
  uint8_t los = plugs ? 0 : after.loss_of_signal, fault = plugs ? 0 : after.tx_fault;
  if (before.loss_of_signal != los)
    commands.add("set loss-of-signal " + number + ' ' + std::to_string(before.loss_of_signal));
  if (before.tx_fault != fault) commands.add("set tx-fault " + number + ' ' + std::to_string(before.tx_fault));
  for (const std::string &command : measured_commands(port, before, after, plugs)) commands.add(command);
  bool has_link = before.phy != PhyKind::None;
  if (has_link && (plugs || link_text(before) != link_text(after)))
    commands.add("set link " + number + ' ' + link_text(before));
}

void restore_slots_and_cages(Commands &commands, const Board &before, const Board &after) {
  bool refitted[kSlots + 1] = {};
  for (unsigned slot = 0; slot < kSlots; ++slot) {
    refitted[slot] = before.i2c.slot_type[slot] != after.i2c.slot_type[slot];
    if (refitted[slot]) commands.add("fit " + std::to_string(slot + 1) + ' ' + board_type(before, slot));
  }
  for (unsigned port = 0; port < kPorts; ++port)
    restore_cage(commands, port, before.cages[port], after.cages[port], refitted[port / kPortsPerSlot]);
}

void restore_supplies(Commands &commands, const Board &before, const Board &after) {
  for (unsigned i = 0; i < 2; ++i) {
    if (before.supply[i] == after.supply[i] && before.supply_good[i] == after.supply_good[i]) continue;
    std::string command = "set supply " + std::to_string(i + 1) + ' ';
    std::string type = name_of("none|ac|dc", static_cast<unsigned>(before.supply[i]));
    commands.add(command + type);
    if (before.supply[i] != Supply::None && before.supply_good[i] == 0) commands.add(command + "failed");
  }
}

void restore_i2c(Commands &commands, const I2c &before, const I2c &after) {
  if (before.sensor.value[0] != after.sensor.value[0]) {
    double celsius = static_cast<int16_t>(before.sensor.value[0]) / 256.0;
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
  // Only a clock that goes with the host's can be set back at any time.
  constexpr int64_t kSecond = 1000000;
  bool was_set = std::abs(before.clock.shift_us - after.clock.shift_us) > 2 * kSecond;
  if (!was_set) return;
  commands.possible = commands.possible && std::abs(before.clock.shift_us) < kSecond;
  commands.add("set clock host");
}

void restore_faults(Commands &commands, const Board &before, const Board &after) {
  auto is_in = [](const FaultRule &rule, const Board &board) {
    return std::ranges::any_of(board.rules, [&](const FaultRule &other) {
      return other.effect != Effect::None && other.number == rule.number;
    });
  };
  for (const FaultRule &rule : after.rules)
    if (rule.effect != Effect::None && !is_in(rule, before)) commands.add("heal " + std::to_string(rule.number));
  for (const FaultRule &rule : before.rules) {
    if (rule.effect == Effect::None || is_in(rule, after)) continue;
    Json fault = fault_document(rule);
    if (fault.is_null()) continue;
    std::string line = "fail " + fault["target"].get<std::string>();
    const Json &result = fault["result"];
    line += " --result " + (result.is_string() ? result.get<std::string>() : result.dump());
    if (rule.count > 0) line += " --count " + std::to_string(rule.count);
    if (rule.skip > 0) line += " --skip " + std::to_string(rule.skip);
    commands.add(line);
  }
}

void put_text(char *to, size_t size, const std::string &text) {
  bool fits = text.size() < size;
  std::memset(to, 0, size);
  if (fits) std::memcpy(to, text.data(), text.size());
}

void keep(Board &board, const std::string &who, const std::string &command, const Words &undo) {
  std::string all;
  for (const std::string &line : undo) all += (all.empty() ? "" : ";") + line;
  Act &act = board.watch.acts[board.watch.acts_done % kActs];
  act.at_us = host_time_us();
  put_text(act.who, sizeof act.who, who);
  put_text(act.command, sizeof act.command, command);
  put_text(act.undo, sizeof act.undo, all);
  ++board.watch.acts_done;
}

}  // namespace

std::string command_text(const CommandRow &row, const CommandLine &line) {
  std::string text = row.name;
  bool names_board = std::strstr(row.arguments, "NAME") != nullptr;
  if (!names_board)
    for (const std::string &word : line.words) text += ' ' + word;
  if (!line.result.empty()) text += " --result " + line.result;
  if (line.count != "0") text += " --count " + line.count;
  if (line.skip != "0") text += " --skip " + line.skip;
  if (line.flash) text += " --flash";
  return text;
}

Words way_back(const Board &before, const Board &after) {
  Commands commands;
  restore_slots_and_cages(commands, before, after);
  restore_supplies(commands, before, after);
  restore_i2c(commands, before.i2c, after.i2c);
  commands.restore("set reset-key", before.gpio.reset_key, after.gpio.reset_key);
  commands.restore("set reset-process", before.gpio.reset_process, after.gpio.reset_process);
  commands.restore("set settle", before.settle_ms, after.settle_ms);
  commands.restore("set chip-index", before.flash.chip_index, after.flash.chip_index);
  restore_faults(commands, before, after);
  return commands.possible ? commands.lines : Words{};
}

// What takes everything back to one state can be done again, but not undone.
void perform(const CommandRow &row, const CommandLine &line, const char *who) {
  bool shows_only = line.list || line.requests;
  if (shows_only) return row.run(line);
  bool names_board = std::strstr(row.arguments, "NAME") != nullptr;
  const std::string &name = names_board ? line.name() : line.board;
  auto before = std::make_unique<Board>(*look_at(name));
  row.run(line);
  OpenBoard after = open_board(name);
  bool can_be_undone = !names_board && row.undo;
  keep(*after, who, command_text(row, line), can_be_undone ? way_back(*before, *after) : Words{});
}

}  // namespace zelsim::tool
