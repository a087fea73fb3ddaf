// Chip-independent fronts of what the flash holds.
#include "zelboard/content.h"

#include "flash/chip.h"

using zel::dispatch;

uint32_t FW_PartitionInfo(uint32_t *length, uint32_t *checksum, uint32_t mode) {
  return dispatch(FW_N25Q256A_PartitionInfo, length, checksum, mode);
}

uint32_t FW_ReadGenDatabase(uint8_t **data, uint32_t *length, uint32_t partition) {
  return dispatch(FW_N25Q256A_ReadGenDatabase, data, length, partition);
}

uint32_t FW_WriteGenDatabase(const uint8_t *data, uint32_t length, uint32_t partition) {
  return dispatch(FW_N25Q256A_WriteGenDatabase, data, length, partition);
}

uint32_t FW_ReadCustomizeDatabase(uint8_t **data, uint32_t partition) {
  return dispatch(FW_N25Q256A_ReadCustomizeDatabase, data, partition);
}

uint32_t FW_WriteCustomizeDatabase(const char *path, uint32_t partition) {
  return dispatch(FW_N25Q256A_WriteCustomizeDatabase, path, partition);
}

uint32_t FW_ReadSharedDatabase(uint8_t **data, uint32_t *length) {
  return dispatch(FW_N25Q256A_ReadSharedDatabase, data, length);
}

uint32_t FW_ReadSharedDatabase1(uint8_t **data, uint32_t *length) {
  return dispatch(FW_N25Q256A_ReadSharedDatabase1, data, length);
}

uint32_t FW_WriteSharedDatabase(const uint8_t *data, uint32_t length) {
  return dispatch(FW_N25Q256A_WriteSharedDatabase, data, length);
}

uint32_t FW_SpiFlash_GetCustomName(char *name) { return dispatch(FW_N25Q256A_GetCustomName, name); }
uint32_t FW_SpiFlash_ShowCustomName(void) { return dispatch(FW_N25Q256A_ShowCustomName); }
uint32_t FW_SpiFlash_GetCustomDesc(char *text) { return dispatch(FW_N25Q256A_GetCustomDesc, text); }
uint32_t FW_SpiFlash_GetCustomPwrMode(uint8_t *mode) { return dispatch(FW_N25Q256A_GetCustomPwrMode, mode); }
uint32_t FW_SpiFlash_SetCustomName(const char *name) { return dispatch(FW_N25Q256A_SetCustomName, name); }

uint32_t FW_SpiFlash_WriteCustomName(const char *name, uint32_t index) {
  return dispatch(FW_N25Q256A_WriteCustomName, name, index);
}

uint32_t FW_SpiFlash_SetCustomDesc(const char *text) { return dispatch(FW_N25Q256A_SetCustomDesc, text); }
uint32_t FW_SpiFlash_SetCustomPwrMode(const uint8_t *mode) { return dispatch(FW_N25Q256A_SetCustomPwrMode, mode); }

uint32_t FW_DumpFlash(const char *path, uint32_t part, uint32_t total) {
  if (!zel::n25q256a_fitted()) return FW_FAIL;
  FW_SetDebug_SpiFlash(1);
  const uint32_t result = FW_N25Q256A_DumpFlash(path, part, total);
  FW_SetDebug_SpiFlash(0);
  return result;
}

uint32_t FW_SpiFlash_CheckSector(void) { return dispatch(FW_N25Q256A_CheckSector); }
uint32_t FW_ReadSector(uint32_t sector) { return dispatch(FW_N25Q256A_ReadSector, sector); }
