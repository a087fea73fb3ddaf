/** @file
 *  The board's I2C bus, the real-time clock (S-35390A) and the temperature sensor (LM75), through /dev/zel_i2c.
 *
 *  Device addresses are in 8-bit form: the 7-bit address shifted left by one. Unless a function says otherwise it
 *  returns the driver's result, FW_FAIL when the node cannot be opened (out-parameters untouched), FW_I2C_BUSY when
 *  the driver found the bus busy, FW_REFUSED when the kernel refused the request. The driver serialises the bus; the
 *  library adds no lock and no retry. Pointers must not be null unless a function allows it. */
#ifndef ZELBOARD_I2C_H
#define ZELBOARD_I2C_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Transfers and bus
 *  @{ */

/* Limits of a transfer. */
#define FW_I2C_LEN_MAX 128u      /**< data bytes */
#define FW_I2C_OFFSET_LEN_MAX 4u /**< offset bytes */

/** Reads from a device on the bus. Pauses 5 ms after the request, successful or not; not when no request was made.
 *  @param addr        device, 8-bit form
 *  @param offset      register or memory address in the device
 *  @param offset_len  0-4 offset bytes that the driver sends first; above 4 gives FW_FAIL before the open
 *  @param len         0-128 bytes; above 128 gives FW_FAIL before the open
 *  @param buf         out: `len` bytes, written whenever the request was made (zeros where the driver wrote nothing).
 *                     Null is allowed with `len` 0; with more it gives FW_FAIL before the open
 *  @return the driver's result, FW_I2C_BUSY among them, or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_I2C_BufRead(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, void *buf);

/** Writes to a device on the bus. Pauses 5 ms after the request, successful or not; not when no request was made.
 *  @param addr        device, 8-bit form
 *  @param offset      register or memory address in the device
 *  @param offset_len  0-4 offset bytes that the driver sends first; above 4 gives FW_FAIL before the open
 *  @param len         0-128 bytes; above 128 gives FW_FAIL before the open
 *  @param buf         `len` bytes to send. Null is allowed with `len` 0; with more it gives FW_FAIL before the open
 *  @return the driver's result, FW_I2C_BUSY among them, or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_I2C_BufWrite(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, const void *buf);

/** Reads the driver's bus-busy flag.
 *  @param busy  out: written whenever the request was made
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_Get_I2C_Busy(uint8_t *busy);
/** Sets the driver's bus-busy flag.
 *  @param busy  any value
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_Set_I2C_Busy(uint8_t busy);
/** Asks the driver to refresh the bus.
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_ReflashI2CBus(void);

/** Debug mode of the I2C driver as last read by FW_GetDebug_I2C: 0 = off, non-zero = on. 0 at load. The SFP
 *  functions read it to decide whether to print some of their lines. */
extern ZEL_API uint8_t i2c_debug_mode;

/** Sets the I2C driver's debug mode.
 *  @param mode  any value. `i2c_debug_mode` stays
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_SetDebug_I2C(uint8_t mode);
/** Reads the I2C driver's debug mode into `i2c_debug_mode` and prints "I2C debug_mode is on" or "... is off" unless the
 *  result is FW_FAIL. The byte keeps its value where the driver writes none, and the line tells it as it stands.
 *  @return the request's result or FW_FAIL. Thread-safe: no (`i2c_debug_mode`). */
ZEL_API uint32_t FW_GetDebug_I2C(void);

/** Waits as `ms` sleeps of one millisecond each; the kernel may make each longer. Thread-safe: yes.
 *  @param ms  0-65535; 0 returns at once */
ZEL_API void FW_SFP_mDelay(uint16_t ms);
/** @} */

/** @name PoE and SyncE
 *  Not fitted on this board: each accepts any arguments, touches nothing and returns FW_FAIL. Thread-safe: yes.
 *  @{ */

/* C can say "any arguments" since C23, and compilers know it since GCC 13 and clang 15; before, empty parentheses say
 * it, which -Wstrict-prototypes reports unless told that they are meant. */
#pragma GCC diagnostic push
#if defined __cplusplus || (__STDC_VERSION__ > 201710L && (defined __clang__ ? __clang_major__ >= 15 : __GNUC__ >= 13))
/** Parameter list of a function that takes any arguments. */
#define ZEL_ANY_ARGUMENTS ...
#else
#define ZEL_ANY_ARGUMENTS
#pragma GCC diagnostic ignored "-Wstrict-prototypes"
#endif

/** Not fitted.
 *  @return FW_FAIL */
ZEL_API uint32_t FW_GetPoEInfo(ZEL_ANY_ARGUMENTS);
/** Not fitted.
 *  @return FW_FAIL */
ZEL_API uint32_t FW_SetPoEPort(ZEL_ANY_ARGUMENTS);
/** Not fitted.
 *  @return FW_FAIL */
ZEL_API uint32_t FW_SetPoEReg(ZEL_ANY_ARGUMENTS);
/** Not fitted.
 *  @return FW_FAIL */
ZEL_API uint32_t FW_GetPoEReg(ZEL_ANY_ARGUMENTS);
/** Not fitted.
 *  @return FW_FAIL */
ZEL_API uint32_t FW_GetSyncE_RegData(ZEL_ANY_ARGUMENTS);
/** Not fitted.
 *  @return FW_FAIL */
ZEL_API uint32_t FW_SetSyncE_RegData(ZEL_ANY_ARGUMENTS);
#pragma GCC diagnostic pop
/** @} */

/** @name Real-time clock
 *  An S-35390A: registers are chosen by command bits inside the device address, 0x60 for status register 1 and 0x64 for
 *  the real-time data; bytes are BCD, least significant bit first (its data sheet).
 *
 *  FW_GetRtc, FW_SetRtc, FW_GetRtc1224, FW_SetRtc1224 and FW_PollRtc ask the driver first whether the chip is alive: a
 *  failed question's result is returned, a chip that is not alive gives FW_ABSENT, both before any access and with the
 *  arguments untouched.
 *  @{ */

/** Broken-down time as the driver's record carries it, on every host: the 32-bit platform's struct tm. */
struct rtc_tm {
  int32_t tm_sec;    /**< 0-59 */
  int32_t tm_min;    /**< 0-59 */
  int32_t tm_hour;   /**< 0-23, or 0-11 in 12-hour mode */
  int32_t tm_mday;   /**< 1-31 */
  int32_t tm_mon;    /**< 0-11 */
  int32_t tm_year;   /**< years since 1900; the chip holds 100-199 */
  int32_t tm_wday;   /**< 0-6 */
  int32_t tm_yday;   /**< not set by the library */
  int32_t tm_isdst;  /**< not set by the library */
  int32_t tm_gmtoff; /**< not set by the library */
  uint32_t tm_zone;  /**< not set by the library */
};

/** The clock record, 48 bytes. */
struct rtc_record {
  uint8_t mode24;      /**< 1 = the chip runs in 24-hour mode */
  uint8_t pm;          /**< 1 = the AM/PM flag of the hour byte is set */
  uint8_t reserved[2]; /**< not set by the library */
  struct rtc_tm tm;    /**< date and time */
};
typedef struct rtc_record rtc_record; /**< for C, where a type without struct needs it */

/** Converts one byte of the S-35390A (BCD, least-significant bit in bit 7) to a number.
 *  @param raw    byte as received
 *  @param nbits  0-8 bits taken, from bit 7 down with weights 1, 2, 4, 8, 10, 20, 40, 80; more count as 8
 *  @return the number. Thread-safe: yes. */
ZEL_API uint8_t s35390A_to_time(uint8_t raw, uint8_t nbits);
/** Converts a number to the S-35390A's byte.
 *  @param value  0-99; others are encoded by the same rule and truncated to 8 bits
 *  @return the byte to send. Thread-safe: yes. */
ZEL_API uint8_t time_to_s35390A(uint32_t value);

/** Asks the driver whether the clock chip is alive.
 *  @param alive  out: 0 = no; written whenever the request was made, 0 where it failed
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetRTC_Alive(uint8_t *alive);
/** Gets the clock record that the driver holds: the last one of FW_PollRtc, of any process. No chip access.
 *  @param rec  out: zeroed once the node is open for the second request, then filled by the driver
 *  @return the request's result, FW_ABSENT or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetRtc(rtc_record *rec);
/** Sets the chip's date and time, day of week 0, and then 24-hour mode. No field is validated: the low byte of each is
 *  encoded. `mode24`, `pm` and tm_wday are not read. Two transfers, 5 ms each; a failed first one ends the call.
 *  @param rec  in: tm_year to tm_sec; out, once the chip is known to be alive: tm_year less 100 and tm_mon plus 1, also
 *              when a write failed. Fill it anew for the next call
 *  @return 0, FW_ABSENT, FW_FAIL (node), or the first failed transfer's result. Thread-safe: yes. */
ZEL_API uint32_t FW_SetRtc(rtc_record *rec);
/** Reads the chip's 12/24-hour mode, bit 6 of status register 1 as it arrives.
 *  @param mode  out: 1 = 24-hour, 0 = 12-hour; untouched on failure
 *  @return the transfer's result, FW_ABSENT or FW_FAIL. One transfer, 5 ms. Thread-safe: yes. */
ZEL_API uint32_t FW_GetRtc1224(uint8_t *mode);
/** Sets the chip's 12/24-hour mode; clears the other writable bits of status register 1.
 *  @param mode  1 = 24-hour, 0 = 12-hour; another gives FW_FAIL, nothing written, after the question whether the chip
 *               is alive
 *  @return the transfer's result, FW_ABSENT or FW_FAIL. One transfer, 5 ms. Thread-safe: yes. */
ZEL_API uint32_t FW_SetRtc1224(const uint8_t *mode);
/** Sets the driver's clock-failure flag.
 *  @param fail  0 or 1; every value is passed on
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_RTC_Fail_Set(uint8_t fail);
/** Reads the chip once and hands the time to the driver, for FW_GetRtc; sets the failure flag when the time cannot be
 *  read, clears it otherwise. Two transfers, 5 ms each: time, then mode; when the mode cannot be read the flag stays
 *  clear and nothing is handed over.
 *  @return 0, FW_ABSENT, FW_FAIL, or the failed transfer's or request's result. Thread-safe: yes. */
ZEL_API uint32_t FW_PollRtc(void);
/** @} */

/** @name Temperature sensor
 *  An LM75 at 0x9E: register 0, two bytes, holds 9 bits in two's complement of half a degree each (its data sheet). Its
 *  other registers are not used.
 *  @{ */

/** The temperature record, 4 bytes. */
struct temp_record {
  float temperature; /**< degrees Celsius, -128.0 to +127.5 in steps of 0.5 */
};
typedef struct temp_record temp_record; /**< likewise */

/** Asks the driver whether the sensor is alive.
 *  @param alive  out: 0 = no; written whenever the request was made, 0 where it failed
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetLM75_Alive(uint8_t *alive);
/** Gets the temperature that the driver holds: the last one of FW_PollTemperature, of any process. Asks first whether
 *  the sensor is alive, by a request of its own. No sensor access.
 *  @param rec  out: zeroed once the node is open for the second request, then filled by the driver
 *  @return the request's result; FW_ABSENT when the sensor is not alive; FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetTemperature(temp_record *rec);
/** Sets the driver's sensor-failure flag.
 *  @param fail  0 or 1; every value is passed on
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_Tempereature_Fail_Set(uint8_t fail);
/** Reads the sensor once, if the driver says that it is alive, and hands the temperature to the driver, for
 *  FW_GetTemperature; sets the failure flag when it cannot be read, clears it otherwise. One transfer, 5 ms.
 *  @return 0, FW_ABSENT, FW_FAIL, or the failed transfer's or request's result. Thread-safe: yes. */
ZEL_API uint32_t FW_PollTemperature(void);
/** @} */

ZEL_END_DECLS

#endif
