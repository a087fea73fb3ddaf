// A board in the fuzz program's own memory: the libc calls that the library makes end here.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace fake {

/// Ends the program, as a finding, when the condition does not hold.
inline void require(bool condition) {
  if (!condition) abort();
}

/// The fuzzer's bytes, taken from the front; zeros after their end.
class Input {
 public:
  Input(const uint8_t *data, size_t size) : at_(data), end_(data + size) {}
  uint8_t byte() {
    if (at_ == end_) return 0;
    const uint8_t first = *at_;
    ++at_;
    return first;
  }
  uint32_t word() {
    const uint32_t high = byte();
    return high * 256 + byte();
  }
  std::vector<uint8_t> bytes(size_t most) {
    const auto *const from = at_;
    at_ += std::min(most, static_cast<size_t>(end_ - at_));
    return {from, at_};
  }
  std::vector<uint8_t> rest() { return bytes(SIZE_MAX); }

 private:
  const uint8_t *at_;
  const uint8_t *end_;
};

inline constexpr char kFile[] = "fuzz-file";

/// What the drivers answer.
struct Board {
  std::vector<uint8_t> flash;       // the whole chip
  std::vector<uint8_t> file;        // what the path kFile leads to
  uint32_t short_read = 0;          // most bytes of a read of the file; 0 = no limit
  std::array<uint8_t, 256> page{};  // module, device 0xA0
  std::array<uint8_t, 64> phy{};    // module, device 0xAC
  uint8_t expander = 0;             // every register of every expander
  uint8_t board_type = 2;
  uint8_t flash_access = 0;
  uint32_t failing_call = 0;  // number of the call that fails, from 1; 0 = none
  int failure = -1;           // result of a request that fails
};

/// The board as it is before each input: erased flash, no file, no failure.
Board &reset();

/// Puts bytes into the flash in front of the driver.
void store(uint32_t address, const std::vector<uint8_t> &bytes);

/// What must hold after every call: nothing is open and, unless a call failed, the flash-access flag is down.
void check_released();

}  // namespace fake
