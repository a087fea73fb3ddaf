#include "module_memory.h"

#include <algorithm>

#include "records.h"

void select_module(uint32_t port) {
  uint8_t absent = 1;
  require_port(FW_GetPortSfpPresnt(port, &absent), port, "presence of a module");
  if (absent != 0) throw Failure{format("port %u: the cage is empty", port), FW_NOT_SET};
  require_port(FW_SfpSel(port), port, "selection of the cage");
}

LowerHalf read_lower_half(uint32_t port, uint8_t address, const char *what, uint8_t length) {
  LowerHalf page{};
  require_port(FW_I2C_BufRead(address, 0, 1, length, page.data()), port, what);
  return page;
}

/** One transfer reads one half. */
WholePage read_whole_page(uint32_t port, uint8_t address, const char *what) {
  WholePage page(kPageBytes);
  for (size_t at = 0; at < kPageBytes; at += kPageLength) {
    const auto offset = static_cast<uint32_t>(at);
    require_port(FW_I2C_BufRead(address, offset, 1, kPageLength, page.data() + at), port, what);
  }
  return page;
}

LowerHalf lower_half_of(const WholePage &page) {
  LowerHalf half{};
  std::copy_n(page.begin(), half.size(), half.begin());
  return half;
}

bool can_read_diagnostics(ModulePage identification) {
  return announces_diagnostics(identification) && !needs_address_change(identification);
}

void require_diagnostics(uint32_t port, ModulePage identification) {
  if (!announces_diagnostics(identification))
    throw Failure{format("port %u: the module has no digital diagnostics (page A2h)", port), FW_NOT_SET};
  if (needs_address_change(identification))
    throw Failure{format("port %u: the module's diagnostics need an address change, which is not supported", port),
                  FW_NOT_SET};
}
