#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "calibration.h"
#include "diagnostics_page.h"

namespace zelsim::tool {
namespace {

/** In degrees, volts, milliamperes and dBm. */
struct Limits {
  double usual, high_alarm, low_alarm, high_warning, low_warning;
};

struct Profile {
  const char *module;
  bool external;
  Limits bias, tx_power, rx_power;
};

constexpr Limits kTemperatures = {35, 80, -10, 75, -5}, kVoltages = {3.3, 3.63, 2.97, 3.47, 3.13};

constexpr Profile kProfiles[] = {
    {"10g-sr", false, {7.2, 13, 3, 12, 4}, {-2.3, 2, -9.3, -1, -7.3}, {-3.1, 2, -13.9, -1, -9.9}},
    {"10g-lr", false, {34, 85, 10, 75, 15}, {-2.4, 3.5, -12.2, 0.5, -8.2}, {-5.6, 3.5, -18.4, 0.5, -14.4}},
    {"10g-er", false, {68, 120, 20, 110, 30}, {1.6, 7, -7.7, 4, -4.7}, {-9.5, 2, -19.8, -1, -15.8}},
    {"1g-sx", true, {5.4, 15, 1, 12, 2}, {-5.2, 0, -11.5, -3, -9.5}, {-6.3, 2, -20, 0, -17}},
    {"1g-lx", false, {14.5, 60, 2, 50, 4}, {-5.9, 0, -12.5, -3, -9.5}, {-8.4, 0, -23, -3, -20}},
};

/** What the host of an externally calibrated module has to reckon with: slopes are of 1/256. */
struct Constants {
  float receiver[5];  // of the fourth power first
  struct {
    uint16_t slope;
    int16_t offset;
  } bias, tx_power, temperature, voltage;
};
constexpr Constants kIdentity = {{0, 0, 0, 1, 0}, {256, 0}, {256, 0}, {256, 0}, {256, 0}};
constexpr Constants kConverter = {{0, 1.5e-11F, 1.25e-6F, 0.2F, -5}, {192, -12}, {112, -14}, {240, 640}, {272, -40}};

constexpr char kKeys[] = "temperature|voltage|bias|tx_power|rx_power";

const Profile *profile_of(const std::string &module) {
  auto found = std::ranges::find_if(kProfiles, [&](const Profile &profile) { return profile.module == module; });
  return found != std::end(kProfiles) ? found : nullptr;
}

void put_word(ModulePage &page, size_t at, uint16_t word) {
  page[at] = static_cast<uint8_t>(word >> 8);
  page[at + 1] = static_cast<uint8_t>(word);
}

size_t put_line(ModulePage &page, size_t at, uint16_t slope, int16_t offset) {
  put_word(page, at, slope);
  put_word(page, at + 2, static_cast<uint16_t>(offset));
  return at + 4;
}

void put_constants(ModulePage &page, const Constants &constants) {
  size_t at = 56;
  for (float coefficient : constants.receiver) {
    auto bits = std::bit_cast<uint32_t>(coefficient);
    put_word(page, at, static_cast<uint16_t>(bits >> 16));
    put_word(page, at + 2, static_cast<uint16_t>(bits));
    at += 4;
  }
  for (const auto &[slope, offset] : {constants.bias, constants.tx_power, constants.temperature, constants.voltage})
    at = put_line(page, at, slope, offset);
}

void put_quantity(ModulePage &page, const Calibration &calibration, Quantity quantity, const Limits &limits) {
  auto put = [&](unsigned at, double number) {
    put_word(page, at, calibration.word(quantity, from_people(quantity, number)));
  };
  put(place_of(quantity), limits.usual);
  put(place_of(quantity, kHighAlarm), limits.high_alarm);
  put(place_of(quantity, kLowAlarm), limits.low_alarm);
  put(place_of(quantity, kHighWarning), limits.high_warning);
  put(place_of(quantity, kLowWarning), limits.low_warning);
}

double rounded(double value, double per_unit) { return std::round(value * per_unit) / per_unit; }

// Near enough that a value which was set shows as it was said.
double shown(Quantity quantity, double value) {
  constexpr double kPrecision[] = {100, 10000, 1000, 100, 100};
  return rounded(for_people(quantity, value), kPrecision[quantity]);
}

Json flags_shown(const Board &board, unsigned port, unsigned at) {
  Words keys = split(kKeys);
  Json set = Json::array();
  for (unsigned i = 0; i < 2 * kQuantities; ++i) {
    bool is_set = (diagnostics_byte(board, port, at + i / 8) >> (7 - i % 8) & 1) != 0;
    if (is_set) set.push_back(keys[i / 2] + (i % 2 == 0 ? "_high" : "_low"));
  }
  return set;
}

Json row_of(const Board &board, unsigned port) {
  const Cage &cage = board.cages[port];
  constexpr unsigned kSelectTxDisable = 0x40;
  Calibration calibration(cage.page, cage.diagnostics.page);
  Json row = record("port", port, "calibration", calibration.external() ? "external" : "internal");
  Words keys = split(kKeys);
  for (unsigned i = 0; i < kQuantities; ++i) {
    auto quantity = static_cast<Quantity>(i);
    uint8_t word[] = {diagnostics_byte(board, port, place_of(quantity)),
                      diagnostics_byte(board, port, place_of(quantity) + 1)};
    row[keys[i]] = shown(quantity, calibration.value(quantity, word_at(word, 0)));
  }
  row["soft_tx_disable"] = (diagnostics_byte(board, port, kStatus) & kSelectTxDisable) != 0;
  row["alarms"] = flags_shown(board, port, kAlarmFlags);
  row["warnings"] = flags_shown(board, port, kWarningFlags);
  return row;
}

std::string number_text(double number) { return format("%.6g", number); }

// A number as people write it: no hexadecimal one, and no infinity.
double number_of(const std::string &text) {
  char *end = nullptr;
  double number = std::strtod(text.c_str(), &end);
  bool plain = !text.empty() && text.find_first_not_of("+-.0123456789eE") == std::string::npos;
  if (!plain || *end != '\0' || !std::isfinite(number)) throw Usage("VALUE: '" + text + "' is not a number like -3.2");
  return number;
}

}  // namespace

void announce_diagnostics(ModulePage &identification, const std::string &module) {
  const Profile *profile = profile_of(module);
  if (profile == nullptr) return;
  constexpr uint8_t kRevision11_3 = 6;
  identification[kOptions] = kHasTxDisable | kHasTxFault | kHasLos;
  uint8_t calibrated = profile->external ? kExternal : kInternal;
  identification[kMonitoring] = static_cast<uint8_t>(kHasDiagnostics | calibrated | kAverage);
  identification[kEnhancedOptions] = kHasFlags | kSoftTxDisable | kSoftTxFault | kSoftLos;
  identification[kRevision] = kRevision11_3;
}

std::optional<ModulePage> diagnostics_page(const ModulePage &identification, const std::string &module) {
  const Profile *profile = profile_of(module);
  if (profile == nullptr) return {};
  ModulePage page = {};
  put_constants(page, profile->external ? kConverter : kIdentity);
  Calibration calibration(identification.data(), page.data());
  put_quantity(page, calibration, kTemperature, kTemperatures);
  put_quantity(page, calibration, kVoltage, kVoltages);
  put_quantity(page, calibration, kBias, profile->bias);
  put_quantity(page, calibration, kTxPower, profile->tx_power);
  put_quantity(page, calibration, kRxPower, profile->rx_power);
  page[95] = static_cast<uint8_t>(std::accumulate(page.begin(), page.begin() + 95, 0u));
  return page;
}

Diagnostics diagnostics_of(const ModulePage &identification, const std::optional<ModulePage> &page) {
  Diagnostics diagnostics = {};
  if (!page || (identification[kMonitoring] & kHasDiagnostics) == 0) return diagnostics;
  diagnostics.present = 1;
  std::ranges::copy(*page, diagnostics.page);
  Calibration calibration(identification.data(), page->data());
  for (Quantity quantity : {kBias, kTxPower, kRxPower}) {
    uint16_t word = calibration.word(quantity, 0);
    diagnostics.dark[2 * quantity] = static_cast<uint8_t>(word >> 8);
    diagnostics.dark[2 * quantity + 1] = static_cast<uint8_t>(word);
  }
  return diagnostics;
}

Json diagnostics_of(const Board &board) {
  Json rows = Json::array();
  for (unsigned port = 0; port < kPorts; ++port) {
    const Cage &cage = board.cages[port];
    if (has_cage(board, port) && cage.fitted && cage.diagnostics.present) rows.push_back(row_of(board, port));
  }
  return rows;
}

std::vector<uint8_t> diagnostics_bytes(const Board &board, unsigned port) {
  std::vector<uint8_t> bytes;
  for (unsigned at = 0; at < sizeof board.cages[port].diagnostics.page; ++at)
    bytes.push_back(diagnostics_byte(board, port, at));
  return bytes;
}

Words measured_commands(unsigned port, const Cage &before, const Cage &after, bool plugged_anew) {
  constexpr const char *kCommands[] = {"module-temperature", "voltage", "bias", "tx-power", "rx-power"};
  Words commands;
  if (!before.diagnostics.present) return commands;
  Calibration calibration(before.page, before.diagnostics.page);
  for (unsigned i = 0; i < kQuantities; ++i) {
    auto quantity = static_cast<Quantity>(i);
    uint16_t word = word_at(before.diagnostics.page, place_of(quantity));
    if (!plugged_anew && word == word_at(after.diagnostics.page, place_of(quantity))) continue;
    double number = shown(quantity, calibration.value(quantity, word));
    commands.push_back(format("set %s %u %.10g", kCommands[i], port, number));
  }
  return commands;
}

void set_measured(const CommandLine &line, Quantity quantity) {
  unsigned port = line.values[0];
  double number = number_of(line.words[1]);
  OpenBoard board = open_board(line.board);
  Cage &cage = board->cages[port];
  if (!has_cage(*board, port) || !cage.fitted) throw Failure("PORT: port " + line.words[0] + " has no module");
  if (!cage.diagnostics.present) throw Failure("PORT: the module in port " + line.words[0] + " has no diagnostics");
  Calibration calibration(cage.page, cage.diagnostics.page);
  auto [least, greatest] = calibration.range(quantity);
  double from = for_people(quantity, least), to = for_people(quantity, greatest), value = from_people(quantity, number);
  constexpr double kHalfUnit = 0.5;  // what rounds to the last word is in the range
  bool in_range = number >= from && value <= greatest + kHalfUnit;
  if (!in_range)
    throw Usage("VALUE: '" + line.words[1] + "' is not from " + number_text(from) + " to " + number_text(to) +
                ", which the module's field holds");
  uint16_t word = calibration.word(quantity, value);
  uint8_t *field = cage.diagnostics.page + place_of(quantity);
  field[0] = static_cast<uint8_t>(word >> 8);
  field[1] = static_cast<uint8_t>(word);
}

}  // namespace zelsim::tool
