// The flash driver's controls, and the chip-independent fronts of raw access.
#include "board/request.h"
#include "flash/chip.h"
#include "zelboard/flash.h"

namespace {

constexpr uint8_t kReadId = 0xD2;
constexpr uint8_t kStatusRegister = 0xD9;
constexpr uint8_t kChipIndex = 0xDA;
constexpr uint8_t kExtendedLow = 0xDD;

uint32_t fill_callers_record(uint8_t number, void *record) {
  return zel::prepared_request(
      {zel::kSpiFlash, number}, record, [](const zel::Descriptor &) { return true; }, zel::kNothing);
}

}  // namespace

uint8_t spiflash_debug_mode = 0;

uint32_t FW_SetDebug_SpiFlash(uint8_t mode) { return zel::send_byte({zel::kSpiFlash, zel::kSetDebugMode}, mode); }

uint32_t FW_GetDebug_SpiFlash(void) {
  return zel::read_debug_mode(zel::kSpiFlash, spiflash_debug_mode, "spi flash debug_mode is on",
                              "spi flash debug_mode is off");
}

uint32_t FW_FlashGetIndex(uint8_t *index) { return fill_callers_record(kChipIndex, index); }

uint32_t FW_GetFlashId(void *id) { return fill_callers_record(kReadId, id); }

uint32_t FW_FlashStatusReg(void) {
  // Nobody reads the status: a node that cannot be opened goes unreported, and the pause's result is the answer.
  fill_callers_record(kStatusRegister, nullptr);
  return static_cast<uint32_t>(usleep(2));
}

uint32_t FW_N25Q256A_SetExtendedLow(void) {
  const zel::Descriptor node(open(zel::kSpiFlash, O_RDWR));
  if (!node) return FW_FAIL;
  const uint32_t result = zel::send(node, kExtendedLow, nullptr);
  if (result != 0) usleep(1);
  return result;
}

uint32_t FW_ReadFlash(uint32_t address, uint32_t length, uint8_t *buffer) {
  return zel::dispatch(FW_N25Q256A_ReadFlash, address, length, buffer);
}

uint32_t FW_WriteFlash(uint32_t address, uint32_t length, const uint8_t *buffer) {
  const auto write_and_pause = +[](uint32_t to, uint32_t bytes, const uint8_t *from) {
    const uint32_t result = FW_N25Q256A_WriteFlash(to, bytes, from);
    usleep(2);
    return result;
  };
  return zel::dispatch(write_and_pause, address, length, buffer);
}

uint32_t FW_SpiFlash_SectorErase(uint32_t address) { return zel::dispatch(FW_N25Q256A_SectorErase, address); }

uint32_t FW_SpiFlash_ChipErase(void) { return zel::dispatch(FW_N25Q256A_ChipErase); }
