// Working configuration of the I/O expanders. Output latches come before directions: when the lines become outputs they
// already drive the transmit-disable bits high.
#include <span>

#include "board/verified_write.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"

namespace zel {
namespace {

constexpr int kStepAttempts = 1;

struct Step {
  uint8_t address, reg, value;
};

// Slot 1; the expanders of the next slots follow 4 (16-bit) and 2 (loss of signal) further on.
constexpr Step kDaughterSteps[] = {{0x40, 2, 0x44}, {0x40, 3, 0x44}, {0x42, 2, 0x44}, {0x42, 3, 0x44}, {0x40, 6, 0x33},
                                   {0x40, 7, 0x33}, {0x42, 6, 0x33}, {0x42, 7, 0x33}, {0x70, 3, 0xFF}};

constexpr Step kMainSteps[] = {{0x76, 1, 0x22}, {0x78, 1, 0x22}, {0x76, 3, 0x11}, {0x78, 3, 0x11},
                               {0x7A, 3, 0xFF}, {0x4C, 3, 0x80}, {0x4C, 7, 0x7F}};

uint32_t make_step(const Step &step) {
  const auto write = [&] { return FW_I2C_BufWrite(step.address, step.reg, 1, 1, &step.value); };
  const auto verify = [&]() -> std::optional<uint32_t> {
    uint8_t check = 0;
    const uint32_t result = FW_I2C_BufRead(step.address, step.reg, 1, 1, &check);
    if (result != 0 || check == step.value) return result;
    return std::nullopt;
  };
  return write_verified(kStepAttempts, write, verify);
}

Step for_slot(Step step, uint32_t slot) {
  const uint32_t stride = step.address == 0x70 ? 2 : 4;
  step.address = static_cast<uint8_t>(step.address + stride * (slot - FW_SLOT_FIRST));
  return step;
}

uint32_t make_steps(std::span<const Step> steps, uint32_t slot) {
  for (const Step &step : steps) {
    if (const uint32_t failed = make_step(for_slot(step, slot)); failed != 0) return failed;
  }
  return 0;
}

}  // namespace
}  // namespace zel

uint32_t FW_InitDauExpender(uint32_t slot) {
  return slot >= FW_SLOT_FIRST && slot <= FW_SLOT_LAST ? zel::make_steps(zel::kDaughterSteps, slot) : FW_FAIL;
}

uint32_t FW_InitOnBoardExpender(void) { return zel::make_steps(zel::kMainSteps, FW_SLOT_FIRST); }
