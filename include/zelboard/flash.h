/** @file
 *  The 32 MiB serial NOR flash (N25Q256A) through /dev/zel_spi_flash: raw access, memory map, checksums, boot
 *  environment and firmware images.
 *
 *  Unless a function says otherwise, it returns 0 on success, and FW_FAIL if the node does not open or a transfer
 *  fails. It is thread-safe, but nothing keeps two callers from writing the same sector. Pointers must not be null.
 *
 *  A function FW_... without N25Q256A in its name is a front: it asks the driver which chip is fitted. For chip 0, the
 *  N25Q256A, it calls a FW_N25Q256A function, which does the work and asks nothing. For any other chip it returns
 *  FW_FAIL and does nothing, unless the function says otherwise. Driver controls and checksums are not fronts: they
 *  work with any chip.
 *
 *  Addresses are byte offsets on the chip, 0 to 0x1FFFFFF. Addresses and lengths are not checked against the chip's
 *  size; the driver answers for what lies beyond it. "Debug mode" means that spiflash_debug_mode is 1. Each function
 *  names its pauses. The chip's own time comes on top: 0.5 ms (at most 5 ms) to program a page, 0.7 s (at most 3 s) to
 *  erase a sector (the N25Q256A's data sheet). The library polls no status: it waits as long as the driver does.
 *
 *  If the kernel refuses an erase, its result is FW_REFUSED, not FW_FAIL. Some operations look for FW_FAIL only: they
 *  go on and may return 0 though the old contents are still there. These are the environment write,
 *  FW_N25Q256A_WriteBoot, and in content.h the partition table and the Gen and shared database writes. Each says so:
 *  read back what you wrote. */
#ifndef ZELBOARD_FLASH_H
#define ZELBOARD_FLASH_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Driver controls
 *  @{ */

/** Debug mode of the flash driver as FW_GetDebug_SpiFlash last read it; 0 at load. If it is 1, flash operations print
 *  diagnostics, and the partition copy does not program its fourth piece, so that its verification can be tested. */
extern ZEL_API uint8_t spiflash_debug_mode;

/** Sets the flash driver's debug mode. `spiflash_debug_mode` does not change.
 *  @param mode  any value
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_SetDebug_SpiFlash(uint8_t mode);
/** Reads the flash driver's debug mode into `spiflash_debug_mode` and prints "spi flash debug_mode is on" or "... is
 *  off". If the result is FW_FAIL, nothing is printed. If the driver writes no value, `spiflash_debug_mode` keeps its
 *  value; after a request that the kernel refuses, the line shows that value.
 *  @return the request's result, or FW_FAIL (node). Thread-safe: no (`spiflash_debug_mode`). */
ZEL_API uint32_t FW_GetDebug_SpiFlash(void);

/** Reads which chip is fitted, as the driver knows it.
 *  @param index  in/out: 0 = N25Q256A; keeps its value if the driver writes none
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_FlashGetIndex(uint8_t *index);
/** Reads the chip's identification.
 *  @param id  out: at least 20 bytes. The driver writes as many as the chip answers: manufacturer, type, capacity and
 *             17 bytes of unique id (RDID of the N25Q256A's data sheet). The library writes none
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_GetFlashId(void *id);
/** Makes the driver's status-register request and pauses 2 us. The request's result is lost.
 *  @return the pause's result: 0, also if the node does not open; 0xFFFFFFFF if a signal ends the pause */
ZEL_API uint32_t FW_FlashStatusReg(void);
/** Sets the chip's extended address register to the lower 16 MiB segment. Pauses 1 us if the request fails.
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_N25Q256A_SetExtendedLow(void);
/** @} */

/** @name Raw access
 *  A read goes in pieces of one sector, with a 10 us pause after each full piece. A program goes page by page (256
 *  bytes), with a 2 us pause at the end. It erases nothing, and NOR programming only clears bits. An erase ends with a
 *  2 us pause. Short counts are accepted. After a failed read or program the pieces before it are transferred, and the
 *  last pause is left out; a failed erase pauses all the same. These functions do not look at the diagnostic flags and
 *  do not set the flash-access flag.
 *
 *  The fronts and the functions that they call select the lower 16 MiB segment again at the end. A read, a program and
 *  a chip erase do so only after a success. A sector erase does so after each erase request, also after a failed one.
 *  FW_N25Q256A_FlashRead, FW_N25Q256A_FlashWrite and FW_N25Q256A_EraseSector do not.
 *  @{ */

/** Reads bytes of the flash.
 *  @param address  of the first byte
 *  @param length   number of bytes, 0 allowed
 *  @param buffer   out: `length` bytes; after a failure the pieces before it. Null is allowed with length 0
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_ReadFlash(uint32_t address, uint32_t length, uint8_t *buffer);
/** Programs bytes of the flash, then pauses another 2 us, whatever the result.
 *  @param address  of the first byte
 *  @param length   number of bytes, 0 allowed
 *  @param buffer   bytes to program. Null is allowed with length 0
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteFlash(uint32_t address, uint32_t length, const uint8_t *buffer);
/** Erases the 64 KiB sector that holds `address`.
 *  @param address  any byte of the sector
 *  @return the erase request's result, or FW_FAIL (node, seek) */
ZEL_API uint32_t FW_SpiFlash_SectorErase(uint32_t address);
/** Erases the whole chip, also the boot loader: 512 sectors, from the first to the last. After each sector that it has
 *  erased it prints "Erase chip [%d] percent", 0 to 99. After each erase, also a failed one, it pauses 1 us. The chip
 *  takes about 6 minutes.
 *  @return 0; FW_FAIL (node, seek); or the failed erase request's result. The sectors before it are erased then */
ZEL_API uint32_t FW_SpiFlash_ChipErase(void);

/** Reads bytes of the flash, without asking for the chip.  @copydetails FW_ReadFlash */
ZEL_API uint32_t FW_N25Q256A_ReadFlash(uint32_t address, uint32_t length, uint8_t *buffer);
/** Reads bytes of the flash; asks for no chip, selects no segment.  @copydetails FW_ReadFlash */
ZEL_API uint32_t FW_N25Q256A_FlashRead(uint32_t address, uint32_t length, uint8_t *buffer);
/** Programs bytes of the flash; asks for no chip, and has no additional 2 us of pause.  @copydetails FW_WriteFlash */
ZEL_API uint32_t FW_N25Q256A_WriteFlash(uint32_t address, uint32_t length, const uint8_t *buffer);
/** Programs bytes of the flash as FW_N25Q256A_WriteFlash does, and selects no segment.  @copydetails FW_WriteFlash */
ZEL_API uint32_t FW_N25Q256A_FlashWrite(uint32_t address, uint32_t length, const uint8_t *buffer);
/** Erases a sector, without asking for the chip.  @copydetails FW_SpiFlash_SectorErase */
ZEL_API uint32_t FW_N25Q256A_SectorErase(uint32_t address);
/** Erases a sector; asks for no chip, selects no segment.  @copydetails FW_SpiFlash_SectorErase */
ZEL_API uint32_t FW_N25Q256A_EraseSector(uint32_t address);
/** Erases the whole chip, without asking for it.  @copydetails FW_SpiFlash_ChipErase */
ZEL_API uint32_t FW_N25Q256A_ChipErase(void);
/** @} */

/** @name Memory map
 *  The queries return a word of `flash_def`. They are fronts that return 0xFFFFFFFF (FW_REFUSED) where others return
 *  FW_FAIL. Start address 0 is no failure: the boot loader begins there.
 *  @{ */

/* Regions of the flash: selectors of FW_SpiFlash_GetMapAddr and FW_SpiFlash_GetMapLen. */
#define FW_REGION_IMAGE_1 1u          /**< firmware image 1 */
#define FW_REGION_IMAGE_2 2u          /**< firmware image 2 */
#define FW_REGION_PARAMETER_1 3u      /**< parameters 1 */
#define FW_REGION_PARAMETER_2 4u      /**< parameters 2 */
#define FW_REGION_BOOT_SCRIPT 5u      /**< boot script */
#define FW_REGION_BOOTLOADER 6u       /**< boot loader, at address 0 */
#define FW_REGION_ENVIRONMENT 7u      /**< boot environment */
#define FW_REGION_GEN_DATABASE_1 8u   /**< general configuration database 1 */
#define FW_REGION_GEN_DATABASE_2 9u   /**< general configuration database 2 */
#define FW_REGION_CUSTOMIZE_1 10u     /**< customise database 1 */
#define FW_REGION_CUSTOMIZE_2 11u     /**< customise database 2 */
#define FW_REGION_SHARED_DATABASE 12u /**< shared database */
#define FW_REGION_PARTITION_TABLE 13u /**< partition table */
#define FW_REGION_CUSTOM_INFO 14u     /**< custom identity */
#define FW_REGION_PROFINET 15u        /**< PROFINET parameters */
#define FW_REGION_MAC_BACKUP 16u      /**< MAC address backup */

/* Words of `flash_def`. */
#define FW_FLASH_BOOTLOADER 0u       /**< start of the boot loader */
#define FW_FLASH_ENVIRONMENT 1u      /**< start of the boot environment */
#define FW_FLASH_IMAGE_1 2u          /**< start of firmware image 1 */
#define FW_FLASH_IMAGE_2 3u          /**< start of firmware image 2 */
#define FW_FLASH_PARTITION_TABLE 4u  /**< start of the partition table */
#define FW_FLASH_PARAMETER_1 5u      /**< start of parameters 1 */
#define FW_FLASH_PARAMETER_2 6u      /**< start of parameters 2 */
#define FW_FLASH_BOOT_SCRIPT 7u      /**< start of the boot script */
#define FW_FLASH_GEN_DATABASE_1 8u   /**< start of general configuration database 1 */
#define FW_FLASH_GEN_DATABASE_2 9u   /**< start of general configuration database 2 */
#define FW_FLASH_CUSTOMIZE_1 10u     /**< start of customise database 1 */
#define FW_FLASH_CUSTOMIZE_2 11u     /**< start of customise database 2 */
#define FW_FLASH_SHARED_DATABASE 12u /**< start of the shared database */
#define FW_FLASH_TEST_AREA 13u       /**< start of the test area */
#define FW_FLASH_CUSTOM_INFO 14u     /**< start of the custom identity */
#define FW_FLASH_PROFINET 15u        /**< start of the PROFINET parameters */
#define FW_FLASH_MAC_BACKUP 16u      /**< start of the MAC address backup */
#define FW_FLASH_SECTOR_SIZE 17u     /**< bytes in a sector, also in a piece of a read */
#define FW_FLASH_SECTORS 18u         /**< number of sectors */
#define FW_FLASH_COPY_PIECE 19u      /**< bytes in a piece of an image copy, a CRC check or a compare */
#define FW_FLASH_GEN_LIMIT 20u       /**< largest general configuration database */
#define FW_FLASH_PACKED 21u /**< boot erase count in byte 0, page size in the upper 16 bits; byte 1 has no reader */
#define FW_FLASH_BOOTLOADER_LENGTH 22u      /**< bytes of the boot loader */
#define FW_FLASH_ENVIRONMENT_LENGTH 23u     /**< bytes of the boot environment */
#define FW_FLASH_IMAGE_LENGTH 24u           /**< bytes of a firmware image */
#define FW_FLASH_PARTITION_TABLE_LENGTH 25u /**< bytes of the partition table */
#define FW_FLASH_PARAMETER_LENGTH 26u       /**< bytes of a parameter region */
#define FW_FLASH_BOOT_SCRIPT_LENGTH 27u     /**< bytes of the boot script */
#define FW_FLASH_CUSTOMIZE_LENGTH 28u       /**< bytes of a customise database */
#define FW_FLASH_SHARED_DATABASE_LENGTH 29u /**< bytes of the shared database */
#define FW_FLASH_GEN_DATABASE_LENGTH 30u    /**< bytes of a general configuration database */
#define FW_FLASH_WORDS 31u                  /**< number of words */

/** The record of chip 0: starts of regions, geometry, and lengths of regions, in bytes unless noted. FW_FLASH_... name
 *  its words. The library reads a word each time it needs it: a program may change the table to describe another chip
 *  that the driver reports as chip 0. */
extern ZEL_API uint32_t flash_def[FW_FLASH_WORDS];

/** Returns the start address of a region.
 *  @param selector  FW_REGION_..., 1-16; any other: 0xFFFFFFFF, and in debug mode the line "Select address error"
 *  @return the address; 0xFFFFFFFF (selector, node, another chip) */
ZEL_API uint32_t FW_SpiFlash_GetMapAddr(uint32_t selector);
/** Returns the length of a region in bytes.
 *  @param selector  FW_REGION_..., 1-16; any other: 0xFFFFFFFF, and in debug mode the line "Select Max Len error"
 *  @return the length; 0xFFFFFFFF (selector, node, another chip) */
ZEL_API uint32_t FW_SpiFlash_GetMapLen(uint32_t selector);
/** Returns the sector size in bytes.
 *  @return 0x10000, or what `flash_def` says; 0xFFFFFFFF (node, another chip) */
ZEL_API uint32_t FW_SpiFlash_GetSectorSize(void);
/** @} */

/** @name Checksums
 *  @{ */

/** Table of the reflected CRC-32 with polynomial 0xEDB88320 (IEEE 802.3), for programs: zero at load, filled by the
 *  first CRC. The library itself computes from constants. */
extern ZEL_API uint32_t crc_table[256];
/** 1 once all 256 words of `crc_table` are filled; 0 at load. */
extern ZEL_API uint8_t crc_table_is_init;

/** Returns the CRC-32 of a buffer (initial value and final XOR 0xFFFFFFFF).
 *  @param buffer  the bytes
 *  @param length  number of bytes
 *  @return the CRC; 0 for length 0. Thread-safe: yes, also the first use. */
ZEL_API uint32_t FW_crc32(const uint8_t *buffer, uint32_t length);
/** Continues a CRC-32: returns the CRC of the bytes before and these.
 *  @param crc     CRC of the bytes before; 0 to start
 *  @param buffer  the bytes
 *  @param length  number of bytes
 *  @return the CRC of all bytes so far; `crc` for length 0. Thread-safe: yes, also the first use. */
ZEL_API uint32_t FW_crc321(uint32_t crc, const uint8_t *buffer, uint32_t length);
/** Returns the sum of bytes, modulo 2^32.
 *  @param buffer  the bytes
 *  @param length  number of bytes
 *  @return the sum; 0 for length 0. Thread-safe: yes. */
ZEL_API uint32_t dbChecksum(const void *buffer, uint32_t length);

/** Reads until the buffer is full or the file ends. An interrupted read (EINTR) and one that would wait (EAGAIN) are
 *  repeated at once: a descriptor in non-blocking mode keeps the processor busy.
 *  @param fd      any readable descriptor
 *  @param buffer  out: the bytes read, also those before an error
 *  @param length  number of bytes wanted
 *  @return number of bytes read, less than `length` only at the end of the file; 0 if `length` is below 1; -1 if a read
 *          fails */
ZEL_API int32_t readFully(int fd, uint8_t *buffer, int32_t length);

/** Checks a whole-flash image file: 0 if it has exactly 0x2000000 bytes and the given byte sum. Always reads the whole
 *  file.
 *  @param path  file; opening a FIFO waits for a writer
 *  @param sum   its byte sum (dbChecksum)
 *  @return 0; FW_FAIL otherwise. A line is printed only if the file does not open */
ZEL_API uint32_t FW_CheckFile(const char *path, uint32_t sum);
/** @} */

/** @name Boot environment
 *  A region of 64 KiB: the CRC-32 of the rest (least significant byte first), then entries name=value. A NUL ends each
 *  entry, a second NUL the list. A name ends at its first "=". Names have up to 80 characters, values up to 511: longer
 *  ones are cut when they are read, and refused when they are set. The library never compares the stored CRC.
 *
 *  Each parse fills a table of the process, `env_data`, and moves `env_ptr`. So these functions are not thread-safe,
 *  except FW_SpiFlashEnvRead, FW_SpiFlashEnvWrite, FW_N25Q256AEnvRead and FW_N25Q256AEnvWrite. A read pauses 10 us, an
 *  erase 2 us, a program 2 us. None of them sets the flash-access flag.
 *  @{ */

/* Size of the caller's buffer. */
#define FW_ENV_SIZE 0x10000u /**< bytes of the boot environment's region */

/** One variable; a slot whose first byte is 0xFF is unused. */
struct env_slot {
  char name[81];   /**< NUL-terminated. An entry without "=" gets no NUL: its name ends where the fill of 0xFF begins */
  char value[512]; /**< NUL-terminated. An entry without "=" has no value: the field is fill, with at most one NUL */
};

/** The variables of the last parse; zero at load. Used slots come first, in the region's order. There are two
 *  exceptions: a region that begins with a NUL, and an entry that begins with 0xFF, leave an unused slot among the used
 *  ones. The variables behind it are found by name, but convert_env ends before it and does not write them. */
extern ZEL_API struct env_slot env_data[200];
/** Where the last parse or serialisation ended. A parse ends on the NUL of the last entry that it took, or on the last
 *  byte of the data area if that entry has none. A serialisation ends just behind the last entry's NUL. Valid as long
 *  as the data area that it points into. Null at load. */
extern ZEL_API const uint8_t *env_ptr;

/** Reads the region. Thread-safe: yes.
 *  @param buffer  out: 0x10000 bytes, zeroed first
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_SpiFlashEnvRead(uint8_t *buffer);
/** @copydoc FW_SpiFlashEnvRead */
ZEL_API uint32_t FW_N25Q256AEnvRead(uint8_t *buffer);
/** Erases the region and programs the caller's bytes, of which the CRC is a part. Does nothing if the diagnostic and
 *  the no-operation flag are both set. An erase that the kernel refuses counts as done: read back. Thread-safe: yes.
 *  @param buffer  0x10000 bytes
 *  @return 0; FW_FAIL, also if the flags refuse it */
ZEL_API uint32_t FW_SpiFlashEnvWrite(const uint8_t *buffer);
/** @copydoc FW_SpiFlashEnvWrite */
ZEL_API uint32_t FW_N25Q256AEnvWrite(const uint8_t *buffer);

/** Parses a data area (the region from offset 4) into `env_data` and overwrites all of it. Ends at two NULs, after the
 *  200th entry, or at the area's end. What exceeds a field is cut; what follows the 200th entry is dropped.
 *  @param data  65532 bytes
 *  @return 0 */
ZEL_API uint32_t env_convert(const uint8_t *data);
/** Writes the slots of `env_data` into a data area, up to the first unused one. An entry that does not fit any more
 *  ends the list.
 *  @param data  out: 65532 bytes, zeroed by the caller
 *  @return 0 */
ZEL_API uint32_t convert_env(uint8_t *data);
/** Sets a variable in `env_data`: in the first used slot of that name, or else in the first unused slot. The table
 *  stays as it is if the name has more than 80 or the value more than 511 characters, if a new name finds all 200 slots
 *  used, or if the list that convert_env writes would not fit its area any more.
 *  @param name   up to 80 characters; a name with "=" is read back as a shorter one
 *  @param value  up to 511 characters
 *  @return 0, whether it was set or not */
ZEL_API uint32_t env_add(const char *name, const char *value);
/** Reads the region and checks its data area: 1 if it is as expected. A read that fails is repeated without a pause,
 *  three attempts in all. Overwrites `env_data` in mode 1.
 *  @param crc    CRC-32 that the area's 65532 bytes must have
 *  @param name   for mode 1: the variable's name; may be null in any other mode
 *  @param value  for mode 1: its value; may be null in any other mode
 *  @param mode   1 = the area must also hold name=value; any other = only the CRC counts
 *  @return 1 = as expected, 0 = not. If all three reads fail: the low byte of the last result, 0xFF for FW_FAIL */
ZEL_API uint8_t check_env_crc(uint32_t crc, const char *name, const char *value, uint32_t mode);

/** Sets a variable in the flash: reads the region twice, changes it, writes it and verifies it. A step that fails is
 *  repeated, or the update starts again; the tenth failure ends it. Pauses 10 us before each check. Overwrites
 *  `env_data`.
 *
 *  Fails, erasing nothing, if rewriting would lose a variable. The region then holds a name of more than 80 characters,
 *  a value of more than 511, or more than 200 entries; or the list ends before a used slot, or does not fit its area.
 *  If the diagnostic and the no-operation flag are both set, each write counts as a failure: the call fails, and the
 *  region stays as it was.
 *
 *  If a new variable finds all 200 slots used, or if the area has no room for the value, the region is written ten
 *  times with its old variables; then the call fails. If the power fails during a write, the region is left erased or
 *  partly written.
 *
 *  If all three reads of a check fail, the check counts as passed. If your driver may fail, read the variable back.
 *  @param name   1-80 characters; any other length: FW_FAIL, nothing read. It must not contain "=", which is not
 *                checked: "a=b" set to "c" stores variable "a" with value "b=c", up to ten times, and returns FW_FAIL
 *  @param value  1-511 characters; any other length: FW_FAIL, nothing read
 *  @return 0; FW_FAIL; or the last failed read's or write's result */
ZEL_API uint32_t FW_SpiFlash_EnvAdd(const char *name, const char *value);

/** Says whether the watchdog is to be started: 1 if the variable "syswdt" is "start" or is not set. The first variable
 *  of that name counts.
 *  @return 1 = start; 0 = any other value, or the environment cannot be read */
ZEL_API uint32_t FW_Wdt_Flag(void);
/** Returns the power mode that the variable "pwrmode" declares. The first variable of that name counts.
 *  @return FW_POWER_AC_DC "pwrad", FW_POWER_TWO_AC "pwr2ac", FW_POWER_TWO_DC "pwr2dc", FW_POWER_ONE_DC "pwr1dc",
 *          FW_POWER_ONE_AC "pwr1ac"; FW_POWER_NOT_CONFIGURED if it is not set, has any other value, or the environment
 *          cannot be read */
ZEL_API uint32_t FW_Pwr_Flag(void);
/** @} */

/** @name MAC address backup
 *  A record in its own sector. These functions do not look at the diagnostic flags and do not set the flash-access
 *  flag.
 *  @{ */

/* Size of the caller's buffer. */
#define FW_MAC_BACKUP_SIZE 17u /**< bytes of the MAC address backup */

/** Stores the MAC address backup. The sector is erased first: if the write fails, the backup is lost.
 *  @param mac  FW_MAC_BACKUP_SIZE bytes, stored as they are
 *  @return 0; FW_FAIL; or the failed erase's result, with nothing written */
ZEL_API uint32_t FW_SpiFlash_BackupMacSet(const uint8_t *mac);
/** Reads the MAC address backup.
 *  @param mac  out: FW_MAC_BACKUP_SIZE bytes, all 0xFF if nothing was stored. With any other chip untouched, with
 *              result 0
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_SpiFlash_BackupMacGet(uint8_t *mac);
/** @} */

/** @name Firmware images
 *  A copy programs a file piece by piece, erases each sector just before it programs it, and verifies by reading back.
 *  The old contents are gone from the first piece on. A copy holds the flash-access flag while it runs. It owns `fd`
 *  and always closes it. It does nothing if the diagnostic and the no-operation flag are both set. If the file cannot
 *  be read, or an erase or a program fails, it stops; what it has programmed stays. An empty file changes nothing and
 *  counts as copied. A copy does not check the target's length: a longer file goes on into the next region. In debug
 *  mode a line names a failed erase, program or verification; a refusal by the flags and a file that cannot be read
 *  have none.
 *
 *  The copies from address 0 print the time of day. They call localtime, which has one result for the process: they are
 *  not thread-safe.
 *  @{ */

/** Programs a firmware image into a partition and verifies it; prints progress. Pauses 10 ms for each piece (64 KiB)
 *  and 5 ms for each piece verified: 2.9 s for 12 MiB. In debug mode the fourth piece is not programmed. The library
 *  does not know which partition the switch starts from, and does not change it.
 *  @param fd         image file, read from its position to its end. It must not be longer than the partition
 *                    (FW_SpiFlash_GetMapLen, 12 MiB). With any other chip neither read nor closed
 *  @param partition  1 or 2; any other: FW_FAIL and a line
 *  @return 0; FW_FAIL (chip, partition); 0xFFFFFFFF (refused by the flags, or failed). Thread-safe: yes. */
ZEL_API uint32_t FW_FlashCopy(int fd, uint32_t partition);
/** @copydoc FW_FlashCopy */
ZEL_API uint32_t FW_N25Q256A_FlashCopy(int fd, uint32_t partition);

/** Checks a whole-flash image file (FW_CheckFile), programs it from address 0 and verifies it; prints what it does.
 *  Pauses 2 ms for each piece and 5 ms for each piece verified: 3.6 s. Thread-safe: no (localtime).
 *  @param path  file of exactly 0x2000000 bytes
 *  @param sum   its byte sum (dbChecksum)
 *  @return 0; FW_FAIL (file, chip), flash untouched; 0xFFFFFFFF (refused by the flags, or failed). Another chip is
 *          refused only after the file was checked and the check's line printed */
ZEL_API uint32_t FW_FlashCopyAll(const char *path, uint32_t sum);
/** Programs a file of any length from address 0 and verifies it, as FW_FlashCopyAll does. Thread-safe: no (localtime).
 *  @param fd  the file, read from its position to its end
 *  @return 0; 0xFFFFFFFF (refused by the flags, or failed) */
ZEL_API uint32_t FW_N25Q256A_FlashCopyAll(int fd);

/** Programs a boot image from address 0 and verifies it, as FW_FlashCopyAll does. It is the front of
 *  FW_N25Q256A_FlashCopyBoot, not of FW_N25Q256A_WriteBoot. Thread-safe: no (localtime).
 *  @param path  file of any length. Above 0x100000 bytes it overwrites the boot environment and what follows. Opening a
 *               FIFO waits for a writer
 *  @return 0, also for an empty file, which changes nothing; FW_FAIL (file, chip); 0xFFFFFFFF (refused by the flags, or
 *          failed). Another chip is refused only after the file was opened */
ZEL_API uint32_t FW_SpiFlash_WriteBoot(const char *path);
/** As FW_N25Q256A_FlashCopyAll, with other texts.  @copydetails FW_N25Q256A_FlashCopyAll */
ZEL_API uint32_t FW_N25Q256A_FlashCopyBoot(int fd);

/** Compares the CRC-32 of a partition's first bytes with a value: 0 if they are equal. Pauses 5 ms for each piece (64
 *  KiB).
 *  @param partition  1 or 2; any other: FW_FAIL and a line
 *  @param crc        expected CRC-32
 *  @param length     number of bytes; of 0 bytes the CRC is 0
 *  @return 0 = equal; FW_FAIL = not, or the flash cannot be read */
ZEL_API uint32_t FW_CheckCRC(uint32_t partition, uint32_t crc, uint32_t length);
/** @copydoc FW_CheckCRC */
ZEL_API uint32_t FW_N25Q256A_CheckCRC(uint32_t partition, uint32_t crc, uint32_t length);
/** Compares the CRC-32 of the flash's first bytes with a value, as FW_CheckCRC does for a partition.
 *  @param crc     expected CRC-32
 *  @param length  number of bytes; of 0 bytes the CRC is 0
 *  @return 0 = equal; FW_FAIL = not, or the flash cannot be read */
ZEL_API uint32_t FW_N25Q256A_CheckCRCAll(uint32_t crc, uint32_t length);

/** Writes a boot image from address 0: erases 12 sectors (768 KiB), whatever the file's size, and then programs sector
 *  by sector; prints the percentage. Does not verify, does not look at the diagnostic flags, does not set the
 *  flash-access flag. Sectors after the twelfth are programmed without an erase. An erase that the kernel refuses
 *  counts as done, and bytes that the file loses meanwhile are programmed as zeros: read back.
 *  @param path  file. If it is empty, the 12 sectors are erased and nothing is programmed
 *  @return 0; FW_FAIL. Nothing is erased if the file does not open, has no usable size, or is a FIFO or a folder. After
 *          a failed erase or write nothing more is done */
ZEL_API uint32_t FW_N25Q256A_WriteBoot(const char *path);
/** @} */

ZEL_END_DECLS

#endif
