// The control signals of the SFP cages, read and set through the I/O expanders.
#include "board/port_check.h"
#include "board/request.h"
#include "board/verified_write.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"

namespace zel {
namespace {

constexpr int kSignalAttempts = 5;

uint32_t read_expander(const sfp_signal &signal, uint8_t *byte) {
  return FW_I2C_BufRead(signal.address, signal.reg, 1, 1, byte);
}

uint32_t read_expander_signal(const sfp_signal &signal, uint8_t *level) {
  uint8_t byte = 0;
  const uint32_t result = read_expander(signal, &byte);
  if (result == 0) *level = (byte & signal.mask) == signal.mask;
  return result;
}

uint32_t get_signal(const sfp_signal *table, uint32_t port, uint8_t *level) {
  if (const uint32_t refusal = refuse_port(port, port); refusal != 0) return refusal;
  return read_expander_signal(table[port], level);
}

uint32_t read_soc_signal(uint32_t port, uint8_t *level) {
  const sfp_soc_signal &signal = sfp_los_gpio[port];
  SocRegister record{signal.address, 0};
  return request(kGetSocRegister, record, [&] { *level = (record.value & signal.mask) != 0; });
}

}  // namespace
}  // namespace zel

uint32_t FW_GetPortSfpPresnt(uint32_t port, uint8_t *present) { return zel::get_signal(sfp_presnt, port, present); }

uint32_t FW_GetPortSfpTxDisable(uint32_t port, uint8_t *disable) {
  return zel::get_signal(sfp_txenable, port, disable);
}

uint32_t FW_GetPortSfpTxFault(uint32_t port, uint8_t *fault) { return zel::get_signal(sfp_txfault, port, fault); }

uint32_t FW_GetPortSfpLos(uint32_t port, uint8_t *los) {
  if (const uint32_t refusal = zel::refuse_port(port, port); refusal != 0) return refusal;
  return port < FW_PORT_FIRST_10G ? zel::read_expander_signal(sfp_los[port], los) : zel::read_soc_signal(port, los);
}

uint32_t FW_SetPortSfpTxDisable(uint32_t port, uint32_t disable) {
  if (const uint32_t refusal = zel::refuse_port(port, port); refusal != 0) return refusal;
  if (disable > 1) return FW_FAIL;

  const sfp_signal &signal = sfp_txenable[port];
  uint8_t byte = 0;
  const auto read = [&] { return zel::read_expander(signal, &byte); };
  if (const uint32_t failed = zel::retry(zel::kSignalAttempts, read); failed != 0) return failed;

  byte = static_cast<uint8_t>(disable != 0 ? byte | signal.mask : byte & ~signal.mask);
  const auto write = [&] { return FW_I2C_BufWrite(signal.address, signal.reg, 1, 1, &byte); };
  const auto verify = [&]() -> std::optional<uint32_t> {
    uint8_t state = 0;  // a read-back that fails leaves 0, which matches when the transmitter is switched on
    const uint32_t result = FW_GetPortSfpTxDisable(port, &state);
    if (state == disable) return result;
    return std::nullopt;
  };
  return zel::write_verified(zel::kSignalAttempts, write, verify);
}
