// The backup of the MAC address.
#include "flash/chip.h"
#include "zelboard/flash.h"

namespace {

uint32_t store_mac(const uint8_t *mac) {
  if (const uint32_t failed = FW_N25Q256A_SectorErase(flash_def[FW_FLASH_MAC_BACKUP]); failed != 0) return failed;
  return FW_N25Q256A_WriteFlash(flash_def[FW_FLASH_MAC_BACKUP], FW_MAC_BACKUP_SIZE, mac);
}

}  // namespace

uint32_t FW_SpiFlash_BackupMacSet(const uint8_t *mac) { return zel::dispatch(store_mac, mac); }

uint32_t FW_SpiFlash_BackupMacGet(uint8_t *mac) {
  const zel::Chip chip = zel::fitted_chip();
  if (chip.unknown) return FW_FAIL;
  // Other fronts fail here. This one returns 0 and leaves the buffer as it is.
  if (chip.index != 0) return 0;
  return FW_N25Q256A_ReadFlash(flash_def[FW_FLASH_MAC_BACKUP], FW_MAC_BACKUP_SIZE, mac);
}
