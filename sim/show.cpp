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

Json slots_of(const Board &board) {
  return rows(kSlots, [&](unsigned i) {
    return named("slot board alive", {i + 1, board_type(board, i), board.i2c.slot_alive[i]});
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
                hex(i2c.io_level[0], 2) + ' ' + hex(i2c.io_level[1], 2), i2c.refreshes},
               named(kBytes, &i2c.busy));
}

Json cage_of(const Board &board, unsigned port) {
  if (!has_cage(board, port)) return {};
  const Cage &cage = board.cages[port];
  std::string module = cage.fitted ? std::string(cage.name, strnlen(cage.name, sizeof cage.name)) : "-";
  return named("port module presence tx_disable tx_fault loss_of_signal",
               {port, module, cage.fitted ? 0 : 1, tx_disable(board, port), cage.txfault, cage.los});
}

Json fault_of(const FaultRule &rule) {
  bool whole = rule.effect <= Effect::Killed && rule.on.node <= Node::Any && rule.on.call <= Call::Seek;
  if (rule.effect == Effect::None || !whole) return {};
  unsigned call = static_cast<unsigned>(rule.on.call), effect = static_cast<unsigned>(rule.effect);
  std::string target = node_name(rule.on.node);
  if (rule.on.call == Call::Request) target += ':' + hex(rule.on.request, 2);
  if (call >= kFirstCall) target += ':' + split(kCalls, '|')[call - kFirstCall];
  if (rule.on.has_address) target += '@' + hex(rule.on.first_address) + '-' + hex(rule.on.last_address);
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

// With their first sectors.
constexpr char kRegions[] =
    "0 Bootloader|10 Environment|11 unused|14 Partition table|18 Boot Script|1c Custom info|1d Profinet Parameter|"
    "1e unused|20 Image 1|e0 DB1|f0 Customize 1|f4 Parameter 1|f8 Share DB|100 unused|120 Image 2|1e0 DB2|"
    "1f0 Customize 2|1f4 Parameter 2|1f8 unused|1fe Mac Address Backup|1ff Test Area|200";

Json regions_of(const Flash &flash) {
  Words regions = split(kRegions, '|');
  return rows(regions.size() - 1, [&](unsigned i) {
    size_t name = 0, first = std::stoul(regions[i], &name, 16), end = std::stoul(regions[i + 1], nullptr, 16);
    return named("region start erases programs",
                 {regions[i].substr(name + 1), hex(static_cast<uint32_t>(first) * kSectorSize, 8),
                  sum(flash.erases + first, flash.erases + end), sum(flash.programs + first, flash.programs + end)});
  });
}

std::string plain(const Json &value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

void print_table(const Json &table) {
  std::vector<std::string> lines(table.size() + 1);
  for (const auto &[name, unused] : table[0].items()) {
    for (size_t i = 0; i < lines.size(); ++i) lines[i].append("  ").append(i == 0 ? name : plain(table[i - 1][name]));
    size_t width = std::ranges::max(lines, {}, &std::string::size).size();
    for (std::string &line : lines) line.resize(width, ' ');
  }
  for (const std::string &line : lines) std::puts(line.substr(0, line.find_last_not_of(' ') + 1).c_str());
}

void print(const Json &document, bool json, const std::string &indent = "") {
  if (json) return void(std::puts(document.dump(2, ' ', false, Json::error_handler_t::replace).c_str()));
  for (const auto &[name, value] : document.items()) {
    bool nested = value.is_structured() && !value.empty();
    std::string text = value.is_array() ? "none" : plain(value);
    std::printf(nested ? "%s\n" : "%-20s %s\n", (indent + name).c_str(), text.c_str());
    if (nested && value.is_array()) print_table(value);
    if (value.is_object()) print(value, false, "  ");
  }
}

}  // namespace

std::string board_type(const Board &board, unsigned slot) {
  return slot == kSlots ? "main" : split(kBoardTypes, '|')[std::min(board.i2c.slot_type[slot], kSfpBoard)];
}

Json board_document(const Line &line) {
  OpenBoard open = open_board(line.board);
  const Board &board = *open;
  Json panel = named("system alarm relay ring_master ring_fail power_1 power_2 speed_24 speed_25 speed_26 speed_27",
                     &board.gpio.system_led);
  Json supplies = rows(2, [&](unsigned i) {
    const char *type = board.supply[i] == Supply::None ? "none" : board.supply[i] == Supply::Ac ? "ac" : "dc";
    return named("supply type good", {i + 1, type, board.supply_good[i] != 0});
  });
  Json cages = rows(kPorts, [&](unsigned port) { return cage_of(board, port); });
  Json chain = rows(size_t{kChainGroups} * kChainBits, [&](unsigned i) {
    unsigned group = i / kChainBits, bit = i % kChainBits, value = board.chain[group][bit];
    return value != 0 ? named("group bit value", {group, bit, value}) : Json();
  });
  return named("board folder slots supplies panel gpio i2c cages flash serial_gpio faults settle_ms paused_us",
               {open.folder.filename().native(), open.folder.native(), slots_of(board), supplies, panel, gpio_of(board),
                i2c_of(board), cages, flash_of(board.flash), chain, board.rule_count, board.settle_ms, board.paused_us});
}

Json boards_document(const Line &) {
  std::error_code none;
  std::filesystem::directory_iterator entries(boards_root(), none);
  Json boards = Json::array();
  for (const auto &folder : std::set<std::filesystem::path>(entries, {})) {
    std::string name = folder.filename();
    if (name[0] == '.' || !is_directory(folder)) continue;
    boards.push_back(named("board slot_1 slot_2 slot_3", {name, "?", "?", "?"}));
    try {
      for (const Json &slot : slots_of(*open_board(name))) boards.back()["slot_" + slot["slot"].dump()] = slot["board"];
    } catch (const Failure &) {  // a damaged one is listed, too
    }
  }
  return named("root boards", {boards_root().native(), boards});
}

Json flash_document(const Line &line) {
  OpenBoard board = open_board(line.board);
  return named("flash regions", {flash_of(board->flash), regions_of(board->flash)});
}

Json faults_document(const Line &line) {
  OpenBoard board = open_board(line.board);
  return named("faults", {rows(kMaxRules, [&](unsigned i) { return fault_of(board->rules[i]); })});
}

Json modules_document(const Line &) {
  std::vector<Module> modules = catalogue();
  Json shown = rows(modules.size(), [&](unsigned i) {
    const auto &[name, page, phy] = modules[i];
    std::string part = page[40] == 0xff ? "-" : std::string(page.begin() + 40, page.begin() + 56);
    part.erase(part.find_last_not_of(' ') + 1);
    return named("module part_number rate_mbd", {name, part, page[12] * 100});
  });
  return named("modules", {shown});
}

void show_boards(const Line &line) { print(boards_document(line), line.json); }
void show_board(const Line &line) { print(board_document(line), line.json); }
void show_flash(const Line &line) { print(flash_document(line), line.json); }
void show_faults(const Line &line) { print(faults_document(line), line.json); }
void show_modules(const Line &line) { print(modules_document(line), line.json); }

}  // namespace zelsim::tool
