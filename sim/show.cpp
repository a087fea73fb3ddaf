#include <ctime>
#include <nlohmann/json.hpp>
#include <numeric>
#include <sstream>

#include "request.h"
#include "tool.h"

// What a board is like, gathered once as JSON and printed either so or as text.

namespace zelsim::tool {
namespace {

using Json = nlohmann::ordered_json;

std::string hex(uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, value);
  return text;
}

// Neighbouring bytes of the state that are shown as they are.
Json bytes_of(const char *names, const uint8_t *first) {
  Json object;
  std::istringstream words(names);
  for (std::string word; words >> word;) object[word] = *first++;
  return object;
}

const char *slot_name(uint8_t type) { return type == kNoBoard ? "none" : type == kCopperBoard ? "copper" : "sfp"; }

Json slots_of(const I2c &i2c) {
  Json slots = Json::array();
  for (unsigned slot = 0; slot < kSlots; ++slot) {
    slots.push_back({{"slot", slot + 1}, {"board", slot_name(i2c.slot_type[slot])}, {"alive", i2c.slot_alive[slot]}});
  }
  return slots;
}

Json supplies_of(const Board &board) {
  Json supplies = Json::array();
  for (unsigned i = 0; i < 2; ++i) {
    const char *type = board.supply[i] == Supply::None ? "none" : board.supply[i] == Supply::Ac ? "ac" : "dc";
    supplies.push_back({{"supply", i + 1}, {"type", type}, {"good", board.supply_good[i] != 0}});
  }
  return supplies;
}

Json panel_of(const Gpio &gpio) {
  constexpr char kNames[] =
      "system alarm relay ring_master ring_fail power_1 power_2 speed_24 speed_25 speed_26 speed_27";
  return bytes_of(kNames, &gpio.system_led);
}

Json gpio_of(const Board &board) {
  bool enabled = read_register(board, RegisterSpace::Soc, 0, kWatchdogRegister) & kWatchdogEnabled;
  Json all = bytes_of("reset_process reset_flag io_value reset_key watchdog_toggling diag_flag flash_access_flag debug",
                      &board.gpio.reset_process);
  all["power_status"] = hex(power_status(board), 2);
  all["selected_cage"] = board.gpio.selected_cage == kNoCage ? Json(nullptr) : Json(board.gpio.selected_cage);
  all["watchdog"] = enabled ? "enabled" : "disabled";
  all["watchdog_toggles"] = board.gpio.watchdog_toggles;
  all["hardware_resets"] = board.gpio.hardware_resets;
  return all;
}

Json i2c_of(const Board &board) {
  auto seconds = static_cast<time_t>(clock_seconds(board));
  tm parts = {};
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", gmtime_r(&seconds, &parts));
  Json all = bytes_of("busy debug clock_fail temperature_fail clock_present sensor_present", &board.i2c.busy);
  all["clock"] = text;
  all["clock_mode"] = board.i2c.clock.value[0] & kClock24Hours ? 24 : 12;
  all["temperature"] = static_cast<int16_t>(board.i2c.sensor.value[0]) / 256.0;
  all["io"] = hex(board.i2c.io_level[0], 2) + " " + hex(board.i2c.io_level[1], 2);
  all["refreshes"] = board.i2c.refreshes;
  return all;
}

std::string link_text(const Board &board, unsigned port) {
  constexpr unsigned kPhyStatus = 17, kLinkUp = 0x0400;
  const Cage &cage = board.cages[port];
  if (cage.phy == PhyKind::None) return "-";
  if (tx_disable(board, port) || !(phy_value(board, port, kPhyStatus) & kLinkUp)) return "down";
  return std::to_string(cage.link_speed) + (cage.full_duplex ? " full" : " half");
}

Json cages_of(const Board &board) {
  Json cages = Json::array();
  for (unsigned port = 0; port < kPorts; ++port) {
    const Cage &cage = board.cages[port];
    std::string module = cage.fitted ? std::string(cage.name, strnlen(cage.name, sizeof cage.name)) : "-";
    if (!has_cage(board, port)) continue;
    Json row = {{"port", port}, {"module", module}, {"presence", cage.fitted ? 0 : 1}};
    row["tx_disable"] = tx_disable(board, port);
    row["tx_fault"] = cage.txfault;
    row["loss_of_signal"] = cage.los;
    row["link"] = link_text(board, port);
    cages.push_back(row);
  }
  return cages;
}

Json chain_of(const Board &board) {
  Json lit = Json::array();
  for (unsigned i = 0; i < kChainGroups * kChainBits; ++i) {
    unsigned group = i / kChainBits, bit = i % kChainBits, value = board.chain[group][bit];
    if (value != 0) lit.push_back({{"group", group}, {"bit", bit}, {"value", value}});
  }
  return lit;
}

Json registers_of(const Board &board) {
  Json rows = Json::array();
  for (const Register &row : board.registers) {
    if (row.space == RegisterSpace::Free) continue;
    constexpr const char *kSpaces[] = {"", "soc", "switch chip", "phy"};
    const char *space = row.space <= RegisterSpace::Phy ? kSpaces[static_cast<int>(row.space)] : "?";
    Json shown = {{"space", space}, {"port", row.port}, {"address", hex(row.address, 8)}};
    shown["value"] = hex(row.value, 8);
    rows.push_back(shown);
  }
  return rows;
}

Json flash_of(const Board &board) {
  const Flash &flash = board.flash;
  const uint32_t *worst = std::max_element(flash.erases, flash.erases + kSectors);
  Json all = bytes_of("chip_index debug extended_address", &flash.chip_index);
  all["erases"] = std::accumulate(flash.erases, flash.erases + kSectors, uint64_t{0});
  all["programs"] = std::accumulate(flash.programs, flash.programs + kSectors, uint64_t{0});
  all["bytes_programmed"] = flash.bytes_programmed;
  all["bytes_not_erased"] = flash.bytes_not_erased;
  all["worst_sector"] = worst - flash.erases;
  all["worst_erases"] = *worst;
  return all;
}

constexpr const char *kRegionNames[] = {
    "Bootloader",  "Environment",        "unused",      "Partition table", "Boot Script",
    "Custom info", "Profinet Parameter", "unused",      "Image 1",         "DB1",
    "Customize 1", "Parameter 1",        "Share DB",    "unused",          "Image 2",
    "DB2",         "Customize 2",        "Parameter 2", "unused",          "Mac Address Backup",
    "Test Area"};
constexpr size_t kRegions = std::size(kRegionNames);
// First sector of each region, and the end.
constexpr uint32_t kRegionSectors[kRegions + 1] = {0x0,   0x10,  0x11,  0x14,  0x18,  0x1c,    0x1d,  0x1e,
                                                   0x20,  0xe0,  0xf0,  0xf4,  0xf8,  0x100,   0x120, 0x1e0,
                                                   0x1f0, 0x1f4, 0x1f8, 0x1fe, 0x1ff, kSectors};

Json regions_of(const Flash &flash) {
  Json rows = Json::array();
  for (size_t i = 0; i < kRegions; ++i) {
    uint32_t first = kRegionSectors[i], end = kRegionSectors[i + 1];
    Json row = {{"region", kRegionNames[i]}, {"start", hex(first * kSectorSize, 8)}};
    row["erases"] = std::accumulate(flash.erases + first, flash.erases + end, uint64_t{0});
    row["programs"] = std::accumulate(flash.programs + first, flash.programs + end, uint64_t{0});
    rows.push_back(row);
  }
  return rows;
}

std::string plain(const Json &value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

void print_table(const Json &rows) {
  std::vector<Words> lines(1);
  std::vector<size_t> widths;
  for (const auto &[name, unused] : rows[0].items()) lines[0].push_back(name);
  for (const Json &row : rows) {
    lines.emplace_back();
    for (const Json &cell : row) lines.back().push_back(plain(cell));
  }
  widths.resize(lines[0].size());
  for (const Words &line : lines) {
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  for (const Words &line : lines) {
    for (size_t i = 0; i < line.size(); ++i) {
      std::printf("  %-*s", i + 1 < line.size() ? static_cast<int>(widths[i]) : 0, line[i].c_str());
    }
    std::printf("\n");
  }
}

void print(const Json &document, bool json) {
  using Handler = Json::error_handler_t;
  if (json) std::printf("%s\n", document.dump(2, ' ', false, Handler::replace).c_str());
  for (const auto &[key, value] : document.items()) {
    if (json) break;
    bool nested = value.is_structured() && !value.empty();
    std::printf(nested ? "%s\n" : "%-20s %s\n", key.c_str(), value.is_array() ? "none" : plain(value).c_str());
    if (nested && value.is_array()) print_table(value);
    if (!value.is_object()) continue;
    for (const auto &[name, field] : value.items()) std::printf("  %-18s %s\n", name.c_str(), plain(field).c_str());
  }
}

}  // namespace

void show_board(const std::string &name, bool json) {
  OpenBoard open = open_board(name);
  Board board;
  {
    Guard guard(open.board());
    board = open.board();
  }
  Json all = {{"board", open.name}, {"folder", open.folder}};
  all["slots"] = slots_of(board.i2c);
  all["supplies"] = supplies_of(board);
  all["panel"] = panel_of(board.gpio);
  all["gpio"] = gpio_of(board);
  all["i2c"] = i2c_of(board);
  all["cages"] = cages_of(board);
  all["flash"] = flash_of(board);
  all["serial_gpio"] = chain_of(board);
  all["registers"] = registers_of(board);
  all["faults"] = board.rule_count;
  all["settle_ms"] = board.settle_ms;
  all["paused_us"] = board.paused_us;
  print(all, json);
}

void show_boards(bool json) {
  Json rows = Json::array();
  for (const std::string &name : board_names()) {
    Json row = {{"board", name}};
    for (unsigned i = 1; i <= kSlots; ++i) row["slot_" + std::to_string(i)] = "?";
    try {
      OpenBoard open = open_board(name);
      for (const Json &slot : slots_of(open.board().i2c)) row["slot_" + slot["slot"].dump()] = slot["board"];
    } catch (const Failure &) {  // a damaged one is listed, too
    }
    rows.push_back(row);
  }
  print({{"root", boards_root()}, {"boards", rows}}, json);
}

void show_flash(const std::string &name, bool json) {
  OpenBoard open = open_board(name);
  Guard guard(open.board());
  print({{"flash", flash_of(open.board())}, {"regions", regions_of(open.board().flash)}}, json);
}

void show_modules(bool json) {
  Json rows = Json::array();
  for (const Module &module : catalogue()) {
    std::string part(module.page.begin() + 40, module.page.begin() + 56);
    if (module.page[40] == 0xff) part = "-";
    part.resize(part.find_last_not_of(' ') + 1);
    rows.push_back({{"module", module.name}, {"part_number", part}, {"rate_mbd", module.page[12] * 100}});
  }
  print({{"modules", rows}}, json);
}

}  // namespace zelsim::tool
