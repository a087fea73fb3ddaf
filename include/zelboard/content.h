/** @file
 *  The contents of the flash: partition table and configuration databases, the custom identity record; and dump,
 *  compare and inspection of the whole flash.
 *
 *  Fronts, results, pauses and the chip's own time are as in flash.h. Unless a function says otherwise, it is
 *  thread-safe. But a change is a read, an erase and a write: callers must serialise changes. Pointers must not be null
 *  unless a function allows it. */
#ifndef ZELBOARD_CONTENT_H
#define ZELBOARD_CONTENT_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Partition table and databases
 *  The partition table has a slot for each database: its length and its byte sum (dbChecksum). Any access to the table
 *  turns blank slots, which an erased sector has, into {0, 0} and writes the table back: it erases the sector and
 *  writes 40 bytes. So the first read of a new flash changes the flash, whatever the diagnostic flags say, and without
 *  the flash-access flag. The Gen and the shared reads access the table.
 *
 *  A database write stores the database first and its slot last: if it fails in between, the old slot does not match
 *  the new bytes. It holds the flash-access flag while it runs. If the diagnostic and the no-operation flag are both
 *  set, it does nothing and returns FW_FAIL. The table, Gen and shared writes take only FW_FAIL for a failed erase.
 *  After any other result, also when the kernel refuses the erase, they go on: read back what you wrote.
 *
 *  A read hands out a buffer, which the caller releases with free(). The buffer is valid only if the call returned 0.
 *  @{ */

/* Slots of the partition table: modes of FW_PartitionInfo. */
#define FW_TABLE_READ_GEN_1 1u        /**< reads the slot of Gen database 1 */
#define FW_TABLE_WRITE_GEN_1 2u       /**< writes it */
#define FW_TABLE_READ_GEN_2 3u        /**< reads the slot of Gen database 2 */
#define FW_TABLE_WRITE_GEN_2 4u       /**< writes it */
#define FW_TABLE_READ_CUSTOMIZE_1 5u  /**< reads the slot of customise database 1, which no database function uses */
#define FW_TABLE_WRITE_CUSTOMIZE_1 6u /**< writes it */
#define FW_TABLE_READ_CUSTOMIZE_2 7u  /**< reads the slot of customise database 2, which no database function uses */
#define FW_TABLE_WRITE_CUSTOMIZE_2 8u /**< writes it */
#define FW_TABLE_READ_SHARED 9u       /**< reads the slot of the shared database */
#define FW_TABLE_WRITE_SHARED 10u     /**< writes it */

/* Largest databases, in bytes. */
#define FW_GEN_SIZE_MAX 0x100000u   /**< Gen database */
#define FW_CUSTOMIZE_SIZE 0x40000u  /**< customise region: bytes of a read, and the largest file */
#define FW_SHARED_SIZE_MAX 0x80000u /**< shared database */

/** Reads or writes one slot of the partition table. A write mode writes the table back, after an erase of its sector;
 *  so does any mode if a slot was blank. In debug mode the table is printed. Does not look at the diagnostic flags and
 *  does not set the flash-access flag.
 *  @param length    in (write modes) or out (read modes): stored length in bytes, 0 = no database. Untouched if the
 *                   table cannot be read, but written also if the read mode then fails for another reason
 *  @param checksum  in (write modes) or out (read modes): byte sum of the stored bytes; written together with `length`
 *  @param mode      FW_TABLE_..., odd = read, even = write; any other exchanges nothing
 *  @return 0; FW_FAIL, also if a read mode finds a blank slot anywhere in the table */
ZEL_API uint32_t FW_PartitionInfo(uint32_t *length, uint32_t *checksum, uint32_t mode);
/** @copydoc FW_PartitionInfo */
ZEL_API uint32_t FW_N25Q256A_PartitionInfo(uint32_t *length, uint32_t *checksum, uint32_t mode);

/** Loads a general configuration database and checks its byte sum. Writes the partition table if a slot of it is blank,
 *  and fails then.
 *  @param data       out: buffer of *length bytes. After a failure untouched, or null if the call got as far as reading
 *                    the data
 *  @param length     out: number of bytes, 1 to FW_GEN_SIZE_MAX. Also written if the call then fails: with the table's
 *                    number, which may be above the limit. Untouched if the database is empty, a slot was blank, or the
 *                    table cannot be read
 *  @param partition  1 or 2; any other: FW_FAIL and a line
 *  @return 0; FW_FAIL, also if the database is empty, its length is above the limit, or its byte sum does not match */
ZEL_API uint32_t FW_ReadGenDatabase(uint8_t **data, uint32_t *length, uint32_t partition);
/** @copydoc FW_ReadGenDatabase */
ZEL_API uint32_t FW_N25Q256A_ReadGenDatabase(uint8_t **data, uint32_t *length, uint32_t partition);
/** Stores a general configuration database: erases the sectors that it needs, writes a copy of the bytes, then its
 *  slot. The region's other sectors stay as they are.
 *  @param data       bytes to store; null is allowed with length 0
 *  @param length     number of bytes, up to FW_GEN_SIZE_MAX; 0 = no database
 *  @param partition  1 or 2; any other: FW_FAIL and a line
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteGenDatabase(const uint8_t *data, uint32_t length, uint32_t partition);
/** @copydoc FW_WriteGenDatabase */
ZEL_API uint32_t FW_N25Q256A_WriteGenDatabase(const uint8_t *data, uint32_t length, uint32_t partition);

/** Loads a whole customise region. There is no length and no checksum; erased bytes are 0xFF. Does not access the
 *  partition table.
 *  @param data       out: buffer of FW_CUSTOMIZE_SIZE bytes; null after a failure, untouched if another chip is fitted
 *                    or memory is short
 *  @param partition  1 or 2; any other: FW_FAIL without a line
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_ReadCustomizeDatabase(uint8_t **data, uint32_t partition);
/** @copydoc FW_ReadCustomizeDatabase */
ZEL_API uint32_t FW_N25Q256A_ReadCustomizeDatabase(uint8_t **data, uint32_t partition);
/** Stores a file in a customise region. Erases the region's four sectors first, also for an empty file. Does not write
 *  the database's slot. Any erase result but 0 is a failure here.
 *  @param path       file of up to FW_CUSTOMIZE_SIZE bytes. A longer file is refused before the erase. A FIFO or a
 *                    folder counts as a file that does not open
 *  @param partition  1 or 2; any other: FW_FAIL and a line
 *  @return 0; FW_FAIL. In debug mode a line names the cause if the file does not open, is too long or cannot be read,
 *          or if the write fails; for other causes there is none */
ZEL_API uint32_t FW_WriteCustomizeDatabase(const char *path, uint32_t partition);
/** @copydoc FW_WriteCustomizeDatabase */
ZEL_API uint32_t FW_N25Q256A_WriteCustomizeDatabase(const char *path, uint32_t partition);

/** Loads the shared database and checks its byte sum. Writes the partition table if a slot of it is blank, and fails
 *  then.
 *  @param data    out: buffer of *length bytes; untouched on failure
 *  @param length  out: number of bytes, 1 to FW_SHARED_SIZE_MAX. Also written if the call then fails: with the table's
 *                 number, which may be above the limit. Untouched if the database is empty, a slot was blank, or the
 *                 table cannot be read
 *  @return 0; FW_FAIL, also if the database is empty, its length is above the limit, or its byte sum does not match */
ZEL_API uint32_t FW_ReadSharedDatabase(uint8_t **data, uint32_t *length);
/** @copydoc FW_ReadSharedDatabase */
ZEL_API uint32_t FW_N25Q256A_ReadSharedDatabase(uint8_t **data, uint32_t *length);
/** Loads the shared database, whatever its byte sum, and also if it is empty. Writes the partition table if a slot of
 *  it is blank, and fails then.
 *  @param data    out: buffer of *length bytes, which must be released also with length 0; untouched on failure
 *  @param length  out: number of bytes, 0 to FW_SHARED_SIZE_MAX. Also written if the call then fails: with the table's
 *                 number, which may be above the limit. Untouched if a slot was blank or the table cannot be read
 *  @return 0; FW_FAIL, also if the length is above the limit */
ZEL_API uint32_t FW_ReadSharedDatabase1(uint8_t **data, uint32_t *length);
/** @copydoc FW_ReadSharedDatabase1 */
ZEL_API uint32_t FW_N25Q256A_ReadSharedDatabase1(uint8_t **data, uint32_t *length);
/** Stores the shared database: erases all its eight sectors, writes the caller's bytes without a copy, then its slot.
 *  @param data    bytes to store; null is allowed with length 0
 *  @param length  number of bytes, up to FW_SHARED_SIZE_MAX; 0 = no database
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteSharedDatabase(const uint8_t *data, uint32_t length);
/** @copydoc FW_WriteSharedDatabase */
ZEL_API uint32_t FW_N25Q256A_WriteSharedDatabase(const uint8_t *data, uint32_t length);
/** @} */

/** @name Custom identity
 *  One record of 417 bytes. A change reads the record, erases its sector and writes the record back. If that write
 *  fails, the record is lost: all names, the description and the power-mode byte. The first flash call that does not
 *  return 0 ends an operation, and its result is returned. A front returns FW_FAIL for any other chip. These functions
 *  do not look at the diagnostic flags and do not set the flash-access flag.
 *  @{ */

/* Sizes of the custom identity's texts, the closing NUL included. */
#define FW_MODEL_SIZE 36u        /**< the model name of FW_SpiFlash_GetCustomName: a name with its suffix */
#define FW_NAME_SIZE 32u         /**< a custom name */
#define FW_DESCRIPTION_SIZE 256u /**< the description */

/** Returns the model name: the custom name of the fitted board variant and the suffix of the power mode (-AD, -AC2,
 *  -DC2, -DC1 or -AC1). Without a custom name the variant's default name counts: KV540R-28SFP, -20SFP, -12SFP or
 *  -04SFP, by the number of SFP ports. If the power mode cannot be read because the GPIO node does not open, the suffix
 *  is -AD. Slow: reads the board types, by six requests, and the power mode (FW_GetPowerMode, which overwrites
 *  `env_data`). Thread-safe: no (boot environment table).
 *  @param name  out: at least FW_MODEL_SIZE bytes; the name is NUL-terminated. Untouched if a read fails
 *  @return 0, or the failed read's result */
ZEL_API uint32_t FW_SpiFlash_GetCustomName(char *name);
/** @copydoc FW_SpiFlash_GetCustomName */
ZEL_API uint32_t FW_N25Q256A_GetCustomName(char *name);
/** Prints the custom names of all four board variants, or "Custom name not set" if none was ever stored.
 *  @return 0, or the failed read's result */
ZEL_API uint32_t FW_SpiFlash_ShowCustomName(void);
/** @copydoc FW_SpiFlash_ShowCustomName */
ZEL_API uint32_t FW_N25Q256A_ShowCustomName(void);
/** Reads the description.
 *  @param text  out: FW_DESCRIPTION_SIZE bytes, all of which are written; the text is NUL-terminated. With FW_NOT_SET
 *               only the first byte is written, a NUL. Untouched if a read fails
 *  @return 0; FW_NOT_SET (no description stored); or the failed read's result */
ZEL_API uint32_t FW_SpiFlash_GetCustomDesc(char *text);
/** @copydoc FW_SpiFlash_GetCustomDesc */
ZEL_API uint32_t FW_N25Q256A_GetCustomDesc(char *text);
/** Reads the stored power-mode byte.
 *  @param mode  out: the byte, 0xFF if it was never written; untouched on failure
 *  @return 0, or the failed read's result */
ZEL_API uint32_t FW_SpiFlash_GetCustomPwrMode(uint8_t *mode);
/** @copydoc FW_SpiFlash_GetCustomPwrMode */
ZEL_API uint32_t FW_N25Q256A_GetCustomPwrMode(uint8_t *mode);

/** Stores a name for the fitted board variant. Six requests find out the variant.
 *  @param name  the first 31 characters count; an empty name brings the default name back
 *  @return 0, or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_SetCustomName(const char *name);
/** @copydoc FW_SpiFlash_SetCustomName */
ZEL_API uint32_t FW_N25Q256A_SetCustomName(const char *name);
/** Stores a name for any board variant.
 *  @param name   the first 31 characters count; an empty name brings the default name back
 *  @param index  number of copper boards, 0-3; above: FW_FAIL and the line "Input index error", flash untouched
 *  @return 0; FW_FAIL (index); or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_WriteCustomName(const char *name, uint32_t index);
/** @copydoc FW_SpiFlash_WriteCustomName */
ZEL_API uint32_t FW_N25Q256A_WriteCustomName(const char *name, uint32_t index);
/** Stores the description.
 *  @param text  the first 255 characters count; an empty text is stored, too
 *  @return 0, or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_SetCustomDesc(const char *text);
/** @copydoc FW_SpiFlash_SetCustomDesc */
ZEL_API uint32_t FW_N25Q256A_SetCustomDesc(const char *text);
/** Stores the power-mode byte. The caller decides what it means.
 *  @param mode  one byte, any value
 *  @return 0, or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_SetCustomPwrMode(const uint8_t *mode);
/** @copydoc FW_SpiFlash_SetCustomPwrMode */
ZEL_API uint32_t FW_N25Q256A_SetCustomPwrMode(const uint8_t *mode);
/** @} */

/** @name Dump, compare, inspection
 *  A dump may be split into `total` equal parts of 512 / total sectors each. Sectors that the division leaves over, at
 *  the top of the flash, belong to no part.
 *  @{ */

#define FW_COMPARE_WHOLE 255u /**< part number of FW_N25Q256A_DumpComp: the whole flash, from address 0 */

/** Dumps the flash, or one part of it, into a file and compares the file with the flash (FW_N25Q256A_DumpComp). Prints
 *  progress. Pauses 1 us for each sector, besides the 10 us of its read. While it runs the driver's debug mode is on;
 *  `spiflash_debug_mode` does not change.
 *  @param path   file, created (mode 0644) or emptied before the first sector is read. If it cannot take all bytes, the
 *                compare fails
 *  @param part   1 to total; any other: 0xFFFFFFFF and a line, no file opened. FW_DumpFlash also asks for the chip
 *                then, and sets and clears the debug mode
 *  @param total  number of parts, 1 to 512. Above that a part is empty, and the compare fails
 *  @return 0; FW_FAIL (chip, node, file, read, compare); 0xFFFFFFFF (part). The compare also fails if the diagnostic
 *          and the no-operation flag are both set, and for part 255 of a split dump; the file stays */
ZEL_API uint32_t FW_DumpFlash(const char *path, uint32_t part, uint32_t total);
/** As FW_DumpFlash, without asking for the chip; the debug modes do not change.
 *  @copydetails FW_DumpFlash */
ZEL_API uint32_t FW_N25Q256A_DumpFlash(const char *path, uint32_t part, uint32_t total);
/** Compares a file with the flash: 0 if a spot check finds no difference and the file has the right size. The spot
 *  check compares the first and the last 16 bytes of every 64 KiB. Then the file is read once more. If its size is
 *  right, size and byte sum are printed; if not, a line says so. A difference prints nothing. Holds the flash-access
 *  flag while it runs. Compares nothing if the diagnostic and the no-operation flag are both set.
 *  @param path   file
 *  @param part   1 to total, or FW_COMPARE_WHOLE = the whole flash, whatever `total` is. So part 255 of a split dump
 *                cannot be compared. Any other: FW_FAIL, nothing opened
 *  @param total  number of parts, as FW_DumpFlash
 *  @return 0 for a file without differences that has exactly the size of the part (FW_COMPARE_WHOLE: 0x2000000 bytes);
 *          0xFFFFFFFF (the file does not open, or the flags refuse it); FW_FAIL for any other failure, also if the
 *          file does not open for the second read */
ZEL_API uint32_t FW_N25Q256A_DumpComp(const char *path, uint32_t part, uint32_t total);
/** Prints a map of the flash's sectors, 16 in a row, and a legend. A sector whose first 16 bytes are erased is "__";
 *  any other has the code of its region. If a sector cannot be read, the map ends there.
 *  @return 0, or FW_FAIL */
ZEL_API uint32_t FW_SpiFlash_CheckSector(void);
/** @copydoc FW_SpiFlash_CheckSector */
ZEL_API uint32_t FW_N25Q256A_CheckSector(void);
/** Prints one sector as a hex table of 4096 lines. Pauses 10 us after the read, and 1 us after each line.
 *  @param sector  0-511. Above that the driver decides; the address wraps at 32 bits: 0x10000 is sector 0 again
 *  @return 0, or FW_FAIL, with nothing printed */
ZEL_API uint32_t FW_ReadSector(uint32_t sector);
/** @copydoc FW_ReadSector */
ZEL_API uint32_t FW_N25Q256A_ReadSector(uint32_t sector);
/** @} */

ZEL_END_DECLS

#endif
