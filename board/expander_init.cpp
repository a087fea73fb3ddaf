// Working configuration of the I/O expanders. Output latches come before directions: when the lines become outputs they
// already drive the transmit-disable bits high.
#include "board/expander.h"
#include "i2c/register.h"
#include "zelboard/ports.h"

namespace zel {
namespace {

// Registers of a 16-bit expander: 2 and 3 outputs, 6 and 7 directions. Of an 8-bit one: 1 outputs, 3 directions. A
// direction bit of 1 makes the line an input. Of these expanders, 0x40, 0x42 and 0x4C have 16 bits.
struct Step {
  uint8_t address;
  uint8_t reg;
  uint8_t value;
};

// Slot 1.
constexpr Step kDaughterSteps[] = {{0x40, 2, 0x44}, {0x40, 3, 0x44}, {0x42, 2, 0x44}, {0x42, 3, 0x44}, {0x40, 6, 0x33},
                                   {0x40, 7, 0x33}, {0x42, 6, 0x33}, {0x42, 7, 0x33}, {0x70, 3, 0xFF}};

constexpr uint8_t kLossOfSignalExpander = 0x70;  // of slot 1

// Address distance from one slot to the next.
constexpr uint32_t kLossOfSignalStride = 2;
constexpr uint32_t kCageStride = 4;

constexpr Step kMainSteps[] = {{0x76, 1, 0x22}, {0x78, 1, 0x22}, {0x76, 3, 0x11}, {0x78, 3, 0x11},
                               {0x7A, 3, 0xFF}, {0x4C, 3, 0x80}, {0x4C, 7, 0x7F}};

uint32_t write_and_verify(const Step &step) {
  for (int write = 0; write < kWriteAttempts; ++write) {
    if (const uint32_t failed = write_register(step.address, step.reg, 1, &step.value); failed != 0) return failed;
    uint8_t check = 0;
    if (const uint32_t failed = read_register(step.address, step.reg, 1, &check); failed != 0) return failed;
    if (check == step.value) return 0;
  }
  return FW_FAIL;
}

Step for_slot(Step step, uint32_t slot) {
  const uint32_t stride = step.address == kLossOfSignalExpander ? kLossOfSignalStride : kCageStride;
  step.address = static_cast<uint8_t>(step.address + stride * (slot - FW_SLOT_FIRST));
  return step;
}

}  // namespace
}  // namespace zel

uint32_t FW_InitDauExpender(uint32_t slot) {
  if (slot < FW_SLOT_FIRST || slot > FW_SLOT_LAST) return FW_FAIL;
  for (const zel::Step &step : zel::kDaughterSteps) {
    if (const uint32_t failed = zel::write_and_verify(zel::for_slot(step, slot)); failed != 0) return failed;
  }
  return 0;
}

uint32_t FW_InitOnBoardExpender(void) {
  for (const zel::Step &step : zel::kMainSteps) {
    if (const uint32_t failed = zel::write_and_verify(step); failed != 0) return failed;
  }
  return 0;
}
