// Names for the words of flash_def. Every use reads the table anew: whoever changes it gets a library for that chip.
#pragma once

#include "zelboard/flash.h"

namespace zel {

enum MapEntry : uint8_t {
  kBootloader,
  kEnvironment,
  kImage1,
  kImage2,
  kPartitionTable,
  kParameter1,
  kParameter2,
  kBootScript,
  kDb1,
  kDb2,
  kCustomize1,
  kCustomize2,
  kShareDb,
  kTestArea,
  kCustomInfo,
  kProfinetParameter,
  kMacBackup,
  kSectorSize,  // also the piece of a raw read
  kSectorCount,
  kCopyPiece,  // piece of copies, CRC checks and the compare
  kGenLimit,
  kPackedGeometry,  // boot erase count (byte 0) and page size (upper half)
  kBootloaderLength,
  kEnvironmentLength,
  kImageLength,
  kPartitionTableLength,
  kParameterLength,
  kBootScriptLength,
  kCustomizeLength,
  kShareDbLength,
  kDbLength,
  kMapEntries
};

inline uint32_t page_size() { return flash_def[kPackedGeometry] >> 16; }
inline uint32_t boot_erase_count() { return flash_def[kPackedGeometry] & 0xFF; }

}  // namespace zel
