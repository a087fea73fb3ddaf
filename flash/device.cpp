// The flash driver's controls, and the chip-independent fronts of raw access.
#include "board/request.h"
#include "flash/chip.h"

uint8_t spiflash_debug_mode = 0;

zel::Chip zel::fitted_chip() {
  uint8_t index = 0xFF;
  const bool unknown = FW_FlashGetIndex(&index) == FW_FAIL;
  return {unknown, index};
}

bool zel::n25q256a_fitted() {
  const Chip chip = fitted_chip();
  return !chip.unknown && chip.index == 0;
}

uint32_t FW_SetDebug_SpiFlash(uint8_t mode) { return zel::send_byte(zel::set_debug_mode(zel::Node::SpiFlash), mode); }

uint32_t FW_GetDebug_SpiFlash(void) {
  return zel::read_debug_mode(zel::Node::SpiFlash, &spiflash_debug_mode, "spi flash debug_mode is on",
                              "spi flash debug_mode is off");
}

uint32_t FW_FlashGetIndex(uint8_t *index) { return zel::request(zel::kGetChipIndex, index).result; }
uint32_t FW_GetFlashId(void *id) { return zel::request(zel::kGetFlashId, id).result; }

uint32_t FW_FlashStatusReg(void) {
  // The request's result is not looked at, not even that the node did not open: the pause's result is the answer.
  zel::request(zel::kGetStatusRegister, nullptr);
  return static_cast<uint32_t>(usleep(2));
}

uint32_t FW_ReadFlash(uint32_t address, uint32_t length, uint8_t *buffer) {
  return zel::dispatch(FW_N25Q256A_ReadFlash, address, length, buffer);
}

uint32_t FW_WriteFlash(uint32_t address, uint32_t length, const uint8_t *buffer) {
  if (!zel::n25q256a_fitted()) return FW_FAIL;
  const uint32_t result = FW_N25Q256A_WriteFlash(address, length, buffer);
  usleep(2);
  return result;
}

uint32_t FW_SpiFlash_SectorErase(uint32_t address) { return zel::dispatch(FW_N25Q256A_SectorErase, address); }
uint32_t FW_SpiFlash_ChipErase(void) { return zel::dispatch(FW_N25Q256A_ChipErase); }
