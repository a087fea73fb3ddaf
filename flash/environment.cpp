// Chip-independent fronts of the boot environment region.
#include "flash/chip.h"
#include "zelboard/flash.h"

uint32_t FW_SpiFlashEnvRead(uint8_t *buffer) { return zel::dispatch(FW_N25Q256AEnvRead, buffer); }

uint32_t FW_SpiFlashEnvWrite(const uint8_t *buffer) { return zel::dispatch(FW_N25Q256AEnvWrite, buffer); }
