#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "board.h"
#include "tool.h"

// What a person or the world does to a switch.

namespace zelsim::tool {
namespace {

struct Setting {
  const char *name, *arguments, *meaning;
  size_t least, most;  // values
  void (*apply)(Board &board, const Setting &setting, const Words &value);
  size_t state = 0;  // of a single byte: offset in Board, or in the Cage of a port
  uint32_t highest = 1;
};

// Chips and lines are named by words, everything else by numbers.
uint8_t byte(const Setting &setting, const std::string &text) {
  if (setting.arguments[0] == 'p') return choice(text, "VALUE", {"absent", "present"}) == 1;
  return static_cast<uint8_t>(number(text, "VALUE", 0, setting.highest));
}

void set_byte(Board &board, const Setting &setting, const Words &value) {
  reinterpret_cast<uint8_t *>(&board)[setting.state] = byte(setting, value[0]);
}

void set_line(Board &board, const Setting &setting, const Words &value) {
  reinterpret_cast<uint8_t *>(&board.cages[port_number(value[0])])[setting.state] = byte(setting, value[1]);
}

void set_supply(Board &board, const Setting &, const Words &value) {
  unsigned supply = number(value[0], "SUPPLY", 1, 2) - 1;
  unsigned state = choice(value[1], "VALUE", {"none", "ac", "dc", "failed"});
  constexpr unsigned kFailed = 3;
  if (state != kFailed) board.supply[supply] = static_cast<Supply>(state);
  board.supply_good[supply] = state != kFailed && state != 0;
}

// The sensor has nine bits: steps of half a degree.
void set_temperature(Board &board, const Setting &, const Words &value) {
  char *end = nullptr;
  double degrees = std::strtod(value[0].c_str(), &end);
  bool good = end != value[0].c_str() && *end == '\0' && degrees >= -55 && degrees <= 125;
  if (!good) throw Usage("CELSIUS: '" + value[0] + "' is not a temperature from -55 to 125");
  board.i2c.sensor.value[0] = static_cast<uint16_t>(std::lround(degrees * 2) * 128);
}

void set_time(Board &board, const Setting &, const Words &value) {
  if (value[0] == "host") return set_clock(board, now_us(board) / 1000000);
  tm then = {};
  const char *end = strptime(value[0].c_str(), "%Y-%m-%dT%H:%M:%S", &then);
  bool good = end != nullptr && *end == '\0' && then.tm_year >= 100 && then.tm_year <= 199;
  if (!good) throw Usage("TIME: '" + value[0] + "' is neither 'host' nor like 2026-03-15T14:30:45, from 2000 to 2099");
  set_clock(board, timegm(&then));
}

void set_link(Board &board, const Setting &, const Words &value) {
  constexpr uint16_t kSpeeds[] = {0, 10, 100, 1000};
  unsigned speed = choice(value[1], "SPEED", {"down", "10", "100", "1000"});
  bool full = value.size() < 3 || choice(value[2], "DUPLEX", {"half", "full"}) == 1;
  Cage &target = board.cages[port_number(value[0])];
  target.link_speed = kSpeeds[speed];
  target.full_duplex = full;
  restart_negotiation(board, target);
}

void set_io(Board &board, const Setting &setting, const Words &value) {
  for (unsigned i = 0; i < 2; ++i) board.i2c.io_level[i] = byte(setting, value[i]);
}

void set_settle(Board &board, const Setting &, const Words &value) {
  board.settle_ms = number(value[0], "VALUE", 0, 3600000);
}

const Setting kSettings[] = {
    {"reset-key", "0|1", "release or press the reset key", 1, 1, set_byte, offsetof(Board, gpio.reset_key)},
    {"reset-process", "BYTE", "reset-process state", 1, 1, set_byte, offsetof(Board, gpio.reset_process), 255},
    {"supply", "1|2 ac|dc|none|failed", "plug, pull or break a supply", 2, 2, set_supply},
    {"temperature", "CELSIUS", "what the sensor measures", 1, 1, set_temperature},
    {"clock", "TIME|host", "clock chip's time, as 2026-03-15T14:30:45, or the host's (UTC)", 1, 1, set_time},
    {"rtc", "present|absent", "clock chip", 1, 1, set_byte, offsetof(Board, i2c.clock_present)},
    {"lm75", "present|absent", "temperature sensor", 1, 1, set_byte, offsetof(Board, i2c.sensor_present)},
    {"busy", "0|1", "I2C bus held by somebody", 1, 1, set_byte, offsetof(Board, i2c.busy)},
    {"io", "BYTE BYTE", "input lines of the main board's wide expander", 2, 2, set_io, 0, 255},
    {"los", "PORT 0|1", "loss-of-signal line of a cage: 1 = no light", 2, 2, set_line, offsetof(Cage, los)},
    {"txfault", "PORT 0|1", "transmit-fault line of a cage", 2, 2, set_line, offsetof(Cage, txfault)},
    {"link", "PORT 1000|100|10|down [full|half]", "other end of a copper module's cable", 2, 3, set_link},
    {"settle", "MILLISECONDS", "a copper PHY's auto-negotiation time", 1, 1, set_settle},
    {"chip-index", "BYTE", "flash chip that the driver reports; 0: the fitted one", 1, 1, set_byte,
     offsetof(Board, flash.chip_index), 255},
};

// By the same marks that a host goes by: an RJ45 connector, or 1000BASE-T as the only code.
Module module_from_file(const std::string &file) {
  Page page = read_page(file);
  bool copper = page[2] == 0x22 || page[6] == 0x08;
  return {std::filesystem::path(file).filename(), page, copper ? PhyKind::Marvell : PhyKind::None};
}

Module find_module(const std::string &name_or_file) {
  for (const Module &module : catalogue()) {
    if (module.name == name_or_file) return module;
  }
  return module_from_file(name_or_file);
}

}  // namespace

std::string settings_help() {
  std::string text = "NAME VALUE...:\n";
  for (const Setting &setting : kSettings) {
    std::string usage = std::string("  ") + setting.name + " " + setting.arguments;
    usage.resize(44, ' ');
    text += usage + " " + setting.meaning + "\n";
  }
  return text;
}

void set(const std::string &board, const std::string &name, const Words &values) {
  Words names;
  for (const Setting &setting : kSettings) names.push_back(setting.name);
  const Setting &setting = kSettings[choice(name, "NAME", names)];
  if (values.size() < setting.least || values.size() > setting.most) {
    throw Usage("VALUE: wrong number of values; use: zelsim set " + name + " " + setting.arguments);
  }
  OpenBoard open = open_board(board);
  Guard guard(open.board());
  setting.apply(open.board(), setting, values);
}

void fit_slot(const std::string &board, const std::string &slot, const std::string &type) {
  unsigned index = number(slot, "SLOT", 1, kSlots) - 1;
  unsigned fitted = choice(type, "BOARD", {"none", "copper", "sfp"});
  OpenBoard open = open_board(board);
  Guard guard(open.board());
  fit(open.board(), index, static_cast<uint8_t>(fitted));
}

void plug_module(const std::string &board, const std::string &port, const std::string &module) {
  unsigned index = port_number(port);
  Module chosen = find_module(module);
  OpenBoard open = open_board(board);
  Guard guard(open.board());
  if (!has_cage(open.board(), index)) throw Failure("PORT: port " + port + " has no cage: no SFP board in its slot");
  plug(open.board(), index, chosen.name.c_str(), chosen.page.data(), chosen.phy);
}

void unplug_module(const std::string &board, const std::string &port) {
  unsigned index = port_number(port);
  OpenBoard open = open_board(board);
  Guard guard(open.board());
  if (!open.board().cages[index].fitted) throw Failure("PORT: port " + port + " has no module");
  unplug(open.board().cages[index]);
}

}  // namespace zelsim::tool
