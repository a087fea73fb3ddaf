#pragma once

#include <span>

#include "comparison.h"

// What a comparison finds.

namespace zelsim::tool {

/** The fields in which two answers to one call differ. */
class Findings {
 public:
  /** @param tolerated  counts the values that agree only within their tolerance */
  explicit Findings(Tolerated &tolerated) : tolerated_(tolerated) {}

  /** Adds a field, unless the texts are equal. */
  void add(const std::string &field, const std::string &recorded, const std::string &model);
  /** The same for two times, in seconds since 1970. */
  void add_clock(const std::string &field, int64_t recorded, int64_t model);
  /** The same for two temperatures. */
  void add_degrees(const std::string &field, double recorded, double model);
  /** Counts a value that agrees only within its tolerance. */
  void tolerate(VolatileValue value) { ++tolerated_[value]; }

  const Differences &differences() const { return found_; }

 private:
  Tolerated &tolerated_;
  Differences found_;
};

}  // namespace zelsim::tool
