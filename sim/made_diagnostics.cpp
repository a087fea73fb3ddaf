#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "byte_order.h"
#include "calibration.h"
#include "made_diagnostics.h"

namespace zelsim::tool {
namespace {

/** How a quantity is named and shown. */
struct QuantityText {
  const char *key;      // in documents
  const char *command;  // behind `set`
  double steps;         // in one unit: a shown value is rounded to such a step
};
constexpr QuantityText kQuantityTexts[kQuantities] = {
    {"temperature", "module-temperature", 100},  // kTemperature
    {"voltage", "voltage", 10000},               // kVoltage
    {"bias", "bias", 1000},                      // kBias
    {"tx_power", "tx-power", 100},               // kTxPower
    {"rx_power", "rx-power", 100},               // kRxPower
};

/** A usual value and the thresholds, in degrees, volts, milliamperes or dBm. */
struct Limits {
  double usual;
  double high_alarm;
  double low_alarm;
  double high_warning;
  double low_warning;
};

constexpr Limits kTemperatures = {35, 80, -10, 75, -5};
constexpr Limits kVoltages = {3.3, 3.63, 2.97, 3.47, 3.13};

/** A module of the catalogue that has diagnostics. */
struct Profile {
  const char *module;
  bool external;
  Limits bias;
  Limits tx_power;
  Limits rx_power;
};

constexpr Profile kProfiles[] = {
    {"10g-sr", false, {7.2, 13, 3, 12, 4}, {-2.3, 2, -9.3, -1, -7.3}, {-3.1, 2, -13.9, -1, -9.9}},
    {"10g-lr", false, {34, 85, 10, 75, 15}, {-2.4, 3.5, -12.2, 0.5, -8.2}, {-5.6, 3.5, -18.4, 0.5, -14.4}},
    {"10g-er", false, {68, 120, 20, 110, 30}, {1.6, 7, -7.7, 4, -4.7}, {-9.5, 2, -19.8, -1, -15.8}},
    {"1g-sx", true, {5.4, 15, 1, 12, 2}, {-5.2, 0, -11.5, -3, -9.5}, {-6.3, 2, -20, 0, -17}},
    {"1g-lx", false, {14.5, 60, 2, 50, 4}, {-5.9, 0, -12.5, -3, -9.5}, {-8.4, 0, -23, -3, -20}},
};

/** A value is the slope, in 1/256, times the word, plus the offset. */
struct Scale {
  uint16_t slope;
  int16_t offset;
};

/** The constants by which a host computes the values of an externally calibrated module. */
struct Constants {
  float receiver[5];  // from the fourth power down to the constant
  Scale bias;
  Scale tx_power;
  Scale temperature;
  Scale voltage;
};
constexpr Constants kIdentity = {{0, 0, 0, 1, 0}, {256, 0}, {256, 0}, {256, 0}, {256, 0}};
constexpr Constants kConverter = {{0, 1.5e-11F, 1.25e-6F, 0.2F, -5}, {192, -12}, {112, -14}, {240, 640}, {272, -40}};

const Profile *profile_of(const std::string &module) {
  const auto *found = std::ranges::find_if(kProfiles, [&](const Profile &profile) { return profile.module == module; });
  return found != std::end(kProfiles) ? found : nullptr;
}

const Limits &limits_of(const Profile &profile, Quantity quantity) {
  switch (quantity) {
    case kTemperature:
      return kTemperatures;
    case kVoltage:
      return kVoltages;
    case kBias:
      return profile.bias;
    case kTxPower:
      return profile.tx_power;
    default:
      return profile.rx_power;
  }
}

void put_word(MemoryPage &page, unsigned at, uint16_t word) { put_big_word16_at(page.data(), at, word); }

void put_constants(MemoryPage &page, const Constants &constants) {
  unsigned at = kReceiverConstants;
  for (float coefficient : constants.receiver) {
    auto bits = std::bit_cast<uint32_t>(coefficient);
    put_word(page, at, static_cast<uint16_t>(bits >> 16));
    put_word(page, at + 2, static_cast<uint16_t>(bits));
    at += 4;
  }
  at = kSlopesAndOffsets;
  for (const Scale &scale : {constants.bias, constants.tx_power, constants.temperature, constants.voltage}) {
    put_word(page, at, scale.slope);
    put_word(page, at + 2, static_cast<uint16_t>(scale.offset));
    at += 4;
  }
}

void put_quantity(MemoryPage &page, const Calibration &calibration, Quantity quantity, const Limits &limits) {
  auto put = [&](unsigned at, double number) {
    put_word(page, at, calibration.nearest_word(quantity, from_people(quantity, number)));
  };
  put(place_of(quantity), limits.usual);
  put(place_of(quantity, kHighAlarm), limits.high_alarm);
  put(place_of(quantity, kLowAlarm), limits.low_alarm);
  put(place_of(quantity, kHighWarning), limits.high_warning);
  put(place_of(quantity, kLowWarning), limits.low_warning);
}

// Rounds so that a value shows as it was set.
double shown(Quantity quantity, double value) {
  double steps = kQuantityTexts[quantity].steps;
  return std::round(for_people(quantity, value) * steps) / steps;
}

// The names of the flags that are set.
Json names_of_flags(const uint8_t (&bytes)[kFlagBytes]) {
  Json set = Json::array();
  for (unsigned i = 0; i < kQuantities; ++i) {
    auto quantity = static_cast<Quantity>(i);
    std::string key = kQuantityTexts[i].key;
    unsigned flags = bytes[flag_byte_of(quantity)];
    if ((flags & high_flag_of(quantity)) != 0) set.push_back(key + "_high");
    if ((flags & low_flag_of(quantity)) != 0) set.push_back(key + "_low");
  }
  return set;
}

/** Adds the quantities of a page to a row. */
void add_quantities(Json &row, const Calibration &calibration, const uint8_t *page) {
  for (unsigned i = 0; i < kQuantities; ++i) {
    auto quantity = static_cast<Quantity>(i);
    uint16_t word = big_word16_at(page, place_of(quantity));
    double number = shown(quantity, calibration.value(quantity, word));
    row[kQuantityTexts[i].key] = std::isfinite(number) ? Json(number) : Json();
  }
}

Json row_of(const Board &board, unsigned port) {
  const Cage &cage = board.cages[port];
  Calibration calibration(cage.page, cage.diagnostics.page);
  const std::vector<uint8_t> page = diagnostics_bytes(board, port);
  Json row = record("port", port, "calibration", calibration.external() ? "external" : "internal");
  add_quantities(row, calibration, page.data());
  row["soft_tx_disable"] = (page[kStatus] & kSelectTxDisable) != 0;
  row["alarms"] = names_of_flags({page[kAlarmFlags], page[kAlarmFlags + 1]});
  row["warnings"] = names_of_flags({page[kWarningFlags], page[kWarningFlags + 1]});
  row["standing_alarms"] = names_of_flags({unexplained_alarms(board, port, 0), unexplained_alarms(board, port, 1)});
  row["standing_warnings"] =
      names_of_flags({unexplained_warnings(board, port, 0), unexplained_warnings(board, port, 1)});
  return row;
}

std::string number_text(double number) { return format("%.6g", number); }

// A number, rounded as messages print it.
double as_told(double number) { return std::strtod(number_text(number).c_str(), nullptr); }

// A decimal number. Hexadecimal numbers and infinities are refused.
double number_of(const std::string &text) {
  char *end = nullptr;
  double number = std::strtod(text.c_str(), &end);
  bool plain = !text.empty() && text.find_first_not_of("+-.0123456789eE") == std::string::npos;
  if (!plain || *end != '\0' || !std::isfinite(number)) throw Usage("VALUE: '" + text + "' is not a number like -3.2");
  return number;
}

// The word for a number in people's units.
uint16_t word_for(const Calibration &calibration, Quantity quantity, double number, const std::string &text) {
  // The ends are compared in people's units, because -40 dBm stands for no power. A message prints them rounded, which
  // may be a little further out: such a number is accepted, too.
  double value = from_people(quantity, number);
  auto [least, greatest] = calibration.range(quantity);
  double lowest = for_people(quantity, least);
  double highest = for_people(quantity, greatest);
  bool in_range = number >= std::min(lowest, as_told(lowest)) && number <= std::max(highest, as_told(highest));
  if (!in_range)
    throw Usage("VALUE: '" + text + "' is not from " + number_text(lowest) + " to " + number_text(highest) +
                ", which the module's field holds");
  return calibration.nearest_word(quantity, value);
}

}  // namespace

void put_diagnostics_bits(MemoryPage &identification, const std::string &module) {
  const Profile *profile = profile_of(module);
  if (profile == nullptr) return;
  constexpr uint8_t kRevision11Dot3 = 6;
  identification[kOptions] = kHasTxDisable | kHasTxFault | kHasLos;
  uint8_t calibrated = profile->external ? kExternal : kInternal;
  identification[kMonitoring] = static_cast<uint8_t>(kHasDiagnostics | calibrated | kAverage);
  identification[kEnhancedOptions] = kHasFlags | kSoftTxDisable | kSoftTxFault | kSoftLos;
  identification[kRevision] = kRevision11Dot3;
}

std::optional<MemoryPage> diagnostics_page(const MemoryPage &identification, const std::string &module) {
  const Profile *profile = profile_of(module);
  if (profile == nullptr) return {};
  MemoryPage page = {};
  put_constants(page, profile->external ? kConverter : kIdentity);
  Calibration calibration(identification.data(), page.data());
  for (unsigned i = 0; i < kQuantities; ++i) {
    auto quantity = static_cast<Quantity>(i);
    put_quantity(page, calibration, quantity, limits_of(*profile, quantity));
  }
  unsigned sum = std::accumulate(page.begin(), page.begin() + kDiagnosticsChecksum, 0u);
  page[kDiagnosticsChecksum] = static_cast<uint8_t>(sum);
  return page;
}

uint16_t usual_word(const Cage &cage, const std::string &module, Quantity quantity) {
  const Profile *profile = profile_of(module);
  const uint8_t *page = cage.diagnostics.page;
  if (profile == nullptr) {
    int low = number_in_word(quantity, big_word16_at(page, place_of(quantity, kLowWarning)));
    int high = number_in_word(quantity, big_word16_at(page, place_of(quantity, kHighWarning)));
    return static_cast<uint16_t>((low + high) / 2);
  }
  double usual = limits_of(*profile, quantity).usual;
  return Calibration(cage.page, page).nearest_word(quantity, from_people(quantity, usual));
}

DiagnosticsMemory diagnostics_for_cage(const MemoryPage &identification, const std::optional<MemoryPage> &page) {
  DiagnosticsMemory diagnostics = {};
  if (!page || (identification[kMonitoring] & kHasDiagnostics) == 0) return diagnostics;
  diagnostics.present = 1;
  std::ranges::copy(*page, diagnostics.page);
  Calibration calibration(identification.data(), page->data());
  for (Quantity quantity : {kBias, kTxPower, kRxPower}) {
    put_big_word16_at(diagnostics.dark, sizeof(uint16_t) * quantity, calibration.nearest_word(quantity, 0));
  }
  return diagnostics;
}

namespace {

Json rows_of_modules(const Board &board, Json (*row)(const Board &board, unsigned port)) {
  Json rows = Json::array();
  for (unsigned port = 0; port < kPorts; ++port) {
    const Cage &cage = board.cages[port];
    if (has_cage(board, port) && cage.fitted && cage.diagnostics.present) rows.push_back(row(board, port));
  }
  return rows;
}

Json row_as_set(const Board &board, unsigned port) {
  const Cage &cage = board.cages[port];
  Json row = {{"port", port}};
  add_quantities(row, Calibration(cage.page, cage.diagnostics.page), cage.diagnostics.page);
  return row;
}

}  // namespace

Json diagnostics_rows(const Board &board) { return rows_of_modules(board, row_of); }

Json diagnostics_as_set(const Board &board) { return rows_of_modules(board, row_as_set); }

std::vector<uint8_t> diagnostics_bytes(const Board &board, unsigned port) {
  std::vector<uint8_t> bytes;
  for (unsigned at = 0; at < sizeof board.cages[port].diagnostics.page; ++at)
    bytes.push_back(diagnostics_byte(board, port, at));
  return bytes;
}

Words measured_commands(unsigned port, const Cage &before, const Cage &after, bool plugged_anew) {
  Words commands;
  if (!before.diagnostics.present) return commands;
  Calibration calibration(before.page, before.diagnostics.page);
  for (unsigned i = 0; i < kQuantities; ++i) {
    auto quantity = static_cast<Quantity>(i);
    uint16_t word = big_word16_at(before.diagnostics.page, place_of(quantity));
    if (!plugged_anew && word == big_word16_at(after.diagnostics.page, place_of(quantity))) continue;
    double number = shown(quantity, calibration.value(quantity, word));
    commands.push_back(format("set %s %u %.10g", kQuantityTexts[i].command, port, number));
  }
  return commands;
}

void set_measured(const CommandLine &line, Quantity quantity) {
  unsigned port = line.values[0];
  double number = number_of(line.words[1]);
  OpenBoard board = open_board(line.board);
  Cage &cage = board->cages[port];
  if (!has_cage(*board, port) || !cage.fitted) throw Failure("PORT: " + line.words[0] + " has no module");
  if (!cage.diagnostics.present) throw Failure("PORT: the module in port " + line.words[0] + " has no diagnostics");
  Calibration calibration(cage.page, cage.diagnostics.page);
  uint16_t word = word_for(calibration, quantity, number, line.words[1]);
  put_big_word16_at(cage.diagnostics.page, place_of(quantity), word);
}

}  // namespace zelsim::tool
