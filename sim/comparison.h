#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "model_answer.h"

// How an answer of the virtual switch differs from a recorded one.

namespace zelsim::tool {

/** Values that change by themselves. They are compared within a tolerance. */
enum VolatileValue : unsigned { kClockValue, kTemperatureValue, kPhyCounterValue, kVolatileValues };

struct VolatileText {
  const char *field;
  const char *tolerance;
  double limit = 0;  // the same as a number
};
constexpr VolatileText kVolatileTexts[kVolatileValues] = {
    {"clock", "60 s", 60},                      // kClockValue: a chip gains or loses some in a month
    {"temperature", "2 C", 2},                  // kTemperatureValue
    {"error counters of PHYs", "not compared"}  // kPhyCounterValue
};

/** Counts the values that agreed only within their tolerance. */
using Tolerated = std::array<unsigned, kVolatileValues>;

/** A field in which two answers differ. */
struct Difference {
  std::string field;
  std::string recorded;
  std::string model;
};
using Differences = std::vector<Difference>;

/** Compares two answers to a call. If the results differ, nothing else is compared.
 *  @param port  the selected module's; nothing without a selection */
Differences compare(const RecordedCall &recorded, const Answer &model, std::optional<unsigned> port,
                    Tolerated &tolerated);

}  // namespace zelsim::tool
