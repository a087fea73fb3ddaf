/** @file
 *  What lives in the flash: partition table and configuration databases, the custom identity record, and dump, compare
 *  and inspection of the whole.
 *
 *  Fronts, results, pauses and the chip's own time as in flash.h. Thread-safe unless a function says otherwise, as
 *  far as the library goes; but a change is a read, an erase and a write: callers serialise changes. Pointers must
 *  not be null unless a function allows it. */
#ifndef ZELBOARD_CONTENT_H
#define ZELBOARD_CONTENT_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Partition table and databases
 *  A slot of the partition table tells of each database its length and its byte sum (dbChecksum). Every access to the
 *  table turns blank slots, those of an erased sector, into {0, 0} and then writes the table back, by a sector erase
 *  and 40 bytes: so the first read of a new flash changes it, whatever the diagnostic flags say, and without the
 *  flash-access flag. The Gen and shared reads are such accesses.
 *
 *  Database writes do nothing and give FW_FAIL when the diagnostic and the no-operation flag are both set, and raise
 *  the flash-access flag while they run. The database goes first and its slot last: a write that fails between them
 *  leaves the old slot, to which the new bytes do not fit. In the table, Gen and shared writes an erase that the kernel
 *  refuses, or that the driver refuses by another result than FW_FAIL, counts as done: read back what you wrote.
 *
 *  A buffer that a read hands out is the caller's, to be released with free(); it is valid only when the call returned
 *  0.
 *  @{ */

/* Slots of the partition table: modes of FW_PartitionInfo. */
#define FW_TABLE_READ_GEN_1 1u        /**< Gen database 1 */
#define FW_TABLE_WRITE_GEN_1 2u       /**< likewise */
#define FW_TABLE_READ_GEN_2 3u        /**< Gen database 2 */
#define FW_TABLE_WRITE_GEN_2 4u       /**< likewise */
#define FW_TABLE_READ_CUSTOMIZE_1 5u  /**< customise database 1, whose slot its own functions leave alone */
#define FW_TABLE_WRITE_CUSTOMIZE_1 6u /**< likewise */
#define FW_TABLE_READ_CUSTOMIZE_2 7u  /**< customise database 2, likewise */
#define FW_TABLE_WRITE_CUSTOMIZE_2 8u /**< likewise */
#define FW_TABLE_READ_SHARED 9u       /**< shared database */
#define FW_TABLE_WRITE_SHARED 10u     /**< likewise */

/* Largest databases, in bytes. */
#define FW_GEN_SIZE_MAX 0x100000u   /**< Gen database */
#define FW_CUSTOMIZE_SIZE 0x40000u  /**< customise region: what a read gives, and the largest file */
#define FW_SHARED_SIZE_MAX 0x80000u /**< shared database */

/** Reads or writes one slot of the partition table. The table is written back by a write mode, and by any when a slot
 *  was blank; its sector is erased first. Not subject to the diagnostic flags; does not raise the flash-access flag. In
 *  debug mode it prints the table.
 *  @param length    in (write modes) or out (read modes): stored length in bytes, 0 = none. Written once the table was
 *                   read, also with FW_FAIL
 *  @param checksum  likewise: byte sum of the stored bytes
 *  @param mode      FW_TABLE_..., odd = read, even = write; another exchanges nothing
 *  @return 0; FW_FAIL, also for a read that found a blank slot anywhere in the table */
ZEL_API uint32_t FW_PartitionInfo(uint32_t *length, uint32_t *checksum, uint32_t mode);
/** @copydoc FW_PartitionInfo */
ZEL_API uint32_t FW_N25Q256A_PartitionInfo(uint32_t *length, uint32_t *checksum, uint32_t mode);

/** Loads a general configuration database and checks its byte sum. Writes the partition table when a slot of it is
 *  blank.
 *  @param data       out: buffer of *length bytes
 *  @param length     out: bytes, 1 to FW_GEN_SIZE_MAX; written once the table told it, also when the call then fails
 *  @param partition  1 or 2; another prints a line and gives FW_FAIL
 *  @return 0; FW_FAIL, also when there is none, its length is beyond the limit, or its byte sum does not match */
ZEL_API uint32_t FW_ReadGenDatabase(uint8_t **data, uint32_t *length, uint32_t partition);
/** @copydoc FW_ReadGenDatabase */
ZEL_API uint32_t FW_N25Q256A_ReadGenDatabase(uint8_t **data, uint32_t *length, uint32_t partition);
/** Stores a general configuration database: erases the sectors it needs, writes it from a copy of its own, then its
 *  table slot. What the region holds behind it stays.
 *  @param data       bytes to store; null is allowed with length 0
 *  @param length     bytes, up to FW_GEN_SIZE_MAX; 0 = none from now on
 *  @param partition  1 or 2; another prints a line and gives FW_FAIL
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteGenDatabase(const uint8_t *data, uint32_t length, uint32_t partition);
/** @copydoc FW_WriteGenDatabase */
ZEL_API uint32_t FW_N25Q256A_WriteGenDatabase(const uint8_t *data, uint32_t length, uint32_t partition);

/** Loads a customise region whole, without length or checksum; erased bytes read 0xFF. Leaves the partition table
 *  alone.
 *  @param data       out: buffer of FW_CUSTOMIZE_SIZE bytes
 *  @param partition  1 or 2; another gives FW_FAIL without a line
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_ReadCustomizeDatabase(uint8_t **data, uint32_t partition);
/** @copydoc FW_ReadCustomizeDatabase */
ZEL_API uint32_t FW_N25Q256A_ReadCustomizeDatabase(uint8_t **data, uint32_t partition);
/** Stores a file in a customise region; the region's four sectors are erased first, also for an empty file. Its table
 *  slot is not written. Here any erase result but 0 fails.
 *  @param path       file of up to FW_CUSTOMIZE_SIZE bytes; a FIFO, a folder or a longer file is refused before the
 *                    erase
 *  @param partition  1 or 2; another prints a line and gives FW_FAIL
 *  @return 0 or FW_FAIL; only in debug mode a line tells why */
ZEL_API uint32_t FW_WriteCustomizeDatabase(const char *path, uint32_t partition);
/** @copydoc FW_WriteCustomizeDatabase */
ZEL_API uint32_t FW_N25Q256A_WriteCustomizeDatabase(const char *path, uint32_t partition);

/** Loads the shared database and checks its byte sum. Writes the partition table when a slot of it is blank.
 *  @param data    out: buffer of *length bytes; untouched on failure
 *  @param length  out: bytes, 1 to FW_SHARED_SIZE_MAX; written once the table told it, also when the call then fails
 *  @return 0; FW_FAIL, also when there is none, its length is beyond the limit, or its byte sum does not match */
ZEL_API uint32_t FW_ReadSharedDatabase(uint8_t **data, uint32_t *length);
/** @copydoc FW_ReadSharedDatabase */
ZEL_API uint32_t FW_N25Q256A_ReadSharedDatabase(uint8_t **data, uint32_t *length);
/** The lenient read: an empty database is delivered with length 0, and one whose byte sum does not match all the same.
 *  Writes the partition table when a slot of it is blank, and then fails.
 *  @param data    out: buffer of *length bytes, to be released also with length 0; untouched on failure
 *  @param length  out: bytes, 0 to FW_SHARED_SIZE_MAX; written once the table told it, also when the call then fails
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_ReadSharedDatabase1(uint8_t **data, uint32_t *length);
/** @copydoc FW_ReadSharedDatabase1 */
ZEL_API uint32_t FW_N25Q256A_ReadSharedDatabase1(uint8_t **data, uint32_t *length);
/** Stores the shared database: erases all its eight sectors, writes it straight from the caller's bytes, then its table
 *  slot.
 *  @param data    bytes to store; null is allowed with length 0
 *  @param length  bytes, up to FW_SHARED_SIZE_MAX; 0 = none from now on
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteSharedDatabase(const uint8_t *data, uint32_t length);
/** @copydoc FW_WriteSharedDatabase */
ZEL_API uint32_t FW_N25Q256A_WriteSharedDatabase(const uint8_t *data, uint32_t length);
/** @} */

/** @name Custom identity
 *  One 417-byte record; every change reads it, erases its sector and writes it back, so a write that fails after the
 *  erase loses the record: all names, the description and the power-mode byte. Any non-zero result of a flash call ends
 *  the operation and is returned; a front gives FW_FAIL for another chip. Neither the diagnostic flags nor the
 *  flash-access flag play a part.
 *  @{ */

/* Sizes of the custom identity's texts, the closing NUL included. */
#define FW_MODEL_SIZE 36u        /**< what FW_SpiFlash_GetCustomName may write: a name with its suffix */
#define FW_NAME_SIZE 32u         /**< a custom name */
#define FW_DESCRIPTION_SIZE 256u /**< the description */

/** Composes the model name: the custom name for the fitted board variant, or else its default one (KV540R-28SFP,
 *  -20SFP, -12SFP or -04SFP, by the number of SFP ports), and the suffix of the power mode: -AD, -AC2, -DC2, -DC1 or
 *  -AC1. Slow: asks the board types, six requests, and the power mode (FW_GetPowerMode, which overwrites `env_data`).
 *  Where the power mode cannot be told the suffix is -AD. Thread-safe: no (boot environment table).
 *  @param name  out: at least FW_MODEL_SIZE bytes, NUL-terminated; untouched when a read fails
 *  @return 0 or a failed read's result */
ZEL_API uint32_t FW_SpiFlash_GetCustomName(char *name);
/** @copydoc FW_SpiFlash_GetCustomName */
ZEL_API uint32_t FW_N25Q256A_GetCustomName(char *name);
/** Prints the custom names of all four board variants, or "Custom name not set" where none was ever stored.
 *  @return 0 or a failed read's result */
ZEL_API uint32_t FW_SpiFlash_ShowCustomName(void);
/** @copydoc FW_SpiFlash_ShowCustomName */
ZEL_API uint32_t FW_N25Q256A_ShowCustomName(void);
/** Reads the description.
 *  @param text  out: at least FW_DESCRIPTION_SIZE bytes, all of which are written, NUL-terminated; empty with
 *               FW_NOT_SET; untouched when a read fails
 *  @return 0; FW_NOT_SET (none stored); or a failed read's result */
ZEL_API uint32_t FW_SpiFlash_GetCustomDesc(char *text);
/** @copydoc FW_SpiFlash_GetCustomDesc */
ZEL_API uint32_t FW_N25Q256A_GetCustomDesc(char *text);
/** Reads the stored power-mode byte.
 *  @param mode  out: 0xFF when never written; untouched on failure
 *  @return 0 or a failed read's result */
ZEL_API uint32_t FW_SpiFlash_GetCustomPwrMode(uint8_t *mode);
/** @copydoc FW_SpiFlash_GetCustomPwrMode */
ZEL_API uint32_t FW_N25Q256A_GetCustomPwrMode(uint8_t *mode);

/** Stores a name for the fitted board variant, which it asks for first, by six requests.
 *  @param name  up to 31 characters count, what follows is cut; an empty one brings the default name back
 *  @return 0 or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_SetCustomName(const char *name);
/** @copydoc FW_SpiFlash_SetCustomName */
ZEL_API uint32_t FW_N25Q256A_SetCustomName(const char *name);
/** Stores a name for a board variant, fitted or not.
 *  @param name   up to 31 characters count, what follows is cut; an empty one brings the default name back
 *  @param index  number of copper boards, 0-3; above prints "Input index error" and gives FW_FAIL, flash untouched
 *  @return 0, FW_FAIL or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_WriteCustomName(const char *name, uint32_t index);
/** @copydoc FW_SpiFlash_WriteCustomName */
ZEL_API uint32_t FW_N25Q256A_WriteCustomName(const char *name, uint32_t index);
/** Stores the description.
 *  @param text  up to 255 characters count, what follows is cut; an empty one is stored as such
 *  @return 0 or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_SetCustomDesc(const char *text);
/** @copydoc FW_SpiFlash_SetCustomDesc */
ZEL_API uint32_t FW_N25Q256A_SetCustomDesc(const char *text);
/** Stores the power-mode byte, whose meaning is the caller's.
 *  @param mode  one byte, any value
 *  @return 0 or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_SetCustomPwrMode(const uint8_t *mode);
/** @copydoc FW_SpiFlash_SetCustomPwrMode */
ZEL_API uint32_t FW_N25Q256A_SetCustomPwrMode(const uint8_t *mode);
/** @} */

/** @name Dump, compare, inspection
 *  A dump may be split into `total` equal parts, of 512 / total sectors each; those that the division leaves over, at
 *  the top of the flash, belong to no part.
 *  @{ */

#define FW_COMPARE_WHOLE 255u /**< part number of FW_N25Q256A_DumpComp: the whole flash, from address 0 */

/** Dumps the flash, or one part of it, into a file and compares it (FW_N25Q256A_DumpComp); prints progress. The
 *  driver's debug mode is switched on for the time of the dump and off after it; `spiflash_debug_mode` stays. Pauses 1
 *  us a sector.
 *  @param path   file, created (mode 0644) or emptied before the first sector is read. What it cannot take makes the
 *                compare fail
 *  @param part   1 to total; another prints a line and gives 0xFFFFFFFF, nothing opened
 *  @param total  number of parts, 1 to 512; with more a part is empty, which counts as failed
 *  @return 0; FW_FAIL: chip, node, file, a read, or the compare, which fails also where the diagnostic and the
 *          no-operation flag are both set and for part 255, and leaves the file; 0xFFFFFFFF (part number) */
ZEL_API uint32_t FW_DumpFlash(const char *path, uint32_t part, uint32_t total);
/** As FW_DumpFlash, without asking for the chip and without the driver's debug mode.
 *  @copydetails FW_DumpFlash */
ZEL_API uint32_t FW_N25Q256A_DumpFlash(const char *path, uint32_t part, uint32_t total);
/** Compares a file with the flash by a spot check (first and last 16 bytes of every 64 KiB), then reads it once more
 *  and prints its size and byte sum. Refused when the diagnostic and the no-operation flag are both set; raises the
 *  flash-access flag. A difference is told by the result alone, a wrong size by a line, too.
 *  @param path   file
 *  @param part   1 to total, or FW_COMPARE_WHOLE = the whole flash, whatever `total` says: so part 255 of a split dump
 *                cannot be compared. Another gives FW_FAIL before anything is opened
 *  @param total  number of parts, as FW_DumpFlash
 *  @return 0 for a file without differences that has exactly the size of the part, or of the whole flash (0x2000000
 *          bytes) with FW_COMPARE_WHOLE; FW_FAIL; 0xFFFFFFFF (file cannot be opened, refused by the flags) */
ZEL_API uint32_t FW_N25Q256A_DumpComp(const char *path, uint32_t part, uint32_t total);
/** Prints the map of the flash's sectors, 16 a row: "__" for a sector whose first 16 bytes are erased, else the code of
 *  its region, and a legend. A sector that cannot be read ends it.
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_SpiFlash_CheckSector(void);
/** @copydoc FW_SpiFlash_CheckSector */
ZEL_API uint32_t FW_N25Q256A_CheckSector(void);
/** Prints one sector as a hex table of 4096 lines; pauses 1 us a line.
 *  @param sector  0-511. Beyond, the driver's answer decides; the address wraps at 32 bits, so that 0x10000 is sector 0
 *                 again
 *  @return 0 or FW_FAIL, with nothing printed */
ZEL_API uint32_t FW_ReadSector(uint32_t sector);
/** @copydoc FW_ReadSector */
ZEL_API uint32_t FW_N25Q256A_ReadSector(uint32_t sector);
/** @} */

ZEL_END_DECLS

#endif
