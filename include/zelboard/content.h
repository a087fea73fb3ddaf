/** @file
 *  What lives in the flash: partition table and configuration databases, the custom identity record, and dump, compare
 *  and inspection of the whole.
 *
 *  Fronts and results as in flash.h. Thread-safe as far as the library goes, but a change is a read, an erase and a
 *  write: callers serialise changes. */
#ifndef ZELBOARD_CONTENT_H
#define ZELBOARD_CONTENT_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Partition table and databases
 *  Writes do nothing and give FW_FAIL when the diagnostic and the no-operation flag are both set, and raise the
 *  flash-access flag while they run. A buffer that a read hands out is the caller's, to be released with free(); it is
 *  valid only when the call returned 0.
 *  @{ */

/** Reads or writes one slot of the partition table. Blank slots become {0, 0}, and the table is written back (sector
 *  erase and 40 bytes) by a write mode or when any slot was blank. Not subject to the diagnostic flags.
 *  @param length    in/out: stored length in bytes, 0 = none
 *  @param checksum  in/out: byte sum of the stored bytes
 *  @param mode      odd = read, even = write: 1, 2 Gen 1; 3, 4 Gen 2; 5, 6 customise 1; 7, 8 customise 2; 9, 10 shared;
 *                   another exchanges nothing
 *  @return 0; FW_FAIL, also for a read that found a blank slot anywhere in the table */
ZEL_API uint32_t FW_PartitionInfo(uint32_t *length, uint32_t *checksum, uint32_t mode);
/** @copydoc FW_PartitionInfo */
ZEL_API uint32_t FW_N25Q256A_PartitionInfo(uint32_t *length, uint32_t *checksum, uint32_t mode);

/** Loads a general configuration database and checks its byte sum.
 *  @param data       out: buffer of *length bytes
 *  @param length     out: bytes, 1 to 0x100000
 *  @param partition  1 or 2; another prints a line
 *  @return 0; FW_FAIL, also when there is none or its byte sum does not match */
ZEL_API uint32_t FW_ReadGenDatabase(uint8_t **data, uint32_t *length, uint32_t partition);
/** @copydoc FW_ReadGenDatabase */
ZEL_API uint32_t FW_N25Q256A_ReadGenDatabase(uint8_t **data, uint32_t *length, uint32_t partition);
/** Stores a general configuration database: erases the sectors it needs, writes it, then its table slot.
 *  @param data       bytes to store
 *  @param length     bytes, up to 0x100000
 *  @param partition  1 or 2; another prints a line
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteGenDatabase(const uint8_t *data, uint32_t length, uint32_t partition);
/** @copydoc FW_WriteGenDatabase */
ZEL_API uint32_t FW_N25Q256A_WriteGenDatabase(const uint8_t *data, uint32_t length, uint32_t partition);

/** Loads a customise region whole, without length or checksum; erased bytes read 0xFF.
 *  @param data       out: buffer of 0x40000 bytes
 *  @param partition  1 or 2
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_ReadCustomizeDatabase(uint8_t **data, uint32_t partition);
/** @copydoc FW_ReadCustomizeDatabase */
ZEL_API uint32_t FW_N25Q256A_ReadCustomizeDatabase(uint8_t **data, uint32_t partition);
/** Stores a file in a customise region; the region's four sectors are erased first. Its table slot is not written.
 *  @param path       file of up to 0x40000 bytes
 *  @param partition  1 or 2; another prints a line
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteCustomizeDatabase(const char *path, uint32_t partition);
/** @copydoc FW_WriteCustomizeDatabase */
ZEL_API uint32_t FW_N25Q256A_WriteCustomizeDatabase(const char *path, uint32_t partition);

/** Loads the shared database and checks its byte sum.
 *  @param data    out: buffer of *length bytes
 *  @param length  out: bytes, 1 to 0x80000
 *  @return 0; FW_FAIL, also when there is none or its byte sum does not match */
ZEL_API uint32_t FW_ReadSharedDatabase(uint8_t **data, uint32_t *length);
/** @copydoc FW_ReadSharedDatabase */
ZEL_API uint32_t FW_N25Q256A_ReadSharedDatabase(uint8_t **data, uint32_t *length);
/** The lenient read: an empty database is delivered with length 0, and one whose byte sum does not match all the same.
 *  @param data    out: buffer of *length bytes
 *  @param length  out: bytes, 0 to 0x80000
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_ReadSharedDatabase1(uint8_t **data, uint32_t *length);
/** @copydoc FW_ReadSharedDatabase1 */
ZEL_API uint32_t FW_N25Q256A_ReadSharedDatabase1(uint8_t **data, uint32_t *length);
/** Stores the shared database: erases its eight sectors, writes it, then its table slot.
 *  @param data    bytes to store
 *  @param length  bytes, up to 0x80000
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_WriteSharedDatabase(const uint8_t *data, uint32_t length);
/** @copydoc FW_WriteSharedDatabase */
ZEL_API uint32_t FW_N25Q256A_WriteSharedDatabase(const uint8_t *data, uint32_t length);
/** @} */

/** @name Custom identity
 *  One 417-byte record; every change reads it, erases its sector and writes it back, so a write that fails after the
 *  erase loses the record. Any non-zero result of a flash call ends the operation and is returned. Neither the
 *  diagnostic flags nor the flash-access flag play a part.
 *  @{ */

/** Composes the model name: the custom name for the fitted board variant or the default one, and the suffix of the
 *  power mode. Asks the board types and the power mode (slow).
 *  @param name  out: at least 36 bytes, NUL-terminated
 *  @return 0 or a failed read's result. Thread-safe: no (boot environment table). */
ZEL_API uint32_t FW_SpiFlash_GetCustomName(char *name);
/** @copydoc FW_SpiFlash_GetCustomName */
ZEL_API uint32_t FW_N25Q256A_GetCustomName(char *name);
/** Prints the custom names of all four board variants, or "Custom name not set".
 *  @return 0 or a failed read's result */
ZEL_API uint32_t FW_SpiFlash_ShowCustomName(void);
/** @copydoc FW_SpiFlash_ShowCustomName */
ZEL_API uint32_t FW_N25Q256A_ShowCustomName(void);
/** Reads the description.
 *  @param text  out: at least 256 bytes, NUL-terminated
 *  @return 0; FW_NOT_SET (none stored, text empty); or a failed read's result (text untouched) */
ZEL_API uint32_t FW_SpiFlash_GetCustomDesc(char *text);
/** @copydoc FW_SpiFlash_GetCustomDesc */
ZEL_API uint32_t FW_N25Q256A_GetCustomDesc(char *text);
/** Reads the stored power-mode byte.
 *  @param mode  out: 0xFF when never written; untouched on failure
 *  @return 0 or a failed read's result */
ZEL_API uint32_t FW_SpiFlash_GetCustomPwrMode(uint8_t *mode);
/** @copydoc FW_SpiFlash_GetCustomPwrMode */
ZEL_API uint32_t FW_N25Q256A_GetCustomPwrMode(uint8_t *mode);

/** Stores a name for the fitted board variant.
 *  @param name  up to 31 characters count
 *  @return 0 or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_SetCustomName(const char *name);
/** @copydoc FW_SpiFlash_SetCustomName */
ZEL_API uint32_t FW_N25Q256A_SetCustomName(const char *name);
/** Stores a name for a board variant, fitted or not.
 *  @param name   up to 31 characters count
 *  @param index  number of copper boards, 0-3; above prints "Input index error" and gives FW_FAIL
 *  @return 0, FW_FAIL or the failed flash call's result */
ZEL_API uint32_t FW_SpiFlash_WriteCustomName(const char *name, uint32_t index);
/** @copydoc FW_SpiFlash_WriteCustomName */
ZEL_API uint32_t FW_N25Q256A_WriteCustomName(const char *name, uint32_t index);
/** Stores the description.
 *  @param text  up to 255 characters count
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
 *  @{ */

/** Dumps the flash, or one of several equal parts, into a file and compares it; prints progress. The driver's debug mode
 *  is switched on for the time of the dump and off after it. Pauses 1 us a sector.
 *  @param path   file, created or truncated
 *  @param part   1 to total; another prints a line and gives 0xFFFFFFFF
 *  @param total  number of parts, 1 to 512
 *  @return 0; FW_FAIL; 0xFFFFFFFF (part number) */
ZEL_API uint32_t FW_DumpFlash(const char *path, uint32_t part, uint32_t total);
/** As FW_DumpFlash, without the driver's debug mode.  @copydetails FW_DumpFlash */
ZEL_API uint32_t FW_N25Q256A_DumpFlash(const char *path, uint32_t part, uint32_t total);
/** Compares a file with the flash by a spot check (first and last 16 bytes of every 64 KiB), then prints the file's
 *  size and byte sum. Refused when the diagnostic and the no-operation flag are both set; raises the flash-access flag.
 *  @param path   file
 *  @param part   1 to total, or 255 = from address 0
 *  @param total  number of parts
 *  @return 0 only for a file of the whole flash's size or of the part's, without differences; FW_FAIL; 0xFFFFFFFF (file
 *          cannot be opened, refused by the flags) */
ZEL_API uint32_t FW_N25Q256A_DumpComp(const char *path, uint32_t part, uint32_t total);
/** Prints the map of the flash's sectors: "__" for a sector that starts erased, else the code of its region.
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_SpiFlash_CheckSector(void);
/** @copydoc FW_SpiFlash_CheckSector */
ZEL_API uint32_t FW_N25Q256A_CheckSector(void);
/** Prints one sector as a hex table of 4096 lines; pauses 1 us a line.
 *  @param sector  0-511; beyond, the driver's answer decides
 *  @return 0 or FW_FAIL */
ZEL_API uint32_t FW_ReadSector(uint32_t sector);
/** @copydoc FW_ReadSector */
ZEL_API uint32_t FW_N25Q256A_ReadSector(uint32_t sector);
/** @} */

ZEL_END_DECLS

#endif
