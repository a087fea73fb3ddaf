/** @file
 *  Board control through the GPIO driver and the platform tool debugCmd: front-panel LEDs, alarm relay, registers,
 *  system flags, reset, watchdog and power supervision.
 *
 *  Unless a function says otherwise, it opens /dev/zel_gpio for reading and writing, makes one request, closes the node
 *  and returns the request's result. That is 0 on success, FW_REFUSED if the kernel refuses the request, else the
 *  driver's own value. If the node does not open, it returns FW_FAIL and leaves out-parameters untouched. If the
 *  request fails, an out-parameter gets what the driver left in the record: 0 where the driver wrote nothing. There are
 *  no pauses. Pointers must not be null.
 *
 *  A debugCmd line is run by system(3), that is, by /bin/sh, which finds debugCmd through PATH. It takes some
 *  milliseconds. What the tool prints goes to standard output. A tool that fails or is missing goes unnoticed. */
#ifndef ZELBOARD_BOARD_H
#define ZELBOARD_BOARD_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Debug mode of the GPIO driver
 *  @{ */

/** Debug mode of the GPIO driver as FW_GetDebug_Gpio last read it: 0 = off, non-zero = on. 0 at load. */
extern ZEL_API uint8_t debug_mode;

/** Sets the GPIO driver's debug mode. `debug_mode` does not change.
 *  @param mode  0 = off, non-zero = on; the driver gets the value as it is
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_SetDebug_Gpio(uint8_t mode);

/** Reads the GPIO driver's debug mode into `debug_mode` and prints "GPIO debug_mode is on" or "... is off". If the
 *  result is FW_FAIL, nothing is printed. If the driver writes no value, `debug_mode` keeps its value; after a request
 *  that the kernel refuses, the line shows that value.
 *  @return the request's result, or FW_FAIL (node). Thread-safe: no (`debug_mode`). */
ZEL_API uint32_t FW_GetDebug_Gpio(void);
/** @} */

/** @name Front-panel LEDs
 *  Each LED has a value in the GPIO driver, and a position (GROUP, BIT) on the serial-GPIO chain, which only debugCmd
 *  reaches.
 *
 *  A read stores the driver's value unchecked.
 *
 *  A set reads the LED and, if the value differs, makes the set request. Whatever the set request's result, it then
 *  runs the line "debugCmd sgpio_set GROUP BIT VALUE": always for the system and the alarm LED, with `mirror` for the
 *  others. If the node does not open, it makes no request and runs no line. It returns 0 if nothing changes. An
 *  unreadable LED counts as off. Reading and setting are two requests: nothing is held between them. Thread-safe: yes.
 *  @{ */

/* Values of the front-panel LEDs. */
#define FW_LED_OFF 0u   /**< off */
#define FW_LED_ON 1u    /**< on */
#define FW_LED_BLINK 2u /**< third state; driver and chain decide what it shows, usually a blink */

/* Argument `mirror` of some set functions. */
#define FW_MIRROR 1u /**< also set the LED's position on the serial-GPIO chain; any other value does not */

/** Reads the system LED.
 *  @param led  out: FW_LED_...
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_GetSystemLed(uint8_t *led);
/** Sets the system LED and its chain position (1, 3).
 *  @param value  FW_LED_...; the low 8 bits count. Above 2 it fails with FW_FAIL: it reads the LED, opens and closes
 *                the node, makes no set request and runs no line. If the LED reads as this same value, it returns 0
 *  @return 0 if nothing changes; else the set request's result, or FW_FAIL (node, value) */
ZEL_API uint32_t FW_SetSystemLed(uint32_t value);

/** Reads the alarm LED.
 *  @param led  out: FW_LED_...
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_GetAlarmLed(uint8_t *led);
/** Sets the alarm LED and its chain position (1, 1).
 *  @param value  as FW_SetSystemLed
 *  @return 0 if nothing changes; else the set request's result, or FW_FAIL (node, value) */
ZEL_API uint32_t FW_SetAlarmLed(uint32_t value);

/** Reads the ring-master LED.
 *  @param led  out: FW_LED_...
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_GetRingMasterLed(uint8_t *led);
/** Sets the ring-master LED.
 *  @param value   as FW_SetSystemLed
 *  @param mirror  FW_MIRROR = also set the chain position (2, 1)
 *  @return 0 if nothing changes; else the set request's result, or FW_FAIL (node, value) */
ZEL_API uint32_t FW_SetRingMasterLed(uint32_t value, uint32_t mirror);

/** Reads the ring-fail LED.
 *  @param led  out: FW_LED_...
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_GetRingFailLed(uint8_t *led);
/** Sets the ring-fail LED.
 *  @param value   as FW_SetSystemLed
 *  @param mirror  FW_MIRROR = also set the chain position (2, 3)
 *  @return 0 if nothing changes; else the set request's result, or FW_FAIL (node, value) */
ZEL_API uint32_t FW_SetRingFailLed(uint32_t value, uint32_t mirror);

/** Reads one supply's power LED.
 *  @param supply  1 or 2; any other: FW_FAIL, nothing opened
 *  @param led     out: FW_LED_...
 *  @return the request's result, or FW_FAIL (supply, node) */
ZEL_API uint32_t FW_GetPowerLed(uint32_t supply, uint8_t *led);
/** Sets one supply's power LED.
 *  @param supply  1 or 2; any other: FW_FAIL, nothing opened
 *  @param value   FW_LED_..., of which all 32 bits count; above 2: FW_FAIL, nothing opened
 *  @param mirror  FW_MIRROR = also set the chain position: (0, 1) for supply 1, (0, 3) for supply 2
 *  @return 0 if nothing changes; else the set request's result, or FW_FAIL (argument, node) */
ZEL_API uint32_t FW_SetPowerLed(uint32_t supply, uint32_t value, uint32_t mirror);

/** Reads the speed LED of one 10G port.
 *  @param port  24-27; any other: FW_FAIL, nothing opened
 *  @param led   out: FW_LED_...
 *  @return the request's result, or FW_FAIL (port, node) */
ZEL_API uint32_t FW_GetSfp10gSpeedLed(uint32_t port, uint8_t *led);
/** Sets the speed LED of one 10G port.
 *  @param port    24-27; any other: FW_FAIL, nothing opened
 *  @param value   FW_LED_..., of which all 32 bits count; above 2: FW_FAIL, nothing opened
 *  @param mirror  FW_MIRROR = also set the chain position: (12, 1) for port 24, (12, 3) for 25, (4, 1) for 26, (4, 3)
 *                 for 27
 *  @return 0 if nothing changes; else the set request's result, or FW_FAIL (argument, node) */
ZEL_API uint32_t FW_SetSfp10gSpeedLed(uint32_t port, uint32_t value, uint32_t mirror);

/** Lamp test: switches four test positions of the chain off, in the order (5, 1), (13, 1), (5, 3), (6, 1), and then
 *  some of them on. Runs four to six debugCmd lines and makes no driver request. The positions stay as they are:
 *  nothing restores them later.
 *  @param mode  0: (5, 1) and (13, 1) on; 1: (5, 3) on; 2: (6, 1) on; 3: all stay off. Above 3: FW_FAIL, nothing run
 *  @return 0, or FW_FAIL (mode). Thread-safe: yes. */
ZEL_API uint32_t FW_LedTest(uint32_t mode);
/** @} */

/** @name Alarm relay
 *  @{ */

/** Sets the alarm relay, without reading it first. The driver decides which contact a state closes.
 *  @param state  0 or 1, of which the low 8 bits count; above 1: FW_FAIL, after the node was opened, without a request
 *  @return the request's result, or FW_FAIL (state, node). Thread-safe: yes. */
ZEL_API uint32_t FW_SetAlarmRelay(uint32_t state);
/** Reads the alarm relay.
 *  @param state  out: 0 or 1
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetAlarmRelay(uint8_t *state);
/** @} */

/** @name Registers
 *  @{ */

/* How registers are reached. */
#define FW_REGISTER_SOC 0u    /**< SoC register, through the GPIO driver */
#define FW_REGISTER_SWITCH 1u /**< switch-chip register, through debugCmd */
#define FW_PHY_PORT_LAST 25u  /**< last switch port whose PHY debugCmd reaches; the first is 0 */

/** Says how a register is reached, by its address alone. Bits 31-24 of an SoC register's address are 0, and bits 19-12
 *  are the number of one of 21 blocks: 0x01, 0x08, 0x10-0x13, 0x18, 0x20-0x23, 0x40, 0x41, 0x71-0x73, 0x75-0x77, 0xD0,
 *  0xF0. The other bits are ignored.
 *  @param address  any 32-bit address
 *  @return FW_REGISTER_SOC or FW_REGISTER_SWITCH. Thread-safe: yes. */
ZEL_API uint32_t CheckSpecialReg(uint32_t address);

/** Reads a register. First prints its access class by printf: "reg_mode=0" (SoC) or "reg_mode=1" (switch chip). If
 *  standard output is not a terminal, the line stays in the C library's buffer and appears behind the lines that
 *  debugCmd prints. Flush standard output, or make it line-buffered, where the order counts.
 *  @param address  any
 *  @param value    out: the SoC register's value. Not written for a switch-chip register: debugCmd prints its value
 *  @return SoC register: the request's result, or FW_FAIL (node). Switch-chip register: 1, whatever debugCmd did.
 *          Thread-safe: yes. */
ZEL_API uint32_t FW_GetSpecialRegister(uint32_t address, uint32_t *value);

/** Writes a register. Prints nothing itself.
 *  @param address  any
 *  @param value    any
 *  @return SoC register: the request's result, or FW_FAIL (node). Switch-chip register: 0, whatever debugCmd did.
 *          Thread-safe: yes. */
ZEL_API uint32_t FW_SetSpecialRegister(uint32_t address, uint32_t value);

/** Writes a register of a switch port's PHY through debugCmd, whose failure goes unnoticed.
 *  @param port   0-25; above: FW_FAIL, nothing run
 *  @param reg    PHY register number, unchecked
 *  @param value  unchecked
 *  @return 1 once the command was run, or FW_FAIL (port). Thread-safe: yes. */
ZEL_API uint32_t FW_SetPhyRegister(uint32_t port, uint32_t reg, uint32_t value);

/** Makes debugCmd print a register of a switch port's PHY. No function returns the value.
 *  @param port  0-25; above: FW_FAIL, nothing run
 *  @param reg   PHY register number, unchecked
 *  @return 1 once the command was run, or FW_FAIL (port). Thread-safe: yes. */
ZEL_API uint32_t FW_ShowPhyRegister(uint32_t port, uint32_t reg);
/** @} */

/** @name System flags
 *  If the diagnostic flag and the no-operation flag are both set, the image copies, the three database writes, the dump
 *  compare and the environment write do nothing and fail. All of them but the environment write hold the flash-access
 *  flag while they run. Every other function that changes the flash looks at no flag and sets none: raw access,
 *  FW_N25Q256A_WriteBoot, the MAC address backup, the partition table and the custom identity.
 *  @{ */

/** The no-operation flag of this process, 0 or 1; 0 at load. */
extern ZEL_API uint32_t diag_no_operation_flag;

/** Sets the diagnostic flag, which the GPIO driver holds for all processes.
 *  @param flag  0 = off, any other = on (the driver gets 1)
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_SetSystemDiagFlag(uint32_t flag);
/** Returns the diagnostic flag, which is the request's result: 0 = off, non-zero = on.
 *  @return the flag. If the node does not open, FW_FAIL; if the kernel refuses the request, FW_REFUSED: both read as
 *          "on". Thread-safe: yes. */
ZEL_API uint32_t FW_GetSystemDiagFlag(void);

/** Sets `diag_no_operation_flag`.
 *  @param flag  0 = off, any other = on (stored as 1)
 *  @return 0. Thread-safe: no (`diag_no_operation_flag`). */
ZEL_API uint32_t FW_SetDiagNoOperationFlag(uint32_t flag);
/** Returns `diag_no_operation_flag`.
 *  @return the flag. Thread-safe: as long as no thread sets it. */
ZEL_API uint32_t FW_GetDiagNoOperationFlag(void);

/** Sets the flash-access flag, which tells all processes that a flash write is in progress.
 *  @param flag  0 = off, any other = on (the driver gets 1)
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_SetFlashAccessFlag(uint32_t flag);
/** Returns the flash-access flag.
 *  @return the byte that the driver left, 0-255; 0 where it wrote nothing. FW_FAIL if the node does not open.
 *          Thread-safe: yes. */
ZEL_API uint32_t FW_GetFlashAccessFlag(void);
/** @} */

/** @name Reset and watchdog
 *  The driver decides what the requests do to the hardware, and when.
 *  @{ */

/** Sets the reset flag.
 *  @param flag  the low 8 bits count
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_RstFlagSet(uint32_t flag);
/** Reads the reset-process state.
 *  @param state  out: the driver's byte
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_RstProcGet(uint8_t *state);
/** Reads the reset key.
 *  @param key  out: the driver's byte as a 32-bit word, 0-255
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetRstKey(uint32_t *key);
/** Resets the switch's hardware.
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_HwReset(void);
/** Does nothing. FW_HwReset makes the reset.
 *  @return 0. Thread-safe: yes. */
ZEL_API uint32_t FW_SystemReset(void);
/** Hands the on-board expander's first input byte to the driver (see FW_GetExpenderIO).
 *  @param value  the low 8 bits count
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_SetIOVal(uint32_t value);

/** Enables the hardware watchdog.
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_Wdt_Enable(void);
/** Toggles the hardware watchdog: once, or again and again until FW_Wdt_Toggle_Stop, as the driver decides.
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_Wdt_Toggle(void);
/** Stops toggling the hardware watchdog.
 *  @return the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_Wdt_Toggle_Stop(void);
/** Prints "Watch Dog Enabled" or "Watch Dog Disabled", by bit 8 of SoC register 0x20300. If the request fails, the
 *  value that the driver left decides: 0 where it wrote nothing.
 *  @return 0, or FW_FAIL (node), with no line. Thread-safe: yes. */
ZEL_API uint32_t FW_Show_Wdt_Status(void);
/** @} */

/** @name Power supervision
 *  @{ */

/* Power modes of FW_GetPowerMode and FW_Pwr_Flag, with the values of the boot-environment variable "pwrmode". */
#define FW_POWER_AC_DC 0u          /**< one AC and one DC supply, "pwrad" */
#define FW_POWER_TWO_AC 1u         /**< two AC supplies, "pwr2ac" */
#define FW_POWER_TWO_DC 2u         /**< two DC supplies, "pwr2dc" */
#define FW_POWER_ONE_DC 3u         /**< one DC supply, "pwr1dc" */
#define FW_POWER_ONE_AC 4u         /**< one AC supply, "pwr1ac" */
#define FW_POWER_NOT_CONFIGURED 5u /**< nothing declared: the hardware decides; only FW_Pwr_Flag returns it */

/* The two supplies. */
#define FW_SUPPLY_FIRST 1u /**< supply 1 */
#define FW_SUPPLY_LAST 2u  /**< supply 2 */

/** Reads one supply's configuration byte. The driver decides what it means.
 *  @param supply  1 or 2; any other: FW_FAIL, nothing opened
 *  @param conf    out: the byte
 *  @return the request's result, or FW_FAIL (supply, node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetPowerConf(uint32_t supply, uint8_t *conf);

/** Reads the power mode: the one that the boot environment declares (FW_Pwr_Flag). If it declares none or cannot be
 *  read, the mode is decoded from the GPIO driver's status byte. Slow: each call reads the 64 KiB of the boot
 *  environment, pauses 10 us, and overwrites `env_data` and `env_ptr`.
 *  @param mode  out: FW_POWER_AC_DC to FW_POWER_ONE_AC. Untouched if the driver is needed and its node does not open.
 *               If the driver's request fails, the mode is decoded from what it left, 0 where it wrote nothing
 *  @return 0 if the environment declares a mode; else the request's result, or FW_FAIL (node). Thread-safe: no (boot
 *          environment table). */
ZEL_API uint32_t FW_GetPowerMode(uint8_t *mode);

/** Says whether a supply is missing. The alarm is on if two supplies are expected and not both are good. Two are
 *  expected if the boot environment declares two; if it declares nothing, the driver's status byte decides. Asks the
 *  driver first, then the boot environment: slow, and with the side effects of FW_GetPowerMode.
 *  @param alarm  out: 1 = alarm, 0 = none. Untouched if the node does not open; the environment is then not read. If
 *                the request fails, the byte that the driver left decides: 0 if it wrote nothing
 *  @return the request's result, or FW_FAIL (node). Thread-safe: no (boot environment table). */
ZEL_API uint32_t FW_GetPowerAlarm(uint8_t *alarm);
/** @} */

ZEL_END_DECLS

#endif
