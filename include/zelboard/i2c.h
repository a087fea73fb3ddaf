/** @file
 *  The board's I2C bus, the real-time clock (S-35390A) and the temperature sensor (LM75), through /dev/zel_i2c.
 *
 *  Unless a function says otherwise, it returns the driver's result: 0 on success, FW_I2C_BUSY if the driver found the
 *  bus busy, FW_REFUSED if the kernel refused the request. If the node does not open, it returns FW_FAIL and leaves
 *  out-parameters untouched. The driver serialises the bus. The library adds no lock and no retry. Device addresses are
 *  in 8-bit form: the 7-bit address shifted left by one. Pointers must not be null unless a function allows it. */
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

/** Reads from a device on the bus. Pauses 5 ms after the request, whatever its result; no request, no pause.
 *  @param addr        device, 8-bit form
 *  @param offset      register or memory address in the device
 *  @param offset_len  0-4 offset bytes, which the driver sends first; above 4: FW_FAIL, nothing opened
 *  @param len         0-128 bytes; above: FW_FAIL, nothing opened
 *  @param buf         out: `len` bytes, also if the request fails: 0 where the driver wrote nothing. Null is allowed
 *                     with `len` 0; with any other length: FW_FAIL, nothing opened
 *  @return the driver's result, for instance FW_I2C_BUSY, or FW_FAIL (node, argument). Thread-safe: yes. */
ZEL_API uint32_t FW_I2C_BufRead(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, void *buf);

/** Writes to a device on the bus. Pauses 5 ms after the request, whatever its result; no request, no pause.
 *  @param addr        device, 8-bit form
 *  @param offset      register or memory address in the device
 *  @param offset_len  0-4 offset bytes, which the driver sends first; above 4: FW_FAIL, nothing opened
 *  @param len         0-128 bytes; above: FW_FAIL, nothing opened
 *  @param buf         `len` bytes to send. Null is allowed with `len` 0; with any other length: FW_FAIL, nothing opened
 *  @return the driver's result, for instance FW_I2C_BUSY, or FW_FAIL (node, argument). Thread-safe: yes. */
ZEL_API uint32_t FW_I2C_BufWrite(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, const void *buf);

/** Reads the driver's bus-busy flag.
 *  @param busy  out: the flag; also written if the request fails, with what the driver left, 0 where it wrote nothing
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_Get_I2C_Busy(uint8_t *busy);
/** Sets the driver's bus-busy flag.
 *  @param busy  any value
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_Set_I2C_Busy(uint8_t busy);
/** Asks the driver to refresh the bus.
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_ReflashI2CBus(void);

/** Debug mode of the I2C driver as FW_GetDebug_I2C last read it: 0 = off, non-zero = on. 0 at load. It also decides
 *  whether the SFP functions print some of their lines. */
extern ZEL_API uint8_t i2c_debug_mode;

/** Sets the I2C driver's debug mode. `i2c_debug_mode` does not change.
 *  @param mode  any value
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_SetDebug_I2C(uint8_t mode);
/** Reads the I2C driver's debug mode into `i2c_debug_mode` and prints "I2C debug_mode is on" or "... is off". If the
 *  result is FW_FAIL, nothing is printed. If the driver writes no value, `i2c_debug_mode` keeps its value; after a
 *  request that the kernel refuses, the line shows that value.
 *  @return the request's result, or FW_FAIL (node). Thread-safe: no (`i2c_debug_mode`). */
ZEL_API uint32_t FW_GetDebug_I2C(void);

/** Sleeps `ms` times one millisecond. The kernel may make each sleep longer. Thread-safe: yes.
 *  @param ms  0-65535 milliseconds; 0 returns at once */
ZEL_API void FW_SFP_mDelay(uint16_t ms);
/** @} */

/** @name PoE and SyncE
 *  Not fitted on this board. Each function accepts any arguments, touches nothing and returns FW_FAIL. Thread-safe:
 *  yes.
 *  @{ */

/* C has a notation for "any arguments" since C23; GCC 13 and clang 15 know it. For older compilers empty parentheses
 * mean it, and a pragma keeps -Wstrict-prototypes silent. */
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
 *  The chip is an S-35390A; the following is from its data sheet. Command bits inside the device address choose the
 *  register: 0x60 is status register 1, 0x64 the real-time data. Bytes are BCD, least significant bit first.
 *
 *  FW_GetRtc, FW_SetRtc, FW_GetRtc1224, FW_SetRtc1224 and FW_PollRtc first ask the driver whether the chip is alive, by
 *  a request of its own (FW_GetRTC_Alive). If it is not, they return FW_ABSENT; if the question fails, its result.
 *  Nothing is accessed then, and the arguments stay untouched.
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
 *  @param raw    byte as the chip sends it
 *  @param nbits  number of bits to take, 0-8, from bit 7 down, with the weights 1, 2, 4, 8, 10, 20, 40, 80; above 8:
 *                all 8
 *  @return the number. Thread-safe: yes. */
ZEL_API uint8_t s35390A_to_time(uint8_t raw, uint8_t nbits);
/** Converts a number to the S-35390A's byte.
 *  @param value  0-99; other values are encoded by the same rule and cut to 8 bits
 *  @return the byte to send. Thread-safe: yes. */
ZEL_API uint8_t time_to_s35390A(uint32_t value);

/** Reads whether the clock chip is alive, as the driver knows it.
 *  @param alive  out: 0 = no, non-zero = yes; 0 if the request fails and the driver wrote nothing
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetRTC_Alive(uint8_t *alive);
/** Reads the clock record that the driver holds: the last one that FW_PollRtc stored, in any process. Does not access
 *  the chip.
 *  @param rec  out: zeroed when the node is open for the record's request, then filled by the driver
 *  @return the request's result, FW_ABSENT (not alive), or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetRtc(rtc_record *rec);
/** Sets the chip's date and time, with day of week 0, and then 24-hour mode. Two transfers, 5 ms each; if the first
 *  fails, the second is not made. A chip in 12-hour mode loses an hour above 11: call FW_SetRtc1224 with 1 first.
 *  Fields are not checked: the low byte of each is encoded. `mode24`, `pm` and tm_wday are not read.
 *  @param rec  in: tm_year to tm_sec; out: tm_year less 100 and tm_mon plus 1, also if a write fails. So fill it anew
 *              for the next call. Untouched if the chip is not alive
 *  @return 0, FW_ABSENT (not alive), FW_FAIL (node), or the failed transfer's result. Thread-safe: yes. */
ZEL_API uint32_t FW_SetRtc(rtc_record *rec);
/** Reads the chip's 12/24-hour mode: bit 6 of status register 1 as the bus delivers it. One transfer, 5 ms.
 *  @param mode  out: 1 = 24-hour, 0 = 12-hour; untouched on failure
 *  @return the transfer's result, FW_ABSENT (not alive), or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetRtc1224(uint8_t *mode);
/** Sets the chip's 12/24-hour mode and clears the other writable bits of status register 1. One transfer, 5 ms.
 *  @param mode  1 = 24-hour, 0 = 12-hour; any other: FW_FAIL after the alive check; nothing is written
 *  @return the transfer's result, FW_ABSENT (not alive), or FW_FAIL (mode, node). Thread-safe: yes. */
ZEL_API uint32_t FW_SetRtc1224(const uint8_t *mode);
/** Sets the driver's clock-failure flag.
 *  @param fail  0 or 1; the driver gets any value as it is
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_RTC_Fail_Set(uint8_t fail);
/** Reads the chip once and hands the time to the driver, for FW_GetRtc. Clears the driver's failure flag, or sets it if
 *  the time cannot be read. Two transfers, 5 ms each: the time, then the mode. If the mode cannot be read, the flag
 *  stays clear and the driver gets no time.
 *  @return 0, FW_ABSENT (not alive), FW_FAIL (node), or the failed transfer's or request's result. Thread-safe: yes. */
ZEL_API uint32_t FW_PollRtc(void);
/** @} */

/** @name Temperature sensor
 *  The sensor is an LM75 at 0x9E. Its register 0 has two bytes, of which the upper 9 bits are the temperature in two's
 *  complement, half a degree each (its data sheet). The library does not use its other registers.
 *  @{ */

/** The temperature record, 4 bytes. */
struct temp_record {
  float temperature; /**< degrees Celsius, -128.0 to +127.5 in steps of 0.5 */
};
typedef struct temp_record temp_record; /**< for C, where a type without struct needs it */

/** Reads whether the sensor is alive, as the driver knows it.
 *  @param alive  out: 0 = no, non-zero = yes; 0 if the request fails and the driver wrote nothing
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetLM75_Alive(uint8_t *alive);
/** Reads the temperature that the driver holds: the last one that FW_PollTemperature stored, in any process. First asks
 *  the driver whether the sensor is alive, by a request of its own. Does not access the sensor.
 *  @param rec  out: zeroed when the node is open for the record's request, then filled by the driver
 *  @return the request's result, FW_ABSENT (not alive), or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetTemperature(temp_record *rec);
/** Sets the driver's sensor-failure flag.
 *  @param fail  0 or 1; the driver gets any value as it is
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_Tempereature_Fail_Set(uint8_t fail);
/** Reads the sensor once and hands the temperature to the driver, for FW_GetTemperature. Clears the driver's failure
 *  flag, or sets it if the sensor cannot be read. First asks the driver whether the sensor is alive. One transfer, 5
 *  ms.
 *  @return 0, FW_ABSENT (not alive), FW_FAIL (node), or the failed transfer's or request's result. Thread-safe: yes. */
ZEL_API uint32_t FW_PollTemperature(void);
/** @} */

ZEL_END_DECLS

#endif
