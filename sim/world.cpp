#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>

#include "tool.h"

// What a person or the world does to a switch, and how the command line says it.

namespace zelsim::tool {
namespace {

// The sensor has nine bits: steps of half a degree.
uint32_t celsius(const std::string &text) {
  char *end = nullptr;
  double degrees = std::strtod(text.c_str(), &end);
  bool good = !text.empty() && *end == '\0' && degrees >= -55 && degrees <= 125;
  if (good) return static_cast<uint32_t>(std::lround(degrees * 2) * 128);
  throw Usage("CELSIUS: '" + text + "' is not a temperature from -55 to 125");
}

// 0: the host's time.
uint32_t seconds(const std::string &text) {
  if (text == "host") return 0;
  if (auto then = time_in(text)) return static_cast<uint32_t>(timegm(&*then));
  throw Usage("TIME: '" + text + "' is neither 'host' nor like 2026-03-15T14:30:45, from 2000 to 2099");
}

template <size_t State, typename Field = uint8_t>
void set_state(const Line &line) {
  OpenBoard board = open_board(line.board);
  auto *field = reinterpret_cast<Field *>(reinterpret_cast<uint8_t *>(&*board) + State);
  for (uint32_t value : line.values) *field++ = static_cast<Field>(value);
}

template <uint8_t Cage::*Level>
void set_line(const Line &line) {
  open_board(line.board)->cages[line.values[0]].*Level = static_cast<uint8_t>(line.values[1]);
}

void set_supply(const Line &line) {
  constexpr uint32_t kNone = 0, kFailed = 3;
  uint32_t supply = line.values[0], state = line.values[1];
  OpenBoard board = open_board(line.board);
  if (state != kFailed) board->supply[supply] = static_cast<Supply>(state);
  board->supply_good[supply] = state != kFailed && state != kNone;
}

void set_time(const Line &line) {
  OpenBoard board = open_board(line.board);
  set_clock(*board, line.values[0] == 0 ? now_us(*board) / 1000000 : line.values[0]);
}

void set_link(const Line &line) {
  constexpr uint16_t kSpeeds[] = {0, 10, 100, 1000};
  OpenBoard board = open_board(line.board);
  Cage &cage = board->cages[line.values[0]];
  cage.link_speed = kSpeeds[line.values[1]];
  cage.full_duplex = line.values.size() < 3 || line.values[2] == 1;
  restart_negotiation(*board, cage);
}

void fit_slot(const Line &line) {
  fit(*open_board(line.board), line.values[0] - 1, static_cast<uint8_t>(line.values[1]));
}

void unplug_module(const Line &line) {
  OpenBoard board = open_board(line.board);
  Cage &cage = board->cages[line.values[0]];
  if (!cage.fitted) throw Failure("PORT: port " + line.words[0] + " has no module");
  unplug(cage);
}

constexpr Argument kArguments[] = {
    {"FILE", "", "a file; - is standard input or output", "flash.bin"},
    {"PORT", "0-27", "switch port", "5", 0, kPorts - 1},
    {"MODULE", "", "one of 'zelsim modules', or a file of its page", "10g-sr"},
    {"SLOT", "1-3", "place of a daughter board", "1", 1, kSlots},
    {"BYTE", "0-255", "a byte", "0x5a", 0, 255},
    {"MILLISECONDS", "0-3600000", "a time", "1500", 0, 3600000},
    {"FAULT", "NUMBER", "its number in 'fail --list'", "3", 1, UINT32_MAX},
    {"CELSIUS", "", "-55 to 125, in steps of half a degree", "71.5"},
    {"TIME", "", "as 2026-03-15T14:30:45 (UTC), or host", "2026-03-15T14:30:45"},
    {"NAME", "", "a board", "lab"},
    {"PATH", "", "names joined by dots; a row of a table by its first column", "cages.5.module"},
    {"NODE", "", "what fails, see below", "i2c:BufRead"},
    {"BOARD", "", "what to fit, or none", "sfp"},
    {"SUPPLY", "", "which supply", "2"},
    {"SPEED", "", "Mb/s of the other end; down: no cable", "100"},
    {"DUPLEX", "", "of the other end, else full", "half"},
    {"STATE", "", "its new state", "dc"},
    {"VALUE", "", "its new level", "1"},
};

constexpr Row kWorldCommands[] = {
    {"fit", "SLOT BOARD=none|copper|sfp", "Fit a daughter board into slot 1, 2 or 3", fit_slot},
    {"plug", "PORT MODULE", "Plug a module of 'zelsim modules', or a file of its page", plug_module},
    {"unplug", "PORT", "Pull the module out of a port's cage", unplug_module},
    {"fail", "?NODE[:REQUEST][@ADDRESS[-ADDRESS]]", "Make requests fail until 'zelsim heal'", fail,
     "fail i2c:BufRead@0x40 --result busy --count 3\n  zelsim fail flash:write@0x1200000-0x12fffff --skip 5\n\n"
     "NODE: gpio, i2c, flash or any\nREQUEST: number or name as in the trace, read, write, lseek or open (else all but "
     "open)\nADDRESS: of a chip on the bus, or of the flash",
     true},
    {"heal", "?FAULT", "Clear all faults, or the one with this number in 'fail --list'", heal_board, "heal"},
    {"set", "", "Do what a person or the world would do to a switch", nullptr, "set supply 1 failed"},
    {"set reset-key", "VALUE=0|1", "release or press the reset key", set_state<offsetof(Board, gpio.reset_key)>},
    {"set reset-process", "BYTE", "reset-process state", set_state<offsetof(Board, gpio.reset_process)>},
    {"set supply", "SUPPLY=1|2 STATE=none|ac|dc|failed", "plug, pull or break a supply", set_supply},
    {"set temperature", "CELSIUS", "what the sensor measures", set_state<offsetof(Board, i2c.sensor.value), uint16_t>},
    {"set clock", "TIME", "clock chip's time, as 2026-03-15T14:30:45, or 'host' for the host's (UTC)", set_time},
    {"set rtc", "STATE=absent|present", "clock chip", set_state<offsetof(Board, i2c.clock_present)>},
    {"set lm75", "STATE=absent|present", "temperature sensor", set_state<offsetof(Board, i2c.sensor_present)>},
    {"set busy", "VALUE=0|1", "I2C bus held by somebody", set_state<offsetof(Board, i2c.busy)>},
    {"set io", "BYTE BYTE1", "input lines of the main board's wide expander", set_state<offsetof(Board, i2c.io_level)>},
    {"set los", "PORT VALUE=0|1", "loss-of-signal line of a cage: 1 = no light", set_line<&Cage::los>},
    {"set txfault", "PORT VALUE=0|1", "transmit-fault line of a cage", set_line<&Cage::txfault>},
    {"set link", "PORT SPEED=down|10|100|1000 ?DUPLEX=half|full", "other end of a copper module's cable", set_link},
    {"set settle", "MILLISECONDS", "a copper PHY's auto-negotiation time",
     set_state<offsetof(Board, settle_ms), uint32_t>},
    {"set chip-index", "BYTE", "flash chip that the driver reports; 0: fitted",
     set_state<offsetof(Board, flash.chip_index)>},
    {"flash erase", "", "Erase everything, and the counters", erase_flash, "flash erase"},
    {"reset", "?NAME", "Put a board back to what create makes; the flash stays", reset_board, "reset lab"},
};

}  // namespace

std::span<const Row> world_commands() { return kWorldCommands; }

const Argument &argument_of(const std::string &name) {
  auto found = std::ranges::find_if(kArguments, [&](const Argument &row) { return name.starts_with(row.name); });
  return found != std::end(kArguments) ? *found : kArguments[0];
}

uint32_t value_of(const std::string &argument, const std::string &text) {
  Words part = split(argument + "=", '=');
  const Argument &row = argument_of(argument);
  if (!part[1].empty()) return choice(text, part[0], part[1]);
  if (row.highest > 0) return number(text, part[0], row.lowest, row.highest);
  if (part[0] == "NAME") check_name(text);
  return part[0] == "CELSIUS" ? celsius(text) : part[0] == "TIME" ? seconds(text) : 0;
}

uint32_t number(const std::string &text, const std::string &argument, uint32_t lowest, uint32_t highest) {
  if (auto value = number_in(text, lowest, highest)) return *value;
  throw Usage(argument + format(": '%s' is not a number from %u to %u", text.c_str(), lowest, highest));
}

unsigned choice(const std::string &text, const std::string &argument, const std::string &names) {
  if (auto index = index_in(names, text)) return *index;
  throw Usage(argument + ": '" + text + "' is not one of " + names);
}

}  // namespace zelsim::tool
