/** @file
 *  The 32 MiB serial NOR flash (N25Q256A) through /dev/zel_spi_flash: raw access, memory map, checksums, boot
 *  environment and firmware images.
 *
 *  Fronts (FW_..., FW_SpiFlash_...) ask the driver which chip is fitted and return FW_FAIL unless it is chip 0, the
 *  N25Q256A; the FW_N25Q256A functions do the work and ask nothing. Addresses are byte offsets on the chip, 0 to
 *  0x1FFFFFF; neither addresses nor lengths are checked against its size. Unless a function says otherwise: 0 on
 *  success, FW_FAIL when the node cannot be opened or a transfer fails; thread-safe, though nothing keeps two callers
 *  from writing the same sector. "Debug mode" means spiflash_debug_mode equal to 1. */
#ifndef ZELBOARD_FLASH_H
#define ZELBOARD_FLASH_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Driver controls
 *  @{ */

/** Debug mode of the flash driver as last read by FW_GetDebug_SpiFlash; 0 at load. Where it is 1, flash operations
 *  print diagnostics, and the partition copy leaves its fourth piece unprogrammed (a test of the verification). */
extern ZEL_API uint8_t spiflash_debug_mode;

/** Sets the flash driver's debug mode.
 *  @param mode  any value. `spiflash_debug_mode` stays.
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetDebug_SpiFlash(uint8_t mode);
/** Reads the flash driver's debug mode into `spiflash_debug_mode` and prints "spi flash debug_mode is on" or "... is
 *  off" unless the result is FW_FAIL.
 *  @return the request's result or FW_FAIL. Thread-safe: no (`spiflash_debug_mode`). */
ZEL_API uint32_t FW_GetDebug_SpiFlash(void);

/** Asks the driver which chip is fitted.
 *  @param index  in/out: 0 = N25Q256A; keeps its value when the request fails
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_FlashGetIndex(uint8_t *index);
/** Reads the chip identification.
 *  @param id  out: at least 20 bytes (JEDEC RDID), filled by the driver
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetFlashId(void *id);
/** Makes the driver's status-register request and pauses 2 us.  @return 0, also when the node cannot be opened */
ZEL_API uint32_t FW_FlashStatusReg(void);
/** Sets the chip's extended address register to the lower 16 MiB segment. Pauses 1 us on failure.
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_N25Q256A_SetExtendedLow(void);
/** @} */

/** @name Raw access
 *  Reads go in pieces of one sector, each full piece followed by a 10 us pause. Programs go page by page (256 bytes) and
 *  end in a 2 us pause; nothing is erased first, and NOR programming only clears bits. Erases end in a 2 us pause. Short
 *  counts are accepted. The functions on the left select the lower 16 MiB segment again when they are done; FlashRead,
 *  FlashWrite and EraseSector leave the driver where it was.
 *  @{ */

/** Reads.
 *  @param address  first byte
 *  @param length   bytes, 0 allowed
 *  @param buffer   out: `length` bytes
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_ReadFlash(uint32_t address, uint32_t length, uint8_t *buffer);
/** Programs; pauses 2 us more.
 *  @param address  first byte
 *  @param length   bytes
 *  @param buffer   bytes to program
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteFlash(uint32_t address, uint32_t length, const uint8_t *buffer);
/** Erases the 64 KiB sector that holds `address`.
 *  @param address  any byte of the sector
 *  @return the erase request's result or FW_FAIL */
ZEL_API uint32_t FW_SpiFlash_SectorErase(uint32_t address);
/** Erases the whole chip, 512 sectors, printing "Erase chip [%d] percent" and pausing 1 us after each.
 *  @return 0; FW_FAIL; or the failed erase request's result, with the sectors before it erased */
ZEL_API uint32_t FW_SpiFlash_ChipErase(void);

/** As FW_ReadFlash; selects the lower segment after a success only.  @copydetails FW_ReadFlash */
ZEL_API uint32_t FW_N25Q256A_ReadFlash(uint32_t address, uint32_t length, uint8_t *buffer);
/** As FW_N25Q256A_ReadFlash without selecting the lower segment.  @copydetails FW_ReadFlash */
ZEL_API uint32_t FW_N25Q256A_FlashRead(uint32_t address, uint32_t length, uint8_t *buffer);
/** As FW_WriteFlash without its last pause; selects the lower segment after a success only.
 *  @copydetails FW_WriteFlash */
ZEL_API uint32_t FW_N25Q256A_WriteFlash(uint32_t address, uint32_t length, const uint8_t *buffer);
/** As FW_N25Q256A_WriteFlash without selecting the lower segment.  @copydetails FW_WriteFlash */
ZEL_API uint32_t FW_N25Q256A_FlashWrite(uint32_t address, uint32_t length, const uint8_t *buffer);
/** As FW_SpiFlash_SectorErase; selects the lower segment whatever the result.  @copydetails FW_SpiFlash_SectorErase */
ZEL_API uint32_t FW_N25Q256A_SectorErase(uint32_t address);
/** As FW_N25Q256A_SectorErase without selecting the lower segment.  @copydetails FW_SpiFlash_SectorErase */
ZEL_API uint32_t FW_N25Q256A_EraseSector(uint32_t address);
/** As FW_SpiFlash_ChipErase; selects the lower segment after a success only.  @copydetails FW_SpiFlash_ChipErase */
ZEL_API uint32_t FW_N25Q256A_ChipErase(void);
/** @} */

/** @name Memory map
 *  @{ */

/** The record of chip 0: region starts (0-16), geometry (17-21) and region lengths (22-30), in bytes unless noted. Read
 *  at the moment of use: whoever changes the table gets a library for that chip. */
extern ZEL_API uint32_t flash_def[31];

/** Start address of a region.
 *  @param selector  1 Image 1, 2 Image 2, 3 Parameter 1, 4 Parameter 2, 5 Boot Script, 6 Bootloader, 7 Environment,
 *                   8 DB1, 9 DB2, 10 Customize 1, 11 Customize 2, 12 Share DB, 13 Partition table, 14 Custom info,
 *                   15 Profinet Parameter, 16 Mac Address Backup
 *  @return the address; 0xFFFFFFFF for another selector (debug mode: "Select address error"), an unopenable node, or a
 *          chip without a record */
ZEL_API uint32_t FW_SpiFlash_GetMapAddr(uint32_t selector);
/** Length of a region in bytes.  @param selector  as FW_SpiFlash_GetMapAddr  @return likewise ("Select Max Len error") */
ZEL_API uint32_t FW_SpiFlash_GetMapLen(uint32_t selector);
/** Sector size in bytes.  @return 0x10000; 0xFFFFFFFF for an unopenable node or a chip without a record */
ZEL_API uint32_t FW_SpiFlash_GetSectorSize(void);
/** @} */

/** @name Checksums
 *  @{ */

/** Table of the reflected CRC-32, polynomial 0xEDB88320 (IEEE 802.3): zero at load, built by the first CRC. */
extern ZEL_API uint32_t crc_table[256];
/** 1 once all 256 words of `crc_table` stand; 0 at load. */
extern ZEL_API uint8_t crc_table_is_init;

/** CRC-32 of a buffer (initial value and final XOR 0xFFFFFFFF).
 *  @param buffer  the bytes
 *  @param length  bytes; 0 gives 0
 *  @return the CRC. Thread-safe: yes, the first use included. */
ZEL_API uint32_t FW_crc32(const uint8_t *buffer, uint32_t length);
/** Continues a CRC-32.
 *  @param crc     CRC of the bytes before, 0 to start
 *  @param buffer  the bytes
 *  @param length  bytes; 0 gives `crc`
 *  @return the CRC of all bytes so far. Thread-safe: yes, the first use included. */
ZEL_API uint32_t FW_crc321(uint32_t crc, const uint8_t *buffer, uint32_t length);
/** Unsigned 32-bit sum of bytes, wrapping.
 *  @param buffer  the bytes
 *  @param length  bytes; 0 gives 0
 *  @return the sum. Thread-safe: yes. */
ZEL_API uint32_t dbChecksum(const void *buffer, uint32_t length);

/** Reads until the buffer is full or the file ends, repeating reads that were interrupted (EINTR, EAGAIN).
 *  @param fd      any readable descriptor
 *  @param buffer  out: the bytes read
 *  @param length  bytes wanted; below 1 gives 0
 *  @return bytes read, fewer than `length` only at the end of the file; -1 when a read fails */
ZEL_API int32_t readFully(int fd, uint8_t *buffer, int32_t length);

/** Checks a whole-flash image file: exactly 0x2000000 bytes with a given byte sum. Reads the whole file.
 *  @param path  file
 *  @param sum   its byte sum (dbChecksum)
 *  @return 0; FW_FAIL, with a line only when the file cannot be opened */
ZEL_API uint32_t FW_CheckFile(const char *path, uint32_t sum);
/** @} */

/** @name Boot environment
 *  A 64 KiB region: CRC-32 of the rest (least significant byte first), then name=value entries, each ended by a NUL, the
 *  list ended by a second NUL. Names have up to 80 characters and values up to 511; longer ones are cut when they are
 *  read and refused when they are set. Parsing fills one process-wide table, so none of these functions is thread-safe,
 *  FW_SpiFlashEnvRead and FW_SpiFlashEnvWrite apart.
 *  @{ */

/** One variable; a slot whose first byte is 0xFF is empty. */
struct env_slot {
  char name[81];   /**< NUL-terminated */
  char value[512]; /**< NUL-terminated */
};

/** The variables of the last parse, used slots first; zero at load. */
extern ZEL_API struct env_slot env_data[200];
/** Where the last parse or serialisation ended: on the last byte examined, or just past the last entry's NUL. Scratch: valid
 *  while the data area that it points into is. */
extern ZEL_API const uint8_t *env_ptr;

/** Reads the region.
 *  @param buffer  out: 0x10000 bytes, zeroed first
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_SpiFlashEnvRead(uint8_t *buffer);
/** @copydoc FW_SpiFlashEnvRead */
ZEL_API uint32_t FW_N25Q256AEnvRead(uint8_t *buffer);
/** Erases and programs the region; does nothing when the diagnostic and the no-operation flag are both set. Does not
 *  raise the flash-access flag.
 *  @param buffer  0x10000 bytes
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_SpiFlashEnvWrite(const uint8_t *buffer);
/** @copydoc FW_SpiFlashEnvWrite */
ZEL_API uint32_t FW_N25Q256AEnvWrite(const uint8_t *buffer);

/** Parses a data area (the region from offset 4) into `env_data`.  @param data  65532 bytes  @return 0 */
ZEL_API uint32_t env_convert(const uint8_t *data);
/** Serialises the used slots of `env_data`. An entry that no longer fits ends the list.
 *  @param data  out: 65532 bytes, zeroed by the caller
 *  @return 0 */
ZEL_API uint32_t convert_env(uint8_t *data);
/** Sets a variable in `env_data`: in place, or in the first empty slot. The table stays as it is when the name has more
 *  than 80 or the value more than 511 characters, when all 200 slots are used, or when the list would outgrow its area.
 *  @param name   up to 80 characters
 *  @param value  up to 511 characters
 *  @return 0 */
ZEL_API uint32_t env_add(const char *name, const char *value);
/** Reads the region anew (up to three tries) and checks its data area.
 *  @param crc    CRC-32 that the 65532 bytes must have
 *  @param name   looked for in mode 1 only
 *  @param value  likewise
 *  @param mode   1 = the area must also hold name=value
 *  @return 1 = it does, 0 = it does not; the low byte of the last read's result when all three fail */
ZEL_API uint8_t check_env_crc(uint32_t crc, const char *name, const char *value, uint32_t mode);

/** Sets a variable in the flash: reads the region twice, changes it, writes it and verifies it, giving up at the tenth
 *  failure. Pauses 10 us before each check. Changes nothing when the diagnostic and the no-operation flag are both set.
 *  @param name   not empty, up to 80 characters, without "="
 *  @param value  not empty, up to 511 characters
 *  @return 0; FW_FAIL; or the last failed read's or write's result */
ZEL_API uint32_t FW_SpiFlash_EnvAdd(const char *name, const char *value);

/** @return 1 when the watchdog is to be started: "syswdt" is "start" or not set; 0 else, and when the environment
 *  cannot be read */
ZEL_API uint32_t FW_Wdt_Flag(void);
/** @return the configured power mode of "pwrmode": 0 "pwrad", 1 "pwr2ac", 2 "pwr2dc", 3 "pwr1dc", 4 "pwr1ac"; 5 for
 *  none, another value, or an environment that cannot be read */
ZEL_API uint32_t FW_Pwr_Flag(void);

/** Stores the MAC address backup; the sector is erased first.  @param mac  17 bytes, stored as they are
 *  @return 0; FW_FAIL; or the failed erase's result */
ZEL_API uint32_t FW_SpiFlash_BackupMacSet(const uint8_t *mac);
/** Reads the MAC address backup.
 *  @param mac  out: 17 bytes; untouched, with result 0, on a chip other than 0
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_SpiFlash_BackupMacGet(uint8_t *mac);
/** @} */

/** @name Firmware images
 *  The copies take ownership of `fd` and close it on every way out. They do nothing when the diagnostic and the
 *  no-operation flag are both set, raise the flash-access flag while they run, erase each sector just before they program
 *  it, and verify by reading back: what was in the target is gone from the first piece on.
 *  @{ */

/** Programs a firmware image into a partition and verifies it; prints progress. Pauses 10 ms a piece (64 KiB), 5 ms a
 *  piece verified.
 *  @param fd    image file, read from its position to its end; neither read nor closed when the chip is refused
 *  @param part  1 or 2
 *  @return 0; FW_FAIL (chip, partition number); 0xFFFFFFFF (refused by the flags, failed) */
ZEL_API uint32_t FW_FlashCopy(int fd, uint32_t part);
/** @copydoc FW_FlashCopy */
ZEL_API uint32_t FW_N25Q256A_FlashCopy(int fd, uint32_t part);

/** Checks a whole-flash image file, programs it from address 0 and verifies it. Pauses 2 ms a piece, 5 ms verified.
 *  @param path  file of exactly 0x2000000 bytes
 *  @param sum   its byte sum
 *  @return 0; FW_FAIL (file, chip); 0xFFFFFFFF (refused by the flags, failed) */
ZEL_API uint32_t FW_FlashCopyAll(const char *path, uint32_t sum);
/** Programs a file of any length from address 0 and verifies it.
 *  @param fd  the file, read from its position to its end
 *  @return 0; 0xFFFFFFFF (refused, failed) */
ZEL_API uint32_t FW_N25Q256A_FlashCopyAll(int fd);

/** Programs a boot image from address 0 and verifies it, as FW_FlashCopyAll does.
 *  @param path  file of a size above 0
 *  @return 0; FW_FAIL (file, chip); 0xFFFFFFFF (refused, failed) */
ZEL_API uint32_t FW_SpiFlash_WriteBoot(const char *path);
/** As FW_N25Q256A_FlashCopyAll, with its own texts.  @copydetails FW_N25Q256A_FlashCopyAll */
ZEL_API uint32_t FW_N25Q256A_FlashCopyBoot(int fd);

/** Compares the CRC-32 of a partition's first bytes. Pauses 5 ms a piece.
 *  @param part    1 or 2; another prints a line and gives FW_FAIL
 *  @param crc     expected CRC-32
 *  @param length  bytes; 0 compares `crc` with 0
 *  @return 0 equal; FW_FAIL */
ZEL_API uint32_t FW_CheckCRC(uint32_t part, uint32_t crc, uint32_t length);
/** @copydoc FW_CheckCRC */
ZEL_API uint32_t FW_N25Q256A_CheckCRC(uint32_t part, uint32_t crc, uint32_t length);
/** The same from address 0.
 *  @param crc     expected CRC-32
 *  @param length  bytes; 0 compares `crc` with 0
 *  @return 0 equal; FW_FAIL */
ZEL_API uint32_t FW_N25Q256A_CheckCRCAll(uint32_t crc, uint32_t length);

/** Writes a boot image from address 0 without verification, flags or flash-access mark: erases 12 sectors whatever the
 *  file's size, then programs sector by sector; prints the percentage.
 *  @param path  file, up to the flash's size
 *  @return 0; FW_FAIL (file without a usable size: nothing is erased; failed erase or write) */
ZEL_API uint32_t FW_N25Q256A_WriteBoot(const char *path);
/** @} */

ZEL_END_DECLS

#endif
