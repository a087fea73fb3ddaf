#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <utility>

#include "diagnostics.h"

// What the words of page A2h stand for.

namespace zelsim::tool {

/** What a module makes of its converter's words: they are the values themselves, or the host has to reckon with the
 *  constants of the page. Values are in the field's units: 1/256 degree, 100 uV, 2 uA, 0.1 uW. */
class Calibration {
 public:
  /** From the two pages of a module. */
  Calibration(const uint8_t *identification, const uint8_t *diagnostics);

  bool external() const { return external_; }
  double value(Quantity quantity, uint16_t word) const;
  /** The word that comes nearest to a value. */
  uint16_t word(Quantity quantity, double value) const;
  /** The least and the greatest value that a word can stand for. */
  std::pair<double, double> range(Quantity quantity) const;

 private:
  bool external_;
  std::array<double, kRxPower> slopes_ = {}, offsets_ = {};
  std::array<double, 5> receiver_ = {};  // coefficients, of the fourth power first
};

uint16_t word_at(const uint8_t *page, unsigned at);

/** Between the field's units and those that people use: degrees, volts, milliamperes, dBm. No power is -40 dBm, the least
 *  that the field holds. */
double for_people(Quantity quantity, double value);
double from_people(Quantity quantity, double number);

}  // namespace zelsim::tool
