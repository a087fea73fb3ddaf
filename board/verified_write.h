// Verify-and-retry of expander registers: an operation is repeated a fixed number of times, and a write counts only once it
// reads back.
#pragma once

#include <stdint.h>

#include <optional>

#include "zelboard/status.h"

namespace zel {

inline constexpr int kWrites = 100;

/// Runs an operation until it succeeds, at most `attempts` times; the last result.
template <typename Operation>
uint32_t retry(int attempts, Operation operation) {
  uint32_t result = FW_FAIL;
  while (attempts-- > 0 && (result = operation()) != 0) {
  }
  return result;
}

/// Writes up to 100 times, each with its own allowance of attempts, until `verify` gives a verdict; no verdict from it
/// means that the register does not hold the value yet.
template <typename Write, typename Verify>
uint32_t write_verified(int attempts, Write write, Verify verify) {
  for (int n = 0; n < kWrites; ++n) {
    if (const uint32_t failed = retry(attempts, write); failed != 0) return failed;
    if (const std::optional<uint32_t> verdict = verify()) return *verdict;
  }
  return FW_FAIL;
}

}  // namespace zel
