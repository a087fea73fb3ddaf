#include "calibration.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "../cli/diagnostics_page.h"
#include "byte_order.h"

namespace zelsim::tool {
namespace {

constexpr unsigned kWords = 0x10000;

constexpr double kUnitsPerMilliwatt = 10000;

bool is_power(Quantity quantity) { return quantity == kTxPower || quantity == kRxPower; }

// Units of the page in a degree, a volt, a milliampere.
double units_per_whole(Quantity quantity) {
  switch (quantity) {
    case kTemperature:
      return 256;
    case kVoltage:
      return 10000;
    default:
      return 500;
  }
}

// The word at a place among all words, ordered by their numbers. A word of the temperature has a sign.
uint16_t word_at_place(Quantity quantity, unsigned place) {
  constexpr unsigned kLowestSigned = 0x8000;
  return static_cast<uint16_t>(quantity == kTemperature ? place + kLowestSigned : place);
}

}  // namespace

int number_in_word(Quantity quantity, uint16_t word) {
  if (quantity == kTemperature) return static_cast<int16_t>(word);
  return word;
}

Calibration::Calibration(const uint8_t *identification, const uint8_t *diagnostics)
    : external_((identification[kMonitoring] & kExternal) != 0) {
  constexpr Quantity kOrder[] = {kBias, kTxPower, kTemperature, kVoltage};
  unsigned at = kSlopesAndOffsets;
  for (Quantity quantity : kOrder) {
    slopes_[quantity] = big_word16_at(diagnostics, at) / 256.0;
    offsets_[quantity] = static_cast<int16_t>(big_word16_at(diagnostics, at + 2));
    at += 4;
  }
  for (unsigned i = 0; i < receiver_.size(); ++i)
    receiver_[i] = std::bit_cast<float>(big_word32_at(diagnostics, kReceiverConstants + 4 * i));
}

double Calibration::value(Quantity quantity, uint16_t word) const {
  double converted = number_in_word(quantity, word);
  if (!external_) return converted;
  if (quantity != kRxPower) return slopes_[quantity] * converted + offsets_[quantity];
  double sum = 0;
  for (double coefficient : receiver_) sum = sum * converted + coefficient;
  return sum;
}

// Words of the received power are not negative: coefficients that are not negative make it rise.
bool Calibration::rises(Quantity quantity) const {
  constexpr size_t kLinear = 3;  // place of the linear coefficient; the constant is the last one
  if (!external_) return true;
  if (quantity != kRxPower) return slopes_[quantity] > 0;
  bool finite = std::ranges::all_of(receiver_, [](double coefficient) { return std::isfinite(coefficient); });
  bool none_falls = std::ranges::all_of(receiver_.begin(), receiver_.begin() + kLinear,
                                        [](double coefficient) { return coefficient >= 0; });
  return finite && none_falls && receiver_[kLinear] > 0;
}

uint16_t Calibration::nearest_word(Quantity quantity, double wanted) const {
  if (rises(quantity)) return nearest_rising_word(quantity, wanted);
  uint16_t nearest = 0;
  double least_error = std::abs(value(quantity, nearest) - wanted);
  for (unsigned number = 1; number < kWords; ++number) {
    auto word = static_cast<uint16_t>(number);
    double error = std::abs(value(quantity, word) - wanted);
    bool is_nearer = error < least_error;
    if (!is_nearer) continue;
    nearest = word;
    least_error = error;
  }
  return nearest;
}

uint16_t Calibration::nearest_rising_word(Quantity quantity, double wanted) const {
  unsigned first = 0;  // place of the first word that reaches the value, among the words in their order
  unsigned end = kWords - 1;
  while (first < end) {
    unsigned middle = (first + end) / 2;
    if (value(quantity, word_at_place(quantity, middle)) < wanted) {
      first = middle + 1;
    } else {
      end = middle;
    }
  }
  uint16_t reaches = word_at_place(quantity, first);
  if (first == 0) return reaches;
  uint16_t below = word_at_place(quantity, first - 1);
  bool is_nearer = wanted - value(quantity, below) <= std::abs(value(quantity, reaches) - wanted);
  return is_nearer ? below : reaches;
}

std::pair<double, double> Calibration::range(Quantity quantity) const {
  double first = value(quantity, word_at_place(quantity, 0));
  double last = value(quantity, word_at_place(quantity, kWords - 1));
  if (rises(quantity)) return {first, last};
  double least = first;
  double greatest = first;
  for (unsigned number = 1; number < kWords; ++number) {
    double reached = value(quantity, word_at_place(quantity, number));
    least = std::min(least, reached);
    greatest = std::max(greatest, reached);
  }
  return {least, greatest};
}

double for_people(Quantity quantity, double value) {
  if (!is_power(quantity)) return value / units_per_whole(quantity);
  return dbm(value / kUnitsPerMilliwatt);
}

double from_people(Quantity quantity, double number) {
  if (!is_power(quantity)) return number * units_per_whole(quantity);
  return std::pow(10, number / 10) * kUnitsPerMilliwatt;
}

}  // namespace zelsim::tool
