#include <strings.h>

#include <algorithm>
#include <ctime>
#include <numeric>
#include <set>

#include "../cli/module_page.h"
#include "request.h"
#include "tool.h"

// What a board is like, gathered once as JSON and printed either so or as text.

namespace zelsim::tool {
namespace {

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
  bool watchdog = (read_register(board, RegisterSpace::Soc, 0, kWatchdogRegister) & kWatchdogEnabled) != 0;
  Json cage = gpio.selected_cage == kNoCage ? Json() : Json(gpio.selected_cage);
  return named("power_status selected_cage watchdog_enabled watchdog_toggles hardware_resets",
               {power_status(board), cage, watchdog, gpio.watchdog_toggles, gpio.hardware_resets},
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
               {clock, (i2c.clock.value[0] & kClock24Hours) != 0 ? 24 : 12, celsius, i2c.io_level, i2c.refreshes},
               named(kBytes, &i2c.busy));
}

Json cage_of(const Board &board, unsigned port) {
  if (!has_cage(board, port)) return {};
  const Cage &cage = board.cages[port];
  Json module = cage.fitted ? Json(std::string(cage.name, strnlen(cage.name, sizeof cage.name))) : Json();
  return named("port module presence tx_disable tx_fault loss_of_signal",
               {port, module, cage.fitted ? 0 : 1, tx_disable(board, port), cage.txfault, cage.los});
}

// The other end of a copper module's cable.
Json link_of(const Cage &cage, unsigned port) {
  if (!cage.fitted || cage.phy == PhyKind::None) return {};
  return named("port phy speed full_duplex",
               {port, cage.phy == PhyKind::Marvell ? "marvell" : "other", cage.link_speed, cage.full_duplex != 0});
}

Json register_of(const Register &row) {
  if (row.space == RegisterSpace::Free || row.space > RegisterSpace::Phy) return {};
  Json port = row.space == RegisterSpace::Phy ? Json(row.port) : Json();
  return named("address value space port",
               {row.address, row.value, name_of("|soc|switch|phy", static_cast<unsigned>(row.space)), port});
}

Json faults_of(const Board &board) {
  return rows(kMaxRules, [&](unsigned i) { return fault_document(board.rules[i]); });
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
    return named("region start size erases programs",
                 {regions[i].substr(name + 1), first * kSectorSize, (end - first) * kSectorSize,
                  sum(flash.erases + first, flash.erases + end), sum(flash.programs + first, flash.programs + end)});
  });
}

// What a word leads to: a member of an object, the row of a table that begins with it, or a number of a list.
const Json &step(const Json &from, const std::string &word) {
  Words names;
  const Json *found = nullptr;
  unsigned matching = 0;
  for (const auto &[name, part] : from.items()) {
    names.push_back(is_table(from) ? cell(part.begin().key(), part.front()) : name);
    if (strcasecmp(names.back().c_str(), word.c_str()) == 0) found = &part, ++matching;
  }
  if (matching > 1) throw Usage("PATH: more than one row begins with '" + word + "'");
  if (found != nullptr && from.is_structured()) return *found;
  throw Usage("PATH: '" + word + "' is not in: " + (from.is_structured() ? cell("", names) : "a value"));
}

}  // namespace

std::string board_type(const Board &board, unsigned slot) {
  return slot == kSlots ? "main" : split(kBoardTypes, '|')[std::min(board.i2c.slot_type[slot], kSfpBoard)];
}

Json board_document(const Line &line) {
  OpenBoard open = look_at(line.board);
  const Board &board = *open;
  Json panel = named("system alarm relay ring_master ring_fail power_1 power_2 speed_24 speed_25 speed_26 speed_27",
                     &board.gpio.system_led);
  Json supplies = rows(2, [&](unsigned i) {
    auto type = static_cast<unsigned>(board.supply[i]);
    return named("supply type good", {i + 1, name_of("none|ac|dc", type), board.supply_good[i] != 0});
  });
  Json cages = rows(kPorts, [&](unsigned port) { return cage_of(board, port); });
  Json links = rows(kPorts, [&](unsigned port) { return link_of(board.cages[port], port); });
  Json registers = rows(kRegisters, [&](unsigned i) { return register_of(board.registers[i]); });
  Json chain = rows(size_t{kChainGroups} * kChainBits, [&](unsigned i) {
    unsigned group = i / kChainBits, bit = i % kChainBits, value = board.chain[group][bit];
    return value != 0 ? named("group bit value", {group, bit, value}) : Json();
  });
  return named(
      "board folder slots supplies panel gpio i2c cages flash registers serial_gpio links faults settle_ms paused_us",
      {open.folder.filename().native(), open.folder.native(), slots_of(board), supplies, panel, gpio_of(board),
       i2c_of(board), cages, flash_of(board.flash), registers, chain, links, faults_of(board), board.settle_ms,
       board.paused_us});
}

Json boards_document(const Line &) {
  std::error_code none;
  std::filesystem::directory_iterator entries(boards_root(), none);
  Json boards = Json::array();
  for (const auto &folder : std::set<std::filesystem::path>(entries, {})) {
    std::string name = folder.filename();
    if (name[0] == '.' || !is_directory(folder)) continue;
    boards.push_back(named("board slot_1 slot_2 slot_3", {name, {}, {}, {}}));
    try {
      for (const Json &slot : slots_of(*look_at(name))) boards.back()["slot_" + slot["slot"].dump()] = slot["board"];
    } catch (const std::runtime_error &) {  // a damaged one, or a folder that is none, is listed, too
    }
  }
  return named("root boards", {boards_root().native(), boards});
}

Json flash_document(const Line &line) {
  OpenBoard board = look_at(line.board);
  return named("flash regions", {flash_of(board->flash), regions_of(board->flash)});
}

Json faults_document(const Line &line) {
  OpenBoard board = look_at(line.board);
  return named("faults", {faults_of(*board)});
}

std::pair<uint32_t, uint32_t> flash_range(const std::string &region) {
  if (region.empty()) return {0, kFlashSize};
  for (const Json &row : regions_of({}))
    if (row["region"] == region && region != "unused") return {row["start"], row["size"]};
  Words part = split(region, '+');
  if (part.size() != 2)
    throw Usage("--region: '" + region + "' is neither a region of 'zelsim flash stats' nor like 0x100000+0x10000");
  uint32_t start = number(part[0], "--region", 0, kFlashSize - 1);
  return {start, number(part[1], "--region", 1, kFlashSize - start)};
}

Json modules_document(const Line &) {
  std::vector<Module> modules = catalogue();
  Json shown = rows(modules.size(), [&](unsigned i) {
    const auto &[name, page, phy] = modules[i];
    std::string part = page[40] == 0xff ? "-" : page_text(std::span(page).first<kPageLength>(), 40, 16);
    Json kind = phy == PhyKind::None ? Json() : phy == PhyKind::Marvell ? "marvell" : "other";
    return named("module part_number rate_mbd phy", {name, part, page[12] * 100, kind});
  });
  return named("modules", {shown});
}

void get_value(const Line &line) {
  Json board = board_document(line);
  const Json *value = &board;
  std::string last;
  Words path = split(line.words[0], '.');
  if (path.empty()) path = {""};
  for (const std::string &word : path) value = &step(*value, last = word);
  bool whole = line.json || value->is_object() || is_table(*value);
  if (whole) return print(*value, line.json);
  std::puts(cell(last, *value).c_str());
}

}  // namespace zelsim::tool
