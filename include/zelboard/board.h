/** @file
 *  Board control through the GPIO driver and the platform tool debugCmd: front-panel LEDs, alarm relay, registers,
 *  system flags, reset, watchdog and power supervision.
 *
 *  Unless a function says otherwise it makes one request to /dev/zel_gpio and returns the driver's result, FW_FAIL when
 *  the node cannot be opened (out-parameters untouched), 0xFFFFFFFF when the kernel refuses the request. A read that
 *  fails after the open writes what the driver left in the record: 0 where it wrote nothing. No pauses. */
#ifndef ZELBOARD_BOARD_H
#define ZELBOARD_BOARD_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Debug mode of the GPIO driver
 *  @{ */

/** Debug mode of the GPIO driver as last read by FW_GetDebug_Gpio: 0 = off, non-zero = on. 0 at load. */
extern ZEL_API uint8_t debug_mode;

/** Sets the GPIO driver's debug mode.
 *  @param mode  0 = off, non-zero = on; every value is passed on
 *  @return the request's result or FW_FAIL. Does not change `debug_mode`. Thread-safe: yes. */
ZEL_API uint32_t FW_SetDebug_Gpio(uint8_t mode);

/** Reads the GPIO driver's debug mode into `debug_mode` and prints "GPIO debug_mode is on" or "... is off" unless the
 *  result is FW_FAIL (a request refused by the kernel prints the byte as it stood).
 *  @return the request's result or FW_FAIL. Thread-safe: no (`debug_mode`). */
ZEL_API uint32_t FW_GetDebug_Gpio(void);
/** @} */

/** @name Front-panel LEDs
 *  LED values: 0 off, 1 on, 2 a third state of driver and serial-GPIO chain. A read stores the driver's value.
 *  A set reads the LED first: a LED that already has the value, and an unreadable LED asked for 0, give 0 at once.
 *  Then it sends the request and the line "debugCmd sgpio_set GROUP BIT VALUE" to the serial-GPIO chain, whatever the
 *  request's result. Reading and setting are two requests with nothing held between them. Thread-safe: yes.
 *  @{ */

/** Reads the system LED.
 *  @param led  out: 0-2
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetSystemLed(uint8_t *led);
/** Sets the system LED and its chain position (1, 3).
 *  @param value  0-2, low 8 bits count; above 2 gives FW_FAIL after the node was opened, without request or line
 *  @return 0 when nothing was to be changed; else the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetSystemLed(uint32_t value);

/** Reads the alarm LED.
 *  @param led  out: 0-2
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetAlarmLed(uint8_t *led);
/** Sets the alarm LED and its chain position (1, 1).
 *  @param value  as FW_SetSystemLed
 *  @return 0 when nothing was to be changed; else the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetAlarmLed(uint32_t value);

/** Reads the ring-master LED.
 *  @param led  out: 0-2
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetRingMasterLed(uint8_t *led);
/** Sets the ring-master LED.
 *  @param value   as FW_SetSystemLed
 *  @param mirror  exactly 1 = also set the chain position (2, 1)
 *  @return 0 when nothing was to be changed; else the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetRingMasterLed(uint32_t value, uint32_t mirror);

/** Reads the ring-fail LED.
 *  @param led  out: 0-2
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetRingFailLed(uint8_t *led);
/** Sets the ring-fail LED.
 *  @param value   as FW_SetSystemLed
 *  @param mirror  exactly 1 = also set the chain position (2, 3)
 *  @return 0 when nothing was to be changed; else the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetRingFailLed(uint32_t value, uint32_t mirror);

/** Reads one supply's power LED.
 *  @param supply  1 or 2; another gives FW_FAIL before the open
 *  @param led     out: 0-2
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetPowerLed(uint32_t supply, uint8_t *led);
/** Sets one supply's power LED.
 *  @param supply  1 or 2
 *  @param value   0-2, the whole word counts; supply or value out of range gives FW_FAIL before anything is opened
 *  @param mirror  exactly 1 = also set the chain position (0, 1) or (0, 3)
 *  @return 0 when nothing was to be changed; else the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetPowerLed(uint32_t supply, uint32_t value, uint32_t mirror);

/** Reads the speed LED of one 10G port.
 *  @param port  24-27; another gives FW_FAIL before the open
 *  @param led   out: 0-2
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetSfp10gSpeedLed(uint32_t port, uint8_t *led);
/** Sets the speed LED of one 10G port.
 *  @param port    24-27
 *  @param value   0-2, the whole word counts; port or value out of range gives FW_FAIL before anything is opened
 *  @param mirror  exactly 1 = also set the chain position (12, 1), (12, 3), (4, 1) or (4, 3)
 *  @return 0 when nothing was to be changed; else the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetSfp10gSpeedLed(uint32_t port, uint32_t value, uint32_t mirror);

/** Lamp test: switches the chain's four test positions off, then some on. No driver request, no timed restore.
 *  @param mode  0: (5, 1) and (13, 1) on; 1: (5, 3) on; 2: (6, 1) on; 3: all stay off
 *  @return 0; FW_FAIL for a mode above 3. Thread-safe: yes. */
ZEL_API uint32_t FW_LedTest(uint32_t mode);
/** @} */

/** @name Alarm relay
 *  @{ */

/** Sets the alarm relay, without reading it first.
 *  @param state  0 or 1, low 8 bits count; above 1 gives FW_FAIL after the node was opened
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_SetAlarmRelay(uint32_t state);
/** Reads the alarm relay.
 *  @param state  out: 0 or 1
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetAlarmRelay(uint8_t *state);
/** @} */

/** @name Registers
 *  @{ */

/** Tells how a register address is reached.
 *  @param address  any 32-bit address
 *  @return 0 = SoC register, through the GPIO driver: bits 31-24 are 0 and bits 19-12 name one of 21 SoC blocks;
 *          1 = switch-chip register, through debugCmd. Thread-safe: yes. */
ZEL_API uint32_t CheckSpecialReg(uint32_t address);

/** Reads a register and prints "reg_mode=0" or "reg_mode=1", its access class.
 *  @param address  any
 *  @param value    out: SoC register value; not written for a switch-chip register, whose value debugCmd prints
 *  @return SoC register: the request's result or FW_FAIL; switch-chip register: 1. Thread-safe: yes. */
ZEL_API uint32_t FW_GetSpecialRegister(uint32_t address, uint32_t *value);

/** Writes a register; prints nothing.
 *  @param address  any
 *  @param value    any
 *  @return SoC register: the request's result or FW_FAIL; switch-chip register: 0 whatever debugCmd did. Thread-safe:
 *          yes. */
ZEL_API uint32_t FW_SetSpecialRegister(uint32_t address, uint32_t value);

/** Writes a register of a switch port's PHY through debugCmd, whose failure is not seen.
 *  @param port   0-25
 *  @param reg    PHY register number, passed on unchecked
 *  @param value  passed on unchecked
 *  @return 1 once the command was run; FW_FAIL for a port above 25. Thread-safe: yes. */
ZEL_API uint32_t FW_SetPhyRegister(uint32_t port, uint32_t reg, uint32_t value);

/** Lets debugCmd print a register of a switch port's PHY; there is no way to get it as a value.
 *  @param port  0-25
 *  @param reg   PHY register number, passed on unchecked
 *  @return 1 once the command was run; FW_FAIL for a port above 25. Thread-safe: yes. */
ZEL_API uint32_t FW_ShowPhyRegister(uint32_t port, uint32_t reg);
/** @} */

/** @name System flags
 *  Flash-changing operations do nothing when the diagnostic flag and the no-operation flag are both set, and most hold
 *  the flash-access flag while they run; each says which.
 *  @{ */

/** The no-operation flag of this process, 0 or 1; 0 at load. */
extern ZEL_API uint32_t diag_no_operation_flag;

/** Sets the diagnostic flag, which the GPIO driver holds for all processes.
 *  @param flag  0 = off, anything else = on
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_SetSystemDiagFlag(uint32_t flag);
/** @return the diagnostic flag, which is the request's result; an unopenable node gives FW_FAIL, which reads as set.
 *  Thread-safe: yes. */
ZEL_API uint32_t FW_GetSystemDiagFlag(void);

/** Sets `diag_no_operation_flag`.
 *  @param flag  0 = off, anything else = on
 *  @return 0. Thread-safe: no (`diag_no_operation_flag`). */
ZEL_API uint32_t FW_SetDiagNoOperationFlag(uint32_t flag);
/** @return `diag_no_operation_flag`. */
ZEL_API uint32_t FW_GetDiagNoOperationFlag(void);

/** Sets the flash-access flag, which tells all processes that a flash write is in progress.
 *  @param flag  0 = off, anything else = on
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_SetFlashAccessFlag(uint32_t flag);
/** @return the flash-access flag as the driver filled it, 0 when the request failed; FW_FAIL when the node cannot be
 *  opened. Thread-safe: yes. */
ZEL_API uint32_t FW_GetFlashAccessFlag(void);
/** @} */

/** @name Reset and watchdog
 *  @{ */

/** Sets the reset flag.
 *  @param flag  low 8 bits count
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_RstFlagSet(uint32_t flag);
/** Reads the reset-process state.
 *  @param state  out
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_RstProcGet(uint8_t *state);
/** Reads the reset key.
 *  @param key  out: the driver's byte as a 32-bit word, 0-255
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetRstKey(uint32_t *key);
/** Hardware reset of the switch.
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_HwReset(void);
/** Does nothing (the reset is FW_HwReset).  @return 0 */
ZEL_API uint32_t FW_SystemReset(void);
/** Hands the on-board expander's first input byte to the driver.
 *  @param value  low 8 bits count
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_SetIOVal(uint32_t value);

/** Enables the hardware watchdog.
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_Wdt_Enable(void);
/** Toggles the hardware watchdog.
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_Wdt_Toggle(void);
/** Stops toggling the hardware watchdog.
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_Wdt_Toggle_Stop(void);
/** Prints "Watch Dog Enabled" or "Watch Dog Disabled" from bit 8 of SoC register 0x20300 (a failed request reads 0).
 *  @return 0; FW_FAIL, without a line, when the node cannot be opened. Thread-safe: yes. */
ZEL_API uint32_t FW_Show_Wdt_Status(void);
/** @} */

/** @name Power supervision
 *  @{ */

/** Reads one supply's configuration byte, whose meaning is the driver's.
 *  @param supply  1 or 2; another gives FW_FAIL before the open
 *  @param conf    out
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetPowerConf(uint32_t supply, uint8_t *conf);

/** Tells the power mode: the one configured in the boot environment, or, when none is, the one that the GPIO driver's
 *  status byte shows. Slow: reads and parses the boot environment on every call.
 *  @param mode  out: 0 one AC and one DC supply, 1 two AC, 2 two DC, 3 one DC, 4 one AC; written unless the driver was
 *               needed and its node did not open
 *  @return 0 when configured; else the request's result (the mode is decoded all the same, from 0) or FW_FAIL.
 *  Thread-safe: no (boot environment table). */
ZEL_API uint32_t FW_GetPowerMode(uint8_t *mode);

/** Tells whether a supply is missing: alarm when two supplies are configured, or none configured and two fitted, and
 *  not both are good. Asks the driver first, then the boot environment (slow).
 *  @param alarm  out: 1 = alarm, 0 = none; untouched when the node cannot be opened
 *  @return the request's result or FW_FAIL. Thread-safe: no (boot environment table). */
ZEL_API uint32_t FW_GetPowerAlarm(uint8_t *alarm);
/** @} */

ZEL_END_DECLS

#endif
