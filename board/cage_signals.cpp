// The control signals of the SFP cages, read and set through the I/O expanders.
#include "board/cage_check.h"
#include "board/expander.h"
#include "board/request.h"
#include "i2c/register.h"
#include "zelboard/ports.h"

namespace zel {
namespace {

constexpr int kTransferAttempts = 5;  // of each read and write when a transmitter is switched

uint32_t read_signal(const sfp_signal &signal, uint8_t *level) {
  uint8_t byte = 0;
  const uint32_t result = read_register(signal.address, signal.reg, 1, &byte);
  if (result == 0) *level = (byte & signal.mask) == signal.mask;
  return result;
}

uint32_t get_signal(const sfp_signal *table, uint32_t port, uint8_t *level) {
  if (const uint32_t refusal = check_cage(port); refusal != 0) return refusal;
  return read_signal(table[port], level);
}

uint32_t read_soc_signal(const sfp_soc_signal &signal, uint8_t *level) {
  SocRegister record{signal.address, 0};
  const Answer answer = request(kGetSocRegister, &record);
  const bool high = (record.value & signal.mask) != 0;
  return answer.hand_out(level, static_cast<uint8_t>(high));
}

/// Repeats a transfer until it succeeds; the result of the last one.
template <typename Transfer>
uint32_t persistently(Transfer transfer) {
  uint32_t result = FW_FAIL;
  for (int attempt = 0; attempt < kTransferAttempts; ++attempt) {
    result = transfer();
    if (result == 0) break;
  }
  return result;
}

uint32_t read_persistently(const sfp_signal &signal, uint8_t *byte) {
  return persistently([&] { return read_register(signal.address, signal.reg, 1, byte); });
}

uint32_t write_persistently(const sfp_signal &signal, uint8_t byte) {
  return persistently([&] { return write_register(signal.address, signal.reg, 1, &byte); });
}

}  // namespace
}  // namespace zel

uint32_t FW_GetPortSfpPresnt(uint32_t port, uint8_t *present) { return zel::get_signal(sfp_presnt, port, present); }

uint32_t FW_GetPortSfpTxDisable(uint32_t port, uint8_t *disable) {
  return zel::get_signal(sfp_txenable, port, disable);
}

uint32_t FW_GetPortSfpTxFault(uint32_t port, uint8_t *fault) { return zel::get_signal(sfp_txfault, port, fault); }

uint32_t FW_GetPortSfpLos(uint32_t port, uint8_t *los) {
  if (const uint32_t refusal = zel::check_cage(port); refusal != 0) return refusal;
  if (port >= FW_PORT_FIRST_10G) return zel::read_soc_signal(sfp_los_gpio[port], los);
  return zel::read_signal(sfp_los[port], los);
}

uint32_t FW_SetPortSfpTxDisable(uint32_t port, uint32_t disable) {
  if (const uint32_t refusal = zel::check_cage(port); refusal != 0) return refusal;
  if (disable > 1) return FW_FAIL;

  const sfp_signal &signal = sfp_txenable[port];
  uint8_t byte = 0;
  if (const uint32_t failed = zel::read_persistently(signal, &byte); failed != 0) return failed;
  if (disable != 0) {
    byte = static_cast<uint8_t>(byte | signal.mask);
  } else {
    byte = static_cast<uint8_t>(byte & ~signal.mask);
  }

  for (int write = 0; write < zel::kWriteAttempts; ++write) {
    if (const uint32_t failed = zel::write_persistently(signal, byte); failed != 0) return failed;
    uint8_t state = 0;  // a read-back that fails leaves 0, which matches when the transmitter is switched on
    const uint32_t result = FW_GetPortSfpTxDisable(port, &state);
    if (state == disable) return result;
  }
  return FW_FAIL;
}
