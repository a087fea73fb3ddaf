#include <algorithm>
#include <ctime>
#include <nlohmann/json.hpp>
#include <numeric>
#include <set>

#include "request.h"
#include "tool.h"

// What a board is like, gathered once as JSON and printed either so or as text.

namespace zelsim::tool {
namespace {

using Json = nlohmann::ordered_json;

std::string hex(uint32_t value, int digits = 1) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, value);
  return text;
}

// An object from names and as many values, which may be neighbouring bytes of the state.
template <typename Iterator>
Json named(const char *names, Iterator value, Json object = {}) {
  for (const std::string &name : split(names, ' ')) object[name] = *value++;
  return object;
}
Json named(const char *names, std::initializer_list<Json> values, const Json &before = {}) {
  return named(names, values.begin(), before);
}

// An array of what `row` makes of each number, where it makes something.
template <typename Row>
Json rows(size_t count, Row row) {
  Json all = Json::array();
  for (unsigned i = 0; i < count; ++i)
    if (Json made = row(i); !made.is_null()) all.push_back(made);
  return all;
}

Json slots_of(const I2c &i2c) {
  return rows(kSlots, [&](unsigned i) {
    std::string type = split(kBoardTypes, '|')[std::min(i2c.slot_type[i], kSfpBoard)];
    return named("slot board alive", {i + 1, type, i2c.slot_alive[i]});
  });
}

Json supplies_of(const Board &board) {
  return rows(2, [&](unsigned i) {
    const char *type = board.supply[i] == Supply::None ? "none" : board.supply[i] == Supply::Ac ? "ac" : "dc";
    return named("supply type good", {i + 1, type, board.supply_good[i] != 0});
  });
}

Json gpio_of(const Board &board) {
  constexpr char kBytes[] =
      "reset_process reset_flag io_value reset_key watchdog_toggling diag_flag flash_access_flag debug";
  const Gpio &gpio = board.gpio;
  bool watchdog = read_register(board, RegisterSpace::Soc, 0, kWatchdogRegister) & kWatchdogEnabled;
  Json cage = gpio.selected_cage == kNoCage ? Json() : Json(gpio.selected_cage);
  return named("power_status selected_cage watchdog watchdog_toggles hardware_resets",
               {hex(power_status(board), 2), cage, watchdog ? "enabled" : "disabled", gpio.watchdog_toggles,
                gpio.hardware_resets},
               named(kBytes, &gpio.reset_process));
}

Json i2c_of(const Board &board) {
  constexpr char kBytes[] = "busy debug clock_fail temperature_fail clock_present sensor_present";
  const I2c &i2c = board.i2c;
  auto seconds = static_cast<time_t>(clock_seconds(board));
  tm parts = {};
  char clock[32];
  std::strftime(clock, sizeof clock, "%Y-%m-%dT%H:%M:%S", gmtime_r(&seconds, &parts));
  double celsius = static_cast<int16_t>(i2c.sensor.value[0]) / 256.0;
  return named("clock clock_mode temperature io refreshes",
               {clock, (i2c.clock.value[0] & kClock24Hours) != 0 ? 24 : 12, celsius,
                hex(i2c.io_level[0], 2) + " " + hex(i2c.io_level[1], 2), i2c.refreshes},
               named(kBytes, &i2c.busy));
}

std::string link_of(const Board &board, unsigned port) {
  constexpr unsigned kPhyStatus = 17, kLinkUp = 0x0400;
  const Cage &cage = board.cages[port];
  if (cage.phy == PhyKind::None) return "-";
  if (tx_disable(board, port) || !(phy_value(board, port, kPhyStatus) & kLinkUp)) return "down";
  return std::to_string(cage.link_speed) + (cage.full_duplex ? " full" : " half");
}

Json cage_of(const Board &board, unsigned port) {
  if (!has_cage(board, port)) return {};
  const Cage &cage = board.cages[port];
  std::string module = cage.fitted ? std::string(cage.name, strnlen(cage.name, sizeof cage.name)) : "-";
  return named(
      "port module presence tx_disable tx_fault loss_of_signal link",
      {port, module, cage.fitted ? 0 : 1, tx_disable(board, port), cage.txfault, cage.los, link_of(board, port)});
}

Json chain_bit_of(const Board &board, unsigned i) {
  unsigned group = i / kChainBits, bit = i % kChainBits, value = board.chain[group][bit];
  return value != 0 ? named("group bit value", {group, bit, value}) : Json();
}

Json fault_of(const FaultRule &rule) {
  bool whole = rule.effect <= Effect::Killed && rule.on.node <= Node::Any && rule.on.call <= Call::Seek;
  if (rule.effect == Effect::None || !whole) return {};
  unsigned call = static_cast<unsigned>(rule.on.call), effect = static_cast<unsigned>(rule.effect);
  std::string target = node_name(rule.on.node);
  if (rule.on.call == Call::Request) target += ":" + hex(rule.on.request, 2);
  if (call >= kFirstCall) target += ":" + split(kCalls, '|')[call - kFirstCall];
  if (rule.on.has_address) target += "@" + hex(rule.on.first_address) + "-" + hex(rule.on.last_address);
  std::string result = effect >= kFirstEffect ? split(kEffects, '|')[effect - kFirstEffect] : hex(rule.value);
  Json count = rule.count > 0 ? Json(rule.count) : Json("unlimited");
  return named("target result skip count hits", {target, result, rule.skip, count, rule.hits});
}

uint64_t sum(const uint32_t *first, const uint32_t *end) { return std::accumulate(first, end, uint64_t{0}); }

Json flash_of(const Flash &flash) {
  const uint32_t *erases = flash.erases, *programs = flash.programs;
  const uint32_t *worst = std::max_element(erases, erases + kSectors);
  return named("erases programs bytes_programmed bytes_not_erased worst_sector worst_erases",
               {sum(erases, erases + kSectors), sum(programs, programs + kSectors), flash.bytes_programmed,
                flash.bytes_not_erased, worst - erases, *worst},
               named("chip_index debug extended_address", &flash.chip_index));
}

Json regions_of(const Flash &flash) {
  const Words names = split(
      "Bootloader|Environment|unused|Partition table|Boot Script|Custom info|Profinet Parameter|unused|Image 1|DB1|"
      "Customize 1|Parameter 1|Share DB|unused|Image 2|DB2|Customize 2|Parameter 2|unused|Mac Address Backup|Test Area",
      '|');
  // First sector of each region, and the end.
  constexpr uint32_t kFirst[] = {0x0,  0x10, 0x11,  0x14,  0x18,  0x1c,  0x1d,  0x1e,  0x20,  0xe0,  0xf0,
                                 0xf4, 0xf8, 0x100, 0x120, 0x1e0, 0x1f0, 0x1f4, 0x1f8, 0x1fe, 0x1ff, kSectors};
  return rows(names.size(), [&](unsigned i) {
    uint32_t first = kFirst[i], end = kFirst[i + 1];
    return named("region start erases programs",
                 {names[i], hex(first * kSectorSize, 8), sum(flash.erases + first, flash.erases + end),
                  sum(flash.programs + first, flash.programs + end)});
  });
}

std::string plain(const Json &value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

void print_table(const Json &table) {
  auto put = [&](const std::string &name, const std::string &text) {
    size_t width = name.size();
    for (const Json &row : table) width = std::max(width, plain(row[name]).size());
    std::printf("  %-*s", static_cast<int>(width), text.c_str());
  };
  for (const auto &[name, unused] : table[0].items()) put(name, name);
  for (const Json &row : table) {
    std::puts("");
    for (const auto &[name, cell] : row.items()) put(name, plain(cell));
  }
  std::puts("");
}

void print_text(const Json &object, const std::string &indent) {
  for (const auto &[name, value] : object.items()) {
    bool nested = value.is_structured() && !value.empty();
    std::string text = value.is_array() ? "none" : plain(value);
    std::printf(nested ? "%s\n" : "%-20s %s\n", (indent + name).c_str(), text.c_str());
    if (nested && value.is_array()) print_table(value);
    if (value.is_object()) print_text(value, "  ");
  }
}

void print(const Json &document, bool json) {
  if (!json) return print_text(document, "");
  std::puts(document.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace

void show_board(const Line &line) {
  OpenBoard open = open_board(line.board);
  const Board &board = *open;
  constexpr char kPanel[] =
      "system alarm relay ring_master ring_fail power_1 power_2 speed_24 speed_25 speed_26 speed_27";
  Json cages = rows(kPorts, [&](unsigned port) { return cage_of(board, port); });
  Json chain = rows(kChainGroups * kChainBits, [&](unsigned i) { return chain_bit_of(board, i); });
  print(named("board folder slots supplies panel gpio i2c cages flash serial_gpio faults settle_ms paused_us",
              {open.folder.filename().native(), open.folder.native(), slots_of(board.i2c), supplies_of(board),
               named(kPanel, &board.gpio.system_led), gpio_of(board), i2c_of(board), cages, flash_of(board.flash),
               chain, board.rule_count, board.settle_ms, board.paused_us}),
        line.json);
}

void show_boards(const Line &line) {
  std::set<std::string> names;
  std::error_code none;
  for (const auto &entry : std::filesystem::directory_iterator(boards_root(), none))
    if (entry.is_directory()) names.insert(entry.path().filename());
  Json boards = Json::array();
  for (const std::string &name : names) {
    if (name[0] == '.') continue;
    boards.push_back(named("board slot_1 slot_2 slot_3", {name, "?", "?", "?"}));
    try {
      for (const Json &slot : slots_of(open_board(name)->i2c))
        boards.back()["slot_" + slot["slot"].dump()] = slot["board"];
    } catch (const Failure &) {  // a damaged one is listed, too
    }
  }
  print(named("root boards", {boards_root().native(), boards}), line.json);
}

void show_flash(const Line &line) {
  OpenBoard board = open_board(line.board);
  print(named("flash regions", {flash_of(board->flash), regions_of(board->flash)}), line.json);
}

void show_faults(const Line &line) {
  OpenBoard board = open_board(line.board);
  print(named("faults", {rows(kMaxRules, [&](unsigned i) { return fault_of(board->rules[i]); })}), line.json);
}

void show_modules(const Line &line) {
  std::vector<Module> modules = catalogue();
  Json shown = rows(modules.size(), [&](unsigned i) {
    const auto &[name, page, phy] = modules[i];
    std::string part = page[40] == 0xff ? "-" : std::string(page.begin() + 40, page.begin() + 56);
    part.erase(part.find_last_not_of(' ') + 1);
    return named("module part_number rate_mbd", {name, part, page[12] * 100});
  });
  print(named("modules", {shown}), line.json);
}

}  // namespace zelsim::tool
