/** @file
 *  What the tool knows about each subsystem: commands show it, the panel draws it, the self-test judges it. No function
 *  here changes a setting of the board; `modules` moves the cage selection. A function throws a Failure if the board
 *  does not answer, unless it says otherwise. */
#ifndef ZELCTL_RECORDS_H
#define ZELCTL_RECORDS_H

#include <zelboard/zelboard.h>

#include "../cli/module_page.h"
#include "flash.h"
#include "tool.h"

/* ---- slots and ports ---- */

/** What a slot holds. The ports of the main board count as cages. */
enum class Fitted { None, Copper, Cages };
/* These throw if the I2C driver does not answer. Other calls of the library then return as if there was no board. */
Fitted fitted_in(uint32_t slot);
Fitted fitted_at(uint32_t port);
/** "none", "copper" or "sfp" */
std::string fitted_name(Fitted fitted);
uint32_t copper_boards();
/** Slot of a daughter board's port. */
constexpr uint32_t slot_of(uint32_t port) { return port / FW_PORTS_PER_SLOT + FW_SLOT_FIRST; }
/** One row for each port. */
Json port_rows(const std::function<Json(uint32_t port, Fitted fitted)> &row);
/** Throws unless the port has a cage. */
void require_cage(uint32_t port);
/** Throws unless the status of a call on a port is 0. The port must have a cage. */
void require_port(uint32_t status, uint32_t port, const char *what);

enum class ReadSignals { All, OfModulesOnly };  // OfModulesOnly: an empty cage is only asked for presence
Json ports(ReadSignals wanted);
/** A signal that cannot be read is null, and its failure is postponed. */
Json port_record(uint32_t port, Fitted fitted, ReadSignals wanted);
Json board();

/* ---- records of several questions ---- */

/** A member of a record that can be asked for alone. */
struct Part {
  const char *key;
  const char *what;  // as people call it
  Json (*ask)();
};
/** Asks for all parts. */
Json whole(std::span<const Part> parts);

/* ---- indicators ---- */

/* The LEDs of the front panel, by number. */
constexpr uint32_t kLedCount = 10;
constexpr const char *kLedStates = "off|on|blink";  // by FW_LED_...
std::string led_name(uint32_t led);
uint8_t led_state(uint32_t led);
Json leds();
Json relay();

/* ---- power, flags and reset ---- */

/** The parts of `power`. */
std::span<const Part> power_parts();
Json power();
constexpr const char *kSupplyTypes = "none|AC|DC";  // by their configuration
uint8_t supply_conf(uint32_t supply);
/** The driver's power status byte. */
uint8_t power_status();
/** What the power status says of a supply. */
bool supply_is_good(uint8_t status, uint32_t supply);
Json flags();
/** Whether the flash-access flag is on. False, too, if the GPIO driver does not answer: the flash can still be read. */
bool flash_is_being_written();
Json reset_key();
constexpr uint32_t kWatchdogRegister = 0x20300;
Json watchdog();

/* ---- clock and temperature ---- */

Json bus_busy();
Json clock_mode();
/** A time like 2026-03-15T14:30:45. */
std::string clock_text(const rtc_tm &tm);
Json held_temperature();
constexpr uint8_t kSensorAddress = 0x9E;  // 8-bit address of the temperature sensor
/** The temperature in the sensor's register, two bytes. */
double degrees_in(Bytes sensor_register);
/** Reads the sensor itself: a poll would change what the driver holds. Nothing if there is no sensor. */
std::optional<double> sensed_degrees();

/* ---- flash and databases ---- */

Json flash_id();
Json flash_regions();
/** All copies of all databases. The partition table is read directly: the library's call would repair blank slots. */
Json databases();
constexpr uint32_t kDatabaseCopies = 5;
std::vector<uint8_t> partition_table();
/** One row of `databases`. */
Json database_row(uint32_t row, std::span<const uint8_t> table);
/** The name of a copy, by its place in `databases`: "gen 1". */
std::string database_name(uint32_t row);

/* ---- boot environment and identity ---- */

Json environment();
/** The state and the variables of the environment's region. */
Json environment_in(std::span<const uint8_t> region);
/** Makes a call of the library that reads the boot environment. Throws if the environment could not be read. */
uint32_t ask_environment(const std::function<uint32_t()> &question);
/** The parts of `identity`. */
std::span<const Part> identity_parts();
Json identity();
Json mac_backup();

/* ---- modules and PHYs ---- */

/** The modules in all cages. Reads a copper module's PHY, but does not set it up. Moves the cage selection. */
Json modules();
/** A register of a switch port's PHY, as debugCmd prints it. */
Json phy_register(uint32_t port, uint32_t number);

/* ---- requests to the GPIO driver ---- */

/** A request to the GPIO driver for which the library has no call.
 *  @param record  of the size that the request has
 *  @return the request's result, or FW_FAIL if the node cannot be opened */
uint32_t gpio_request(uint8_t number, uint8_t *record);

#endif
