/** @file
 *  The 32 MiB serial NOR flash (N25Q256A) through /dev/zel_spi_flash: raw access, memory map, checksums, boot
 *  environment and firmware images.
 *
 *  Fronts (FW_..., FW_SpiFlash_...) ask the driver which chip is fitted and, unless a function says otherwise, return
 *  FW_FAIL with nothing else done unless it is chip 0, the N25Q256A; the FW_N25Q256A functions do the work and ask
 *  nothing. Driver controls and checksums are no fronts: they concern any chip, or none. Addresses are byte offsets on
 *  the chip, 0 to 0x1FFFFFF; neither addresses nor lengths are checked against its size: what lies beyond is the
 *  driver's to answer.
 *
 *  Unless a function says otherwise: 0 on success, FW_FAIL when the node cannot be opened or a transfer fails;
 *  thread-safe, though nothing keeps two callers from writing the same sector; pointers must not be null. "Debug mode"
 *  means spiflash_debug_mode equal to 1. Pauses are those named; the chip's own time comes on top: 0.5 ms (5 ms at
 *  most) for a page, 0.7 s (3 s at most) to erase a sector, says the N25Q256A's data sheet. The library polls no
 *  status: it waits as long as the driver does.
 *
 *  An erase that the kernel refuses is told by FW_REFUSED, which is not FW_FAIL. Operations that look for FW_FAIL
 *  alone go on after it and may answer 0 over old contents: the environment write, FW_N25Q256A_WriteBoot, and, of
 *  content.h, the partition table and the Gen and shared database writes. Each says so: read back what you wrote. */
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
 *  @param mode  any value. `spiflash_debug_mode` stays
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetDebug_SpiFlash(uint8_t mode);
/** Reads the flash driver's debug mode into `spiflash_debug_mode` and prints "spi flash debug_mode is on" or "... is
 *  off" unless the result is FW_FAIL. The byte keeps its value where the driver writes none, and the line tells it as
 *  it stands.
 *  @return the request's result or FW_FAIL. Thread-safe: no (`spiflash_debug_mode`). */
ZEL_API uint32_t FW_GetDebug_SpiFlash(void);

/** Asks the driver which chip is fitted.
 *  @param index  in/out: 0 = N25Q256A; keeps its value where the driver writes none
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_FlashGetIndex(uint8_t *index);
/** Reads the chip identification.
 *  @param id  out: at least 20 bytes (RDID of the N25Q256A's data sheet: manufacturer, type, capacity, 17 bytes of
 *             unique id); the driver writes as many as the chip answers, and the library none
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetFlashId(void *id);
/** Makes the driver's status-register request, whose result nobody sees, and pauses 2 us.
 *  @return the pause's result: 0, also when the node cannot be opened; 0xFFFFFFFF when a signal ends the pause */
ZEL_API uint32_t FW_FlashStatusReg(void);
/** Sets the chip's extended address register to the lower 16 MiB segment. Pauses 1 us when the request fails.
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_N25Q256A_SetExtendedLow(void);
/** @} */

/** @name Raw access
 *  Neither the diagnostic flags nor the flash-access flag play a part. Reads go in pieces of one sector, each full
 *  piece followed by a 10 us pause. Programs go page by page (256 bytes) and end in a 2 us pause; nothing is erased
 *  first, and NOR programming only clears bits. Erases end in a 2 us pause. Short counts are accepted. A read or
 *  program that fails leaves the pieces before it transferred, without the last pause.
 *
 *  FW_ReadFlash, FW_WriteFlash, FW_SpiFlash_SectorErase and FW_SpiFlash_ChipErase, and what they call
 *  (FW_N25Q256A_ReadFlash, FW_N25Q256A_WriteFlash, FW_N25Q256A_SectorErase, FW_N25Q256A_ChipErase), select the lower 16
 *  MiB segment again when they are done: after a success, the sector erase always. FW_N25Q256A_FlashRead,
 *  FW_N25Q256A_FlashWrite and FW_N25Q256A_EraseSector leave the driver where it was.
 *  @{ */

/** Reads.
 *  @param address  first byte
 *  @param length   bytes, 0 allowed
 *  @param buffer   out: `length` bytes; after a failure those before it. Null is allowed with length 0
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_ReadFlash(uint32_t address, uint32_t length, uint8_t *buffer);
/** Programs; pauses 2 us more, whatever the result.
 *  @param address  first byte
 *  @param length   bytes, 0 allowed
 *  @param buffer   bytes to program. Null is allowed with length 0
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteFlash(uint32_t address, uint32_t length, const uint8_t *buffer);
/** Erases the 64 KiB sector that holds `address`.
 *  @param address  any byte of the sector
 *  @return the erase request's result or FW_FAIL */
ZEL_API uint32_t FW_SpiFlash_SectorErase(uint32_t address);
/** Erases the whole chip, 512 sectors from the first to the last, the boot loader with them; after each it prints
 *  "Erase chip [%d] percent", 0 to 99, and pauses 1 us. The chip takes about 6 minutes.
 *  @return 0; FW_FAIL; or the failed erase request's result, with the sectors before it erased */
ZEL_API uint32_t FW_SpiFlash_ChipErase(void);

/** As FW_ReadFlash, without asking for the chip.  @copydetails FW_ReadFlash */
ZEL_API uint32_t FW_N25Q256A_ReadFlash(uint32_t address, uint32_t length, uint8_t *buffer);
/** As FW_N25Q256A_ReadFlash without selecting the lower segment.  @copydetails FW_ReadFlash */
ZEL_API uint32_t FW_N25Q256A_FlashRead(uint32_t address, uint32_t length, uint8_t *buffer);
/** As FW_WriteFlash, without asking for the chip and without the 2 us more.  @copydetails FW_WriteFlash */
ZEL_API uint32_t FW_N25Q256A_WriteFlash(uint32_t address, uint32_t length, const uint8_t *buffer);
/** As FW_N25Q256A_WriteFlash without selecting the lower segment.  @copydetails FW_WriteFlash */
ZEL_API uint32_t FW_N25Q256A_FlashWrite(uint32_t address, uint32_t length, const uint8_t *buffer);
/** As FW_SpiFlash_SectorErase, without asking for the chip.  @copydetails FW_SpiFlash_SectorErase */
ZEL_API uint32_t FW_N25Q256A_SectorErase(uint32_t address);
/** As FW_N25Q256A_SectorErase without selecting the lower segment.  @copydetails FW_SpiFlash_SectorErase */
ZEL_API uint32_t FW_N25Q256A_EraseSector(uint32_t address);
/** As FW_SpiFlash_ChipErase, without asking for the chip.  @copydetails FW_SpiFlash_ChipErase */
ZEL_API uint32_t FW_N25Q256A_ChipErase(void);
/** @} */

/** @name Memory map
 *  The queries ask the driver which chip is fitted, too, but answer 0xFFFFFFFF (FW_REFUSED) where other fronts answer
 *  FW_FAIL. Start address 0, of the boot loader, is an address.
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

/** The record of chip 0: region starts (0-16), geometry (17-21) and region lengths (22-30), in bytes unless noted.
 *  Read at the moment of use: whoever changes the table gets a library for that chip. */
extern ZEL_API uint32_t flash_def[FW_FLASH_WORDS];

/** Start address of a region.
 *  @param selector  FW_REGION_..., 1-16
 *  @return the address; 0xFFFFFFFF for another selector (debug mode: "Select address error"), an unopenable node, or
 *          a chip without a record */
ZEL_API uint32_t FW_SpiFlash_GetMapAddr(uint32_t selector);
/** Length of a region in bytes.
 *  @param selector  FW_REGION_..., 1-16
 *  @return the length; 0xFFFFFFFF as FW_SpiFlash_GetMapAddr (debug mode: "Select Max Len error") */
ZEL_API uint32_t FW_SpiFlash_GetMapLen(uint32_t selector);
/** Sector size in bytes.
 *  @return 0x10000; 0xFFFFFFFF for an unopenable node or a chip without a record */
ZEL_API uint32_t FW_SpiFlash_GetSectorSize(void);
/** @} */

/** @name Checksums
 *  @{ */

/** Table of the reflected CRC-32, polynomial 0xEDB88320 (IEEE 802.3): zero at load, filled by the first CRC, for
 *  programs. The library itself computes from constants. */
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

/** Reads until the buffer is full or the file ends. Reads that were interrupted (EINTR) or would wait (EAGAIN) are
 *  repeated at once, so that a descriptor in non-blocking mode keeps the processor busy.
 *  @param fd      any readable descriptor
 *  @param buffer  out: the bytes read, those before an error included
 *  @param length  bytes wanted; below 1 gives 0
 *  @return bytes read, fewer than `length` only at the end of the file; -1 when a read fails */
ZEL_API int32_t readFully(int fd, uint8_t *buffer, int32_t length);

/** Checks a whole-flash image file: exactly 0x2000000 bytes with a given byte sum. Reads the whole file, also one that
 *  is longer.
 *  @param path  file; of a FIFO the opening waits for a writer
 *  @param sum   its byte sum (dbChecksum)
 *  @return 0; FW_FAIL, with a line only when the file cannot be opened */
ZEL_API uint32_t FW_CheckFile(const char *path, uint32_t sum);
/** @} */

/** @name Boot environment
 *  A 64 KiB region: CRC-32 of the rest (least significant byte first), then name=value entries, each ended by a NUL,
 *  the list ended by a second NUL. A name ends at its first "="; names have up to 80 characters and values up to 511:
 *  longer ones are cut when they are read and refused when they are set. The library never compares the stored CRC.
 *
 *  Every parse fills one process-wide table, `env_data`, and moves `env_ptr`: none of these functions is thread-safe,
 *  the reads and writes of the whole region apart (FW_SpiFlashEnvRead, FW_SpiFlashEnvWrite and their FW_N25Q256A
 *  twins). A read pauses 10 us, an erase 2 us, a program 2 us. None raises the flash-access flag.
 *  @{ */

/** One variable; a slot whose first byte is 0xFF is unused. */
struct env_slot {
  char name[81];   /**< NUL-terminated, but for an entry without "=": up to the 0xFF fill */
  char value[512]; /**< NUL-terminated */
};

/** The variables of the last parse; zero at load. Used slots come first, in the region's order. Only a region that
 *  begins with a NUL, or an entry that begins with 0xFF, leaves an unused slot among them: what lies behind it is
 *  found by name, but not written by convert_env, which ends there. */
extern ZEL_API struct env_slot env_data[200];
/** Where the last parse or serialisation ended: on the last byte examined, or just past the last entry's NUL.
 *  Scratch: valid while the data area that it points into is. Null at load. */
extern ZEL_API const uint8_t *env_ptr;

/** Reads the region. Thread-safe: yes.
 *  @param buffer  out: 0x10000 bytes, zeroed first
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_SpiFlashEnvRead(uint8_t *buffer);
/** @copydoc FW_SpiFlashEnvRead */
ZEL_API uint32_t FW_N25Q256AEnvRead(uint8_t *buffer);
/** Erases and programs the region as it is given: the CRC is the caller's. Does nothing when the diagnostic and the
 *  no-operation flag are both set. An erase that the kernel refuses counts as done: read back. Thread-safe: yes.
 *  @param buffer  0x10000 bytes
 *  @return 0; FW_FAIL, also when refused by the flags */
ZEL_API uint32_t FW_SpiFlashEnvWrite(const uint8_t *buffer);
/** @copydoc FW_SpiFlashEnvWrite */
ZEL_API uint32_t FW_N25Q256AEnvWrite(const uint8_t *buffer);

/** Parses a data area (the region from offset 4) into `env_data`, all of which it overwrites. Ends after a NUL that is
 *  followed by another, after the 200th entry, or with the area. What exceeds a field is cut, what comes after the
 *  200th entry dropped.
 *  @param data  65532 bytes
 *  @return 0 */
ZEL_API uint32_t env_convert(const uint8_t *data);
/** Serialises the slots of `env_data` up to the first unused one. An entry that no longer fits ends the list.
 *  @param data  out: 65532 bytes, zeroed by the caller
 *  @return 0 */
ZEL_API uint32_t convert_env(uint8_t *data);
/** Sets a variable in `env_data`: in place, in the first used slot of that name among all 200, or else in the first
 *  unused slot. The table stays as it is when the name has more than 80 or the value more than 511 characters, when all
 *  200 slots are used, or when the list that convert_env writes would outgrow its area.
 *  @param name   up to 80 characters; one with "=" reads back as a shorter name
 *  @param value  up to 511 characters
 *  @return 0, whether it was set or not */
ZEL_API uint32_t env_add(const char *name, const char *value);
/** Reads the region anew, up to three tries without a pause between, and checks its data area. In mode 1 it overwrites
 *  `env_data`.
 *  @param crc    CRC-32 that the 65532 bytes must have
 *  @param name   looked for in mode 1 only; may be null otherwise
 *  @param value  likewise
 *  @param mode   1 = the area must also hold name=value
 *  @return 1 = it does, 0 = it does not; the low byte of the last read's result when all three fail: 0xFF for
 *          FW_FAIL */
ZEL_API uint8_t check_env_crc(uint32_t crc, const char *name, const char *value, uint32_t mode);

/** Sets a variable in the flash: reads the region twice, changes it, writes it and verifies it, starting over when a
 *  step fails and giving up at the tenth failure. Pauses 10 us before each check. Overwrites `env_data`.
 *
 *  Nothing is erased, and FW_FAIL given, when the region holds what the table cannot: a name of more than 80 or a value
 *  of more than 511 characters, or more than 200 entries; or when the list that is written would not hold all others of it:
 *  it ends before an unused slot, or with its area. What the write would lose stays in the flash. With the diagnostic and
 *  the no-operation flag both set the region stays as it was, too, and each write counts as a failure.
 *
 *  A new variable that does not get in, because the table has 200 or the area is full, costs ten writes of the region
 *  as it was, and FW_FAIL. A change that the power cuts short leaves the region erased or partly written.
 *
 *  A check whose three reads all fail counts as passed: where the driver may fail, read the variable back.
 *  @param name   not empty, up to 80 characters: FW_FAIL before the region is read. It must have no "=", which is not
 *                tested: "a=b" set to "c" stores variable "a" of value "b=c", up to ten times, and gives FW_FAIL
 *  @param value  not empty, up to 511 characters: likewise
 *  @return 0; FW_FAIL; or the last failed read's or write's result */
ZEL_API uint32_t FW_SpiFlash_EnvAdd(const char *name, const char *value);

/** Asks the environment whether the watchdog is to be started. The first variable of the name counts, and the stored
 *  CRC is not compared.
 *  @return 1 when "syswdt" is "start" or not set; 0 else, and when the environment cannot be read */
ZEL_API uint32_t FW_Wdt_Flag(void);
/** Asks the environment for the configured power mode, by variable "pwrmode", likewise.
 *  @return FW_POWER_AC_DC "pwrad", FW_POWER_TWO_AC "pwr2ac", FW_POWER_TWO_DC "pwr2dc", FW_POWER_ONE_DC "pwr1dc",
 *          FW_POWER_ONE_AC "pwr1ac"; FW_POWER_NOT_CONFIGURED for none, another value, or an environment that cannot
 *          be read */
ZEL_API uint32_t FW_Pwr_Flag(void);
/** @} */

/** @name MAC address backup
 *  A record of its own, in a sector of its own. Neither the diagnostic flags nor the flash-access flag play a part.
 *  @{ */

/* Sizes of records that callers hand over. */
#define FW_MAC_BACKUP_SIZE 17u /**< bytes of the MAC address backup */
#define FW_ENV_SIZE 0x10000u   /**< bytes of the boot environment's region */

/** Stores the MAC address backup; the sector is erased first, so that a write which fails leaves nothing.
 *  @param mac  FW_MAC_BACKUP_SIZE bytes, stored as they are
 *  @return 0; FW_FAIL; or the failed erase's result, with nothing written */
ZEL_API uint32_t FW_SpiFlash_BackupMacSet(const uint8_t *mac);
/** Reads the MAC address backup.
 *  @param mac  out: FW_MAC_BACKUP_SIZE bytes, 0xFF each when there is none; untouched, with result 0, on a chip other
 *              than 0
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_SpiFlash_BackupMacGet(uint8_t *mac);
/** @} */

/** @name Firmware images
 *  The copies take ownership of `fd` and close it on every way out. They do nothing when the diagnostic and the
 *  no-operation flag are both set, raise the flash-access flag while they run, erase each sector just before they
 *  program it, and verify by reading back: what was in the target is gone from the first piece on. A file that cannot
 *  be read, an erase or a program that fails, ends a copy with what was programmed so far. A file without a byte
 *  changes nothing and counts as copied. No copy looks at the target's length: a longer file goes on into the next
 *  region. In debug mode they say why they failed.
 *
 *  Those from address 0 print the time of day and call localtime, whose result is the process's: they are not
 *  thread-safe.
 *  @{ */

/** Programs a firmware image into a partition and verifies it; prints progress. Pauses 10 ms a piece (64 KiB), 5 ms a
 *  piece verified: 2.9 s for 12 MiB. In debug mode the fourth piece is left unprogrammed. Which partition the switch
 *  starts from is not the library's: it neither knows nor changes it.
 *  @param fd    image file, read from its position to its end, no longer than the partition (FW_SpiFlash_GetMapLen, 12
 *               MiB); neither read nor closed when the chip is refused
 *  @param part  1 or 2; another prints a line
 *  @return 0; FW_FAIL (chip, partition number); 0xFFFFFFFF (refused by the flags, failed). Thread-safe: yes. */
ZEL_API uint32_t FW_FlashCopy(int fd, uint32_t part);
/** @copydoc FW_FlashCopy */
ZEL_API uint32_t FW_N25Q256A_FlashCopy(int fd, uint32_t part);

/** Checks a whole-flash image file (FW_CheckFile), programs it from address 0 and verifies it; prints what it does.
 *  Pauses 2 ms a piece, 5 ms a piece verified: 3.6 s. Thread-safe: no (localtime).
 *  @param path  file of exactly 0x2000000 bytes
 *  @param sum   its byte sum
 *  @return 0; FW_FAIL (file, chip: flash untouched); 0xFFFFFFFF (refused by the flags, failed) */
ZEL_API uint32_t FW_FlashCopyAll(const char *path, uint32_t sum);
/** Programs a file of any length from address 0 and verifies it, as FW_FlashCopyAll does. Thread-safe: no (localtime).
 *  @param fd  the file, read from its position to its end
 *  @return 0; 0xFFFFFFFF (refused, failed) */
ZEL_API uint32_t FW_N25Q256A_FlashCopyAll(int fd);

/** Programs a boot image from address 0 and verifies it, as FW_FlashCopyAll does. Thread-safe: no (localtime).
 *  @param path  file of any length: beyond 0x100000 bytes it overwrites the boot environment and what follows. Of a
 *               FIFO the opening waits for a writer
 *  @return 0, also for an empty file, which changes nothing; FW_FAIL (file, chip); 0xFFFFFFFF (refused, failed) */
ZEL_API uint32_t FW_SpiFlash_WriteBoot(const char *path);
/** As FW_N25Q256A_FlashCopyAll, with texts that name it.  @copydetails FW_N25Q256A_FlashCopyAll */
ZEL_API uint32_t FW_N25Q256A_FlashCopyBoot(int fd);

/** Compares the CRC-32 of a partition's first bytes. Pauses 5 ms a piece (64 KiB).
 *  @param part    1 or 2; another prints a line and gives FW_FAIL
 *  @param crc     expected CRC-32
 *  @param length  bytes; 0 compares `crc` with 0
 *  @return 0 equal; FW_FAIL otherwise, and when the flash cannot be read */
ZEL_API uint32_t FW_CheckCRC(uint32_t part, uint32_t crc, uint32_t length);
/** @copydoc FW_CheckCRC */
ZEL_API uint32_t FW_N25Q256A_CheckCRC(uint32_t part, uint32_t crc, uint32_t length);
/** The same from address 0.
 *  @param crc     expected CRC-32
 *  @param length  bytes; 0 compares `crc` with 0
 *  @return 0 equal; FW_FAIL otherwise, and when the flash cannot be read */
ZEL_API uint32_t FW_N25Q256A_CheckCRCAll(uint32_t crc, uint32_t length);

/** Writes a boot image from address 0 without verification, flags or flash-access mark: erases 12 sectors (768 KiB)
 *  whatever the file's size, then programs sector by sector; prints the percentage. What a longer file has beyond the
 *  twelfth sector is programmed without an erase. An erase that the kernel refuses counts as done, and bytes that the
 *  file lost meanwhile are programmed as zeros: read back.
 *  @param path  file; an empty one succeeds: the 12 sectors are erased, and nothing is programmed
 *  @return 0; FW_FAIL (file that does not open or has no usable size, a FIFO or a folder: nothing is erased; failed
 *          erase or write: nothing after it is done) */
ZEL_API uint32_t FW_N25Q256A_WriteBoot(const char *path);
/** @} */

ZEL_END_DECLS

#endif
