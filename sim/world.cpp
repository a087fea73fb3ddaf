#include <algorithm>
#include <cstdlib>

#include "made_diagnostics.h"
#include "tool.h"

// The commands that do what a person or the world does to a switch.

namespace zelsim::tool {
namespace {

// Sets a field of the board to the number of the argument; with several arguments also the fields behind it.
template <size_t Offset, typename Field = uint8_t>
void set_state(const CommandLine &line) {
  OpenBoard board = open_board(line.board);
  auto *bytes = reinterpret_cast<uint8_t *>(&*board);
  auto *fields = reinterpret_cast<Field *>(bytes + Offset);
  for (size_t i = 0; i < line.values.size(); ++i) fields[i] = static_cast<Field>(line.values[i]);
}

// The lines of a port that has no cage lead nowhere.
template <uint8_t Cage::*Level>
void set_line(const CommandLine &line) {
  uint32_t port = line.values[0];
  auto level = static_cast<uint8_t>(line.values[1]);
  OpenBoard board = open_board(line.board);
  if (!has_cage(*board, port))
    throw Failure("PORT: " + line.words[0] + " has no cage, whose lines could change: no SFP board in its slot");
  board->cages[port].*Level = level;
}

// The value of a choice is the index of its word: supply 1 is 0; none, ac, dc, failed are 0 to 3. A supply that fails
// keeps its type.
void set_supply(const CommandLine &line) {
  constexpr uint32_t kNone = 0;
  constexpr uint32_t kFailed = 3;
  uint32_t supply = line.values[0];
  uint32_t state = line.values[1];
  OpenBoard board = open_board(line.board);
  bool is_pulled = board->supply[supply] == Supply::None;
  if (state == kFailed && is_pulled)
    throw Failure("STATE: supply " + line.words[0] + " is pulled, and cannot fail: plug it first (ac or dc)");
  if (state != kFailed) board->supply[supply] = static_cast<Supply>(state);
  board->supply_good[supply] = state != kFailed && state != kNone;
}

void set_time(const CommandLine &line) {
  constexpr uint32_t kHostTime = 0;
  OpenBoard board = open_board(line.board);
  int64_t seconds = line.values[0];
  if (seconds == kHostTime) seconds = now_us(*board) / 1000000;
  set_clock(*board, seconds);
}

// Why a port has no link.
std::string missing_link(const Board &board, uint32_t port) {
  if (!has_cage(board, port)) return "no board in its slot";
  return board.cages[port].fitted != 0 ? "its module has no copper PHY" : "no module in its cage";
}

void set_link(const CommandLine &line) {
  constexpr uint16_t kSpeeds[] = {0, 10, 100, 1000};
  constexpr uint32_t kFull = 1;
  uint32_t duplex = line.values.size() > 2 ? line.values[2] : kFull;
  uint32_t port = line.values[0];
  OpenBoard board = open_board(line.board);
  if (!has_link(*board, port))
    throw Failure("PORT: " + line.words[0] + " has no copper link: " + missing_link(*board, port));
  uint16_t speed = kSpeeds[line.values[1]];
  bool is_full = duplex == kFull;
  if (has_jack(*board, port)) {
    replug_jack(*board, port, speed, is_full);
    return;
  }
  Cage &cage = board->cages[port];
  cage.link_speed = speed;
  cage.full_duplex = is_full;
  restart_negotiation(*board, cage);
}

template <Quantity Measured>
void set_module(const CommandLine &line) {
  set_measured(line, Measured);
}

void fit_slot(const CommandLine &line) {
  uint32_t slot = line.values[0] - 1;
  auto type = static_cast<uint8_t>(line.values[1]);
  fit(*open_board(line.board), slot, type);
}

void unplug_module(const CommandLine &line) {
  OpenBoard board = open_board(line.board);
  Cage &cage = board->cages[line.values[0]];
  if (!cage.fitted) throw Failure("PORT: " + line.words[0] + " has no module");
  unplug(cage);
}

constexpr char kFailExample[] =
    "fail i2c:BufRead@0x40 --result busy --count 3\n"
    "  zelsim fail flash:write@0x1200000-0x12fffff --skip 5\n\n"
    "NODE: gpio, i2c, flash, any, or debugCmd with its commands for requests\n"
    "REQUEST: number or name as in the trace, read, write, lseek or open; default: all but open\n"
    "ADDRESS: of a chip on the bus, or of the flash";

constexpr CommandRow kWorldCommands[] = {
    {"fit", "SLOT BOARD=none|copper|sfp", "Fit a daughter board into slot 1, 2 or 3", fit_slot},
    {"plug", "PORT MODULE", "Plug a module of 'zelsim modules', or a file of its page", plug_module},
    {"unplug", "PORT", "Pull the module out of a port's cage", unplug_module},
    {.name = "fail",
     .arguments = "?NODE[:REQUEST][@ADDRESS[-ADDRESS]]",
     .what = "Make requests fail until 'zelsim heal'",
     .run = fail,
     .example = kFailExample,
     .shows = true},
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
    {.name = "set loss-of-signal",
     .arguments = "PORT VALUE=0|1",
     .what = "loss-of-signal line of a cage: 1 = no light",
     .run = set_line<&Cage::loss_of_signal>,
     .alias = "los"},
    {.name = "set tx-fault",
     .arguments = "PORT VALUE=0|1",
     .what = "transmit-fault line of a cage",
     .run = set_line<&Cage::tx_fault>,
     .alias = "txfault"},
    {"set link", "PORT SPEED=down|10|100|1000 ?DUPLEX=half|full",
     "other end of the cable of an RJ45 port or a copper module", set_link},
    {"set module-temperature", "PORT VALUE", "degrees Celsius that the module measures", set_module<kTemperature>,
     "set module-temperature 24 -3.5"},
    {.name = "set voltage",
     .arguments = "PORT VALUE",
     .what = "volts of the module's supply",
     .run = set_module<kVoltage>,
     .example = "set voltage 24 3.28",
     .alias = "module-voltage"},
    {.name = "set bias",
     .arguments = "PORT VALUE",
     .what = "milliamperes of the module's laser while it is on",
     .run = set_module<kBias>,
     .example = "set bias 24 7.25",
     .alias = "module-bias"},
    {.name = "set tx-power",
     .arguments = "PORT VALUE",
     .what = "dBm that the module's laser gives while it is on",
     .run = set_module<kTxPower>,
     .example = "set tx-power 24 -2.5",
     .alias = "module-tx-power"},
    {.name = "set rx-power",
     .arguments = "PORT VALUE",
     .what = "dBm that the module's receiver gets while there is light",
     .run = set_module<kRxPower>,
     .example = "set rx-power 24 -14.25",
     .alias = "module-rx-power"},
    {"set settle", "MILLISECONDS", "a copper PHY's auto-negotiation time",
     set_state<offsetof(Board, settle_ms), uint32_t>},
    {"set chip-index", "BYTE", "flash chip that the driver reports; 0: fitted",
     set_state<offsetof(Board, flash.chip_index)>},
    {.name = "flash erase",
     .arguments = "",
     .what = "Erase everything, and the counters",
     .run = erase_flash,
     .example = "flash erase",
     .undo = false},
    {.name = "reset",
     .arguments = "?NAME",
     .what = "Put a board back to how create made it; the flash stays",
     .run = reset_board,
     .example = "reset lab",
     .undo = false,
     .names_board = true},
    {.name = "save",
     .arguments = "STATE",
     .what = "Keep the whole board with its flash under a name; what had that name before is replaced",
     .run = save_state,
     .undo = false},
    {.name = "load",
     .arguments = "STATE",
     .what = "Go back to a state that was saved",
     .run = load_state,
     .undo = false},
    {.name = "forget",
     .arguments = "STATE",
     .what = "Remove a state that was saved",
     .run = forget_state,
     .undo = false},
};

// The name with its last word exchanged for the alias.
std::string alias_of(const CommandRow &row) {
  if (row.alias == nullptr) return {};
  std::string name = row.name;
  size_t last_word = name.rfind(' ') + 1;
  return name.substr(0, last_word) + row.alias;
}

}  // namespace

std::span<const CommandRow> world_commands() { return kWorldCommands; }

const CommandRow *world_command(const std::string &name) {
  for (const CommandRow &row : kWorldCommands) {
    if (name == row.name || name == alias_of(row)) return &row;
  }
  return nullptr;
}

}  // namespace zelsim::tool
