/** @file
 *  What the tool can tell of each subsystem: commands show it, the panel draws it, the self-test judges it. Nothing here
 *  changes anything on the board. Every function throws a Failure when the board does not answer. */
#ifndef ZELCTL_RECORDS_H
#define ZELCTL_RECORDS_H

#include <zelboard/zelboard.h>

#include "../cli/module_page.h"
#include "flash.h"
#include "tool.h"

/** What a slot holds. The ports of the main board count as cages.
 *  The I2C driver is asked itself, since the library's questions take a driver that is silent for an answer. */
enum class Fitted { None, Copper, Cages };
Fitted fitted_in(uint32_t slot);
Fitted fitted_at(uint32_t port);
/** "none", "copper" or "sfp" */
std::string fitted_name(Fitted fitted);
uint32_t copper_boards();
/** Slot of a daughter board's port. */
constexpr uint32_t slot_of(uint32_t port) { return port / FW_PORTS_PER_SLOT + FW_SLOT_FIRST; }
/** A row for each port, made from what its slot holds. */
Json port_rows(const std::function<Json(uint32_t port, Fitted fitted)> &row);
/** Throws unless the port has a cage. */
void require_cage(uint32_t port);
/** Throws unless the status is 0: of a call on a port that has a cage. */
void require_port(uint32_t status, uint32_t port, const char *what);

using Record = Json();
Record leds, relay, flags, reset_key, watchdog, power, bus_busy, clock_mode, held_temperature, board;
/** Read from the sensor itself: a poll would change what the driver holds. Nothing without a sensor. */
std::optional<double> sensed_degrees();
Record flash_id, flash_regions, environment, mac_backup, identity;
/** What the bytes of the environment's region say. */
Json environment_in(std::span<const uint8_t> region);
/** All copies of all databases. The partition table is read without the library's repair of blank slots. */
Record databases;
constexpr uint32_t kDatabaseCopies = 5;
/** Of a row, by number: "gen 1" */
std::string database_name(uint32_t row);
/** All cages. A copper module's PHY is read, never set up. Moves the cage selection, as every user of a module does. */
Record modules;
/** A register of a switch port's PHY, as debugCmd prints it. */
Json phy_register(uint32_t port, uint32_t number);
/* The LEDs of the front panel, by number. */
constexpr uint32_t kLedCount = 10;
std::string led_name(uint32_t led);
uint8_t led_state(uint32_t led);
uint8_t supply_conf(uint32_t supply);
enum class Signals { All, OfModules };  // OfModules: only presence is read of an empty cage
Json ports(Signals wanted);
/** A signal that cannot be read stays null, and is postponed. */
Json port_record(uint32_t port, Fitted fitted, Signals wanted);

/** Asks what the library answers from the boot environment. Throws when the environment could not be read. */
uint32_t ask_environment(const std::function<uint32_t()> &question);

#endif
