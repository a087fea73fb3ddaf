#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <utility>

#include "diagnostics.h"

// The words of page A2h and their values.

namespace zelsim::tool {

/** Converts between the words of page A2h and values. With internal calibration the words are the values. With external
 *  calibration the page has constants, by which the host computes the values. The units are the page's: 1/256 degree,
 *  100 uV, 2 uA, 0.1 uW. */
class Calibration {
 public:
  /** From the two pages of a module. */
  Calibration(const uint8_t *identification, const uint8_t *diagnostics);

  bool external() const { return external_; }
  double value(Quantity quantity, uint16_t word) const;
  /** The word that comes nearest to a value. */
  uint16_t nearest_word(Quantity quantity, double wanted) const;
  /** The least and the greatest value that a word can have. */
  std::pair<double, double> range(Quantity quantity) const;

 private:
  /** True if a greater word always means a greater value. */
  bool rises(Quantity quantity) const;
  uint16_t nearest_rising_word(Quantity quantity, double wanted) const;

  bool external_;
  // Values are slope times word plus offset; for the received power a polynomial of the fourth degree.
  std::array<double, kRxPower> slopes_ = {};
  std::array<double, kRxPower> offsets_ = {};
  std::array<double, 5> receiver_ = {};  // coefficients, from the fourth power down to the constant
};

/** The number in a word. A word of the temperature has a sign. */
int number_in_word(Quantity quantity, uint16_t word);

/** Converts the page's units to people's: degrees, volts, milliamperes, dBm. No power is -40 dBm, the least power that
 *  the page can hold; NaN stays NaN. */
double for_people(Quantity quantity, double value);
/** Converts back. */
double from_people(Quantity quantity, double number);

}  // namespace zelsim::tool
