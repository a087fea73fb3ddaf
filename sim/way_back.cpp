#include "way_back.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "attached.h"
#include "faults.h"
#include "made_diagnostics.h"
#include "modules.h"

// The commands that undo what people do to a board.

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
  // A plug gives the module the usual link partner, so the link is always set behind it.
  bool other_link = plugs || link_text(before) != link_text(after);
  if (before.phy != PhyKind::None && other_link) restore_link(commands, port, before);
}

// Restores the cable of an RJ45 port. If an earlier command fits the board anew, the port has the cable that every port
// starts with.
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
  if (before.sensor.value[kSensorTemperature] != after.sensor.value[kSensorTemperature]) {
    double celsius = degrees_of(before.sensor.value[kSensorTemperature]);
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

// A command for any other time would be wrong at a later moment: only the host's time can be restored.
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

}  // namespace

// Programs write page A2h only behind the checksum of its thresholds and constants. So the bytes before identify the
// module.
bool is_same_module(const Cage &before, const Cage &after) {
  const DiagnosticsMemory &had = before.diagnostics;
  const DiagnosticsMemory &has = after.diagnostics;
  return before.fitted == after.fitted && std::memcmp(before.page, after.page, sizeof before.page) == 0 &&
         had.present == has.present && std::memcmp(had.page, has.page, kFirstMeasured) == 0;
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

}  // namespace zelsim::tool
