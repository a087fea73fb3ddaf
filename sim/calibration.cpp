#include "calibration.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace zelsim::tool {
namespace {

constexpr unsigned kReceiver = 56,
                   kSlopes = 76;  // five floats; then slope and offset of bias, power, temperature, supply
constexpr unsigned kWords = 0x10000;

constexpr double kUnits[] = {256, 10000, 500};  // of the field, in a degree, a volt, a milliampere
constexpr double kUnitsPerMilliwatt = 10000, kFloorDbm = -40;

uint32_t long_at(const uint8_t *page, unsigned at) { return uint32_t{word_at(page, at)} << 16 | word_at(page, at + 2); }

double signed_word(uint16_t word) { return static_cast<int16_t>(word); }

}  // namespace

uint16_t word_at(const uint8_t *page, unsigned at) { return static_cast<uint16_t>(page[at] << 8 | page[at + 1]); }

Calibration::Calibration(const uint8_t *identification, const uint8_t *diagnostics)
    : external_((identification[kMonitoring] & kExternal) != 0) {
  constexpr Quantity kOrder[] = {kBias, kTxPower, kTemperature, kVoltage};
  unsigned at = kSlopes;
  for (Quantity quantity : kOrder) {
    slopes_[quantity] = word_at(diagnostics, at) / 256.0;
    offsets_[quantity] = signed_word(word_at(diagnostics, at + 2));
    at += 4;
  }
  for (unsigned i = 0; i < receiver_.size(); ++i)
    receiver_[i] = std::bit_cast<float>(long_at(diagnostics, kReceiver + 4 * i));
}

double Calibration::value(Quantity quantity, uint16_t word) const {
  double converted = quantity == kTemperature ? signed_word(word) : word;
  if (!external_) return converted;
  if (quantity != kRxPower) return slopes_[quantity] * converted + offsets_[quantity];
  double sum = 0;
  for (double coefficient : receiver_) sum = sum * converted + coefficient;
  return sum;
}

uint16_t Calibration::word(Quantity quantity, double wanted) const {
  uint16_t best = 0;
  for (unsigned word = 0; word < kWords; ++word) {
    auto candidate = static_cast<uint16_t>(word);
    if (std::abs(value(quantity, candidate) - wanted) < std::abs(value(quantity, best) - wanted)) best = candidate;
  }
  return best;
}

std::pair<double, double> Calibration::range(Quantity quantity) const {
  std::pair<double, double> found = {value(quantity, 0), value(quantity, 0)};
  for (unsigned word = 1; word < kWords; ++word) {
    double reached = value(quantity, static_cast<uint16_t>(word));
    found = {std::min(found.first, reached), std::max(found.second, reached)};
  }
  return found;
}

double for_people(Quantity quantity, double value) {
  if (quantity < kTxPower) return value / kUnits[quantity];
  return value > 1 ? 10 * std::log10(value / kUnitsPerMilliwatt) : kFloorDbm;
}

double from_people(Quantity quantity, double number) {
  if (quantity < kTxPower) return number * kUnits[quantity];
  return std::pow(10, number / 10) * kUnitsPerMilliwatt;
}

}  // namespace zelsim::tool
