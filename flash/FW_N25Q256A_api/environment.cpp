#include "flash/environment.h"

#include "flash/guard.h"
#include "flash/map.h"

namespace {

/// Never more than the callers' buffers hold, even if the map says more.
uint32_t environment_length() {
  const uint32_t length = flash_def[FW_FLASH_ENVIRONMENT_LENGTH];
  return length < zel::kEnvironmentSize ? length : zel::kEnvironmentSize;
}

}  // namespace

uint32_t FW_N25Q256AEnvRead(uint8_t *buffer) {
  memset(buffer, 0, zel::kEnvironmentSize);
  return FW_N25Q256A_ReadFlash(flash_def[FW_FLASH_ENVIRONMENT], environment_length(), buffer);
}

uint32_t FW_N25Q256AEnvWrite(const uint8_t *buffer) {
  if (zel::flash_writes_refused()) return FW_FAIL;
  if (FW_N25Q256A_SectorErase(flash_def[FW_FLASH_ENVIRONMENT]) == FW_FAIL) return FW_FAIL;
  return FW_N25Q256A_WriteFlash(flash_def[FW_FLASH_ENVIRONMENT], environment_length(), buffer);
}
