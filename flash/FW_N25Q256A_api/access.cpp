// Raw access to the N25Q256A. The driver takes the flash address as the node's file position, and reaches addresses
// above 16 MiB through the chip's extended address register. FW_N25Q256A_ReadFlash, _WriteFlash, _SectorErase and
// _ChipErase set that register back; FW_N25Q256A_FlashRead, _FlashWrite and _EraseSector do not.
#include <stdio.h>

#include "board/request.h"
#include "flash/map.h"

namespace zel {
namespace {

constexpr useconds_t kReadPause = 10;
constexpr useconds_t kProgramPause = 2;
constexpr useconds_t kErasePause = 2;
constexpr useconds_t kChipErasePause = 1;

/// False when the position stays where it was. Whoever goes on then reaches the wrong place, at worst the boot loader.
bool seek(const Descriptor &node, uint32_t address) {
  return lseek(node.get(), static_cast<off_t>(address), SEEK_SET) >= 0;
}

bool read_at(const Descriptor &node, uint32_t address, uint32_t length, uint8_t *buffer) {
  if (!seek(node, address)) return false;
  return read(node.get(), buffer, length) >= 0;  // a short count is the driver's business
}

bool read_span(const Descriptor &node, uint32_t address, uint32_t length, uint8_t *buffer) {
  const uint32_t piece = sector_size();
  if (piece == 0 || length < piece) return read_at(node, address, length, buffer);

  const uint32_t pieces = (length / piece) & kCountMask;
  for (uint32_t done = 0; done < pieces; ++done) {
    if (!read_at(node, address + done * piece, piece, buffer + size_t{done} * piece)) return false;
    usleep(kReadPause);
  }
  const uint32_t rest = length % piece;
  if (rest == 0) return true;
  return read_at(node, address + pieces * piece, rest, buffer + size_t{pieces} * piece);
}

uint32_t read_flash(uint32_t address, uint32_t length, uint8_t *buffer) {
  const Descriptor node(open_node(Node::SpiFlash, O_RDONLY));
  if (!node) return FW_FAIL;
  if (!read_span(node, address, length, buffer)) return FW_FAIL;
  return 0;
}

/// Writes a span in pieces that end at page boundaries: inside a page the chip wraps. An empty span is one write.
bool program_span(const Descriptor &node, uint32_t address, uint32_t length, const uint8_t *buffer) {
  const uint32_t page = page_size();
  do {
    const uint32_t room = page == 0 ? length : page - address % page;
    const uint32_t piece = length < room ? length : room;
    if (!seek(node, address)) return false;
    if (write(node.get(), buffer, piece) < 0) return false;
    address += piece;
    buffer += piece;
    length -= piece;
  } while (length != 0);
  return true;
}

uint32_t program_flash(uint32_t address, uint32_t length, const uint8_t *buffer) {
  {
    const Descriptor node(open_node(Node::SpiFlash, O_WRONLY));
    if (!node) return FW_FAIL;
    if (!program_span(node, address, length, buffer)) return FW_FAIL;
  }
  usleep(kProgramPause);
  return 0;
}

/// Erases the sector and writes the request's result to *result. Returns false, and leaves *result, if the node does
/// not open or the seek fails.
bool erase_sector(uint32_t address, uint32_t *result) {
  {
    const Descriptor node(open_node(Node::SpiFlash));
    if (!node) return false;
    if (!seek(node, address)) return false;
    *result = send(node, kEraseSector, nullptr);
  }
  usleep(kErasePause);
  return true;
}

uint32_t erase_all_sectors() {
  const Descriptor node(open_node(Node::SpiFlash));
  if (!node) return FW_FAIL;
  const uint32_t sectors = flash_def[FW_FLASH_SECTORS] & kCountMask;
  for (uint32_t sector = 0; sector < sectors; ++sector) {
    if (!seek(node, sector * sector_size())) return FW_FAIL;
    const uint32_t result = send(node, kEraseSector, nullptr);
    if (result == 0) printf("Erase chip [%d] percent\n", static_cast<int>(100 * sector / sectors));
    usleep(kChipErasePause);
    if (result != 0) return result;
  }
  return 0;
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_SetExtendedLow(void) {
  const zel::Descriptor node(zel::open_node(zel::Node::SpiFlash));
  if (!node) return FW_FAIL;
  const uint32_t result = zel::send(node, zel::kSelectLowerSegment, nullptr);
  if (result != 0) usleep(1);
  return result;
}

// A read, a program and a chip erase select the lower segment only after a success: a failed one leaves the driver
// where it was.

uint32_t FW_N25Q256A_ReadFlash(uint32_t address, uint32_t length, uint8_t *buffer) {
  const uint32_t result = zel::read_flash(address, length, buffer);
  if (result == 0) FW_N25Q256A_SetExtendedLow();
  return result;
}

uint32_t FW_N25Q256A_FlashRead(uint32_t address, uint32_t length, uint8_t *buffer) {
  return zel::read_flash(address, length, buffer);
}

uint32_t FW_N25Q256A_WriteFlash(uint32_t address, uint32_t length, const uint8_t *buffer) {
  const uint32_t result = zel::program_flash(address, length, buffer);
  if (result == 0) FW_N25Q256A_SetExtendedLow();
  return result;
}

uint32_t FW_N25Q256A_FlashWrite(uint32_t address, uint32_t length, const uint8_t *buffer) {
  return zel::program_flash(address, length, buffer);
}

uint32_t FW_N25Q256A_SectorErase(uint32_t address) {
  uint32_t result = FW_FAIL;
  if (zel::erase_sector(address, &result)) FW_N25Q256A_SetExtendedLow();  // whatever the driver answered
  return result;
}

uint32_t FW_N25Q256A_EraseSector(uint32_t address) {
  uint32_t result = FW_FAIL;
  zel::erase_sector(address, &result);
  return result;
}

uint32_t FW_N25Q256A_ChipErase(void) {
  const uint32_t result = zel::erase_all_sectors();
  if (result == 0) FW_N25Q256A_SetExtendedLow();
  return result;
}
