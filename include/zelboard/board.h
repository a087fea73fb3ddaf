/** @file
 *  Board control through the GPIO driver and the platform tool debugCmd: front-panel LEDs, alarm relay, registers,
 *  system flags, reset, watchdog and power supervision.
 *
 *  Unless a function says otherwise it makes one request to /dev/zel_gpio, which it opens for reading and writing, and
 *  returns the driver's result, FW_FAIL when the node cannot be opened (out-parameters untouched), FW_REFUSED when the
 *  kernel refuses the request. A read that fails after the open writes what the driver left in the record: 0 where it
 *  wrote nothing. No pauses. Pointers must not be null.
 *
 *  A debugCmd line is run by system(3): by /bin/sh, which finds debugCmd through PATH. It takes the time of a shell,
 *  some milliseconds; what the tool prints goes to standard output, and that it fails or is missing goes unseen. */
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
 *  result is FW_FAIL. The byte keeps its value where the driver writes none: after a request that the kernel refuses
 *  the line tells the byte as it stood.
 *  @return the request's result or FW_FAIL. Thread-safe: no (`debug_mode`). */
ZEL_API uint32_t FW_GetDebug_Gpio(void);
/** @} */

/** @name Front-panel LEDs
 *  A read stores the driver's value, unchecked.
 *
 *  A set reads the LED first. A LED that already has the value gives 0 at once, and so does one that cannot be read
 *  when it is asked to be off. Then it makes the set request and, whatever its result, sends the line "debugCmd
 *  sgpio_set GROUP BIT VALUE" to the serial-GPIO chain: always for system and alarm LED, with `mirror` for the others.
 *  A node that does not open gets neither. Reading and setting are two requests with nothing held between them.
 *  Thread-safe: yes.
 *  @{ */

/* Values of the front-panel LEDs. */
#define FW_LED_OFF 0u   /**< off */
#define FW_LED_ON 1u    /**< on */
#define FW_LED_BLINK 2u /**< third state of driver and chain; what it shows is theirs, usually a blink */

/* Argument `mirror` of some set functions. */
#define FW_MIRROR 1u /**< set the LED's position on the serial-GPIO chain, too; any other value does not */

/* The two supplies. */
#define FW_SUPPLY_FIRST 1u /**< supply 1 */
#define FW_SUPPLY_LAST 2u  /**< supply 2 */

/** Reads the system LED.
 *  @param led  out: FW_LED_...
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetSystemLed(uint8_t *led);
/** Sets the system LED and its chain position (1, 3).
 *  @param value  FW_LED_...; low 8 bits count. Above 2: the LED is read, the node opened once more, and FW_FAIL given
 *                without set request or line (0 if the LED reads as that very value)
 *  @return 0 when nothing was to be changed; else the set request's result or FW_FAIL */
ZEL_API uint32_t FW_SetSystemLed(uint32_t value);

/** Reads the alarm LED.
 *  @param led  out: FW_LED_...
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetAlarmLed(uint8_t *led);
/** Sets the alarm LED and its chain position (1, 1).
 *  @param value  as FW_SetSystemLed
 *  @return 0 when nothing was to be changed; else the set request's result or FW_FAIL */
ZEL_API uint32_t FW_SetAlarmLed(uint32_t value);

/** Reads the ring-master LED.
 *  @param led  out: FW_LED_...
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetRingMasterLed(uint8_t *led);
/** Sets the ring-master LED.
 *  @param value   as FW_SetSystemLed
 *  @param mirror  FW_MIRROR = also set the chain position (2, 1)
 *  @return 0 when nothing was to be changed; else the set request's result or FW_FAIL */
ZEL_API uint32_t FW_SetRingMasterLed(uint32_t value, uint32_t mirror);

/** Reads the ring-fail LED.
 *  @param led  out: FW_LED_...
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetRingFailLed(uint8_t *led);
/** Sets the ring-fail LED.
 *  @param value   as FW_SetSystemLed
 *  @param mirror  FW_MIRROR = also set the chain position (2, 3)
 *  @return 0 when nothing was to be changed; else the set request's result or FW_FAIL */
ZEL_API uint32_t FW_SetRingFailLed(uint32_t value, uint32_t mirror);

/** Reads one supply's power LED.
 *  @param supply  1 or 2; another gives FW_FAIL before the open
 *  @param led     out: FW_LED_...
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetPowerLed(uint32_t supply, uint8_t *led);
/** Sets one supply's power LED.
 *  @param supply  1 or 2
 *  @param value   FW_LED_..., the whole word counts; supply or value out of range gives FW_FAIL before anything is
 *                 opened
 *  @param mirror  FW_MIRROR = also set the chain position: (0, 1) for supply 1, (0, 3) for supply 2
 *  @return 0 when nothing was to be changed; else the set request's result or FW_FAIL */
ZEL_API uint32_t FW_SetPowerLed(uint32_t supply, uint32_t value, uint32_t mirror);

/** Reads the speed LED of one 10G port.
 *  @param port  24-27; another gives FW_FAIL before the open
 *  @param led   out: FW_LED_...
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetSfp10gSpeedLed(uint32_t port, uint8_t *led);
/** Sets the speed LED of one 10G port.
 *  @param port    24-27
 *  @param value   FW_LED_..., the whole word counts; port or value out of range gives FW_FAIL before anything is opened
 *  @param mirror  FW_MIRROR = also set the chain position: port 24 (12, 1), 25 (12, 3), 26 (4, 1), 27 (4, 3)
 *  @return 0 when nothing was to be changed; else the set request's result or FW_FAIL */
ZEL_API uint32_t FW_SetSfp10gSpeedLed(uint32_t port, uint32_t value, uint32_t mirror);

/** Lamp test: switches the chain's four test positions off, in the order (5, 1), (13, 1), (5, 3), (6, 1), then some on.
 *  Four to six debugCmd lines, no driver request. The positions stay as they are then: there is no timed restore.
 *  @param mode  0: (5, 1) and (13, 1) on; 1: (5, 3) on; 2: (6, 1) on; 3: all stay off
 *  @return 0; FW_FAIL for a mode above 3, with nothing sent. Thread-safe: yes. */
ZEL_API uint32_t FW_LedTest(uint32_t mode);
/** @} */

/** @name Alarm relay
 *  @{ */

/** Sets the alarm relay, without reading it first. Which contact a state closes is the driver's.
 *  @param state  0 or 1, low 8 bits count; above 1 gives FW_FAIL after the node was opened, without a request
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_SetAlarmRelay(uint32_t state);
/** Reads the alarm relay.
 *  @param state  out: 0 or 1
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetAlarmRelay(uint8_t *state);
/** @} */

/** @name Registers
 *  @{ */

/* How registers are reached. */
#define FW_REGISTER_SOC 0u    /**< SoC register, through the GPIO driver */
#define FW_REGISTER_SWITCH 1u /**< switch-chip register, through debugCmd */
#define FW_PHY_PORT_LAST 25u  /**< last switch port whose PHY debugCmd reaches; the first is 0 */

/** Tells how a register address is reached. An SoC register has 0 in bits 31-24, and in bits 19-12 the number of one of
 *  21 blocks: 0x01, 0x08, 0x10-0x13, 0x18, 0x20-0x23, 0x40, 0x41, 0x71-0x73, 0x75-0x77, 0xD0, 0xF0. The other bits play
 *  no part.
 *  @param address  any 32-bit address
 *  @return FW_REGISTER_SOC or FW_REGISTER_SWITCH. Thread-safe: yes. */
ZEL_API uint32_t CheckSpecialReg(uint32_t address);

/** Reads a register. Prints "reg_mode=0" or "reg_mode=1", its access class, before anything else.
 *  @param address  any
 *  @param value    out: SoC register value; not written for a switch-chip register, whose value debugCmd prints
 *  @return SoC register: the request's result or FW_FAIL; switch-chip register: 1, whatever debugCmd did.
 *          Thread-safe: yes. */
ZEL_API uint32_t FW_GetSpecialRegister(uint32_t address, uint32_t *value);

/** Writes a register; prints nothing of its own.
 *  @param address  any
 *  @param value    any
 *  @return SoC register: the request's result or FW_FAIL; switch-chip register: 0 whatever debugCmd did.
 *          Thread-safe: yes. */
ZEL_API uint32_t FW_SetSpecialRegister(uint32_t address, uint32_t value);

/** Writes a register of a switch port's PHY through debugCmd, whose failure is not seen.
 *  @param port   0-25
 *  @param reg    PHY register number, passed on unchecked
 *  @param value  passed on unchecked
 *  @return 1 once the command was run; FW_FAIL for a port above 25, with nothing run. Thread-safe: yes. */
ZEL_API uint32_t FW_SetPhyRegister(uint32_t port, uint32_t reg, uint32_t value);

/** Lets debugCmd print a register of a switch port's PHY; there is no way to get it as a value.
 *  @param port  0-25
 *  @param reg   PHY register number, passed on unchecked
 *  @return 1 once the command was run; FW_FAIL for a port above 25, with nothing run. Thread-safe: yes. */
ZEL_API uint32_t FW_ShowPhyRegister(uint32_t port, uint32_t reg);
/** @} */

/** @name System flags
 *  The image copies, the three database writes and the dump compare do nothing when the diagnostic and the no-operation
 *  flag are both set, and hold the flash-access flag while they run. The environment write does the former only. The
 *  others that change the flash do neither: raw access, FW_N25Q256A_WriteBoot, the MAC address backup, the partition
 *  table and the custom identity.
 *  @{ */

/** The no-operation flag of this process, 0 or 1; 0 at load. */
extern ZEL_API uint32_t diag_no_operation_flag;

/** Sets the diagnostic flag, which the GPIO driver holds for all processes.
 *  @param flag  0 = off, anything else = on (the driver gets 1)
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_SetSystemDiagFlag(uint32_t flag);
/** Asks for the diagnostic flag.
 *  @return the flag, which is the request's result. A node that does not open gives FW_FAIL and a refused request
 *          FW_REFUSED: both read as set. Thread-safe: yes. */
ZEL_API uint32_t FW_GetSystemDiagFlag(void);

/** Sets `diag_no_operation_flag`.
 *  @param flag  0 = off, anything else = on (stored as 1)
 *  @return 0. Thread-safe: no (`diag_no_operation_flag`). */
ZEL_API uint32_t FW_SetDiagNoOperationFlag(uint32_t flag);
/** Tells `diag_no_operation_flag`.
 *  @return it. Thread-safe: as long as nobody sets it. */
ZEL_API uint32_t FW_GetDiagNoOperationFlag(void);

/** Sets the flash-access flag, which tells all processes that a flash write is in progress.
 *  @param flag  0 = off, anything else = on (the driver gets 1)
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_SetFlashAccessFlag(uint32_t flag);
/** Asks for the flash-access flag.
 *  @return the flag as the driver filled it, 0-255; 0 also when the request failed; FW_FAIL when the node cannot be
 *          opened. Thread-safe: yes. */
ZEL_API uint32_t FW_GetFlashAccessFlag(void);
/** @} */

/** @name Reset and watchdog
 *  What the requests do to the hardware, and when, is the driver's.
 *  @{ */

/** Sets the reset flag.
 *  @param flag  low 8 bits count
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_RstFlagSet(uint32_t flag);
/** Reads the reset-process state.
 *  @param state  out: the driver's byte
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_RstProcGet(uint8_t *state);
/** Reads the reset key.
 *  @param key  out: the driver's byte as a 32-bit word, 0-255
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetRstKey(uint32_t *key);
/** Hardware reset of the switch.
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_HwReset(void);
/** Does nothing: the reset is FW_HwReset.
 *  @return 0. Thread-safe: yes. */
ZEL_API uint32_t FW_SystemReset(void);
/** Hands the on-board expander's first input byte to the driver (see FW_GetExpenderIO).
 *  @param value  low 8 bits count
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_SetIOVal(uint32_t value);

/** Enables the hardware watchdog.
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_Wdt_Enable(void);
/** Toggles the hardware watchdog; whether once, or on and on until FW_Wdt_Toggle_Stop, is the driver's.
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

/* Power modes, of FW_GetPowerMode and FW_Pwr_Flag, with the values of the boot-environment variable "pwrmode". */
#define FW_POWER_AC_DC 0u          /**< one AC and one DC supply, "pwrad" */
#define FW_POWER_TWO_AC 1u         /**< two AC supplies, "pwr2ac" */
#define FW_POWER_TWO_DC 2u         /**< two DC supplies, "pwr2dc" */
#define FW_POWER_ONE_DC 3u         /**< one DC supply, "pwr1dc" */
#define FW_POWER_ONE_AC 4u         /**< one AC supply, "pwr1ac" */
#define FW_POWER_NOT_CONFIGURED 5u /**< nothing declared: the hardware decides. Of FW_Pwr_Flag only */

/** Reads one supply's configuration byte, whose meaning is the driver's.
 *  @param supply  1 or 2; another gives FW_FAIL before the open
 *  @param conf    out
 *  @return the request's result or FW_FAIL. Thread-safe: yes. */
ZEL_API uint32_t FW_GetPowerConf(uint32_t supply, uint8_t *conf);

/** Tells the power mode: the one configured in the boot environment, or, when none is or the environment cannot be
 *  read, the one that the GPIO driver's status byte shows. Slow: reads the 64 KiB of the boot environment on every call
 *  (FW_Pwr_Flag), pauses 10 us for it, and overwrites `env_data` and `env_ptr`.
 *  @param mode  out: FW_POWER_AC_DC to FW_POWER_ONE_AC; written unless the driver was needed and its node did not open
 *  @return 0 when configured; else the request's result (the mode is decoded all the same, from 0 where the driver
 *          wrote nothing) or FW_FAIL. Thread-safe: no (boot environment table). */
ZEL_API uint32_t FW_GetPowerMode(uint8_t *mode);

/** Tells whether a supply is missing: alarm when two supplies are configured, or none configured and two fitted, and
 *  not both are good. Asks the driver first, then the boot environment: slow, with the pause and the overwriting of
 *  FW_GetPowerMode.
 *  @param alarm  out: 1 = alarm, 0 = none; untouched when the node cannot be opened (the environment is then not read)
 *  @return the request's result (the alarm is decided all the same, from status 0 where the driver wrote nothing) or
 *          FW_FAIL. Thread-safe: no (boot environment table). */
ZEL_API uint32_t FW_GetPowerAlarm(uint8_t *alarm);
/** @} */

ZEL_END_DECLS

#endif
