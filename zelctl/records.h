/** @file
 *  What the tool can tell of each subsystem: commands show it, the panel draws it, the self-test judges it. Nothing here
 *  changes anything on the board. Every function throws a Failure when the board does not answer. */
#ifndef ZELCTL_RECORDS_H
#define ZELCTL_RECORDS_H

#include <zelboard/zelboard.h>

#include "../cli/module_page.h"
#include "tool.h"

constexpr uint32_t kPorts = FW_PORTS, kSlots = FW_SLOT_LAST, kPortsPerSlot = FW_PORTS_PER_SLOT,
                   kDaughterPorts = FW_PORT_FIRST_10G;

/** What a slot holds, or the cages of the main board count as; throws when the I2C driver does not tell. The library's
 *  questions take a driver that is silent for an answer. */
enum class Fitted { None, Copper, Cages };
Fitted fitted_in(uint32_t slot);
Fitted fitted_at(uint32_t port);
uint32_t copper_boards();
/** A row for each port, made from what its slot holds. */
Json port_rows(const std::function<Json(uint32_t port, Fitted fitted)> &row);
/** Throws unless the port has a cage. */
void require_cage(uint32_t port);
/** The same for what a call on a port with a cage answers. */
void require_port(uint32_t status, uint32_t port, const char *what);

using Record = Json();
Record leds, relay, flags, reset_key, watchdog, power;
/** Read from the sensor, since a poll would hand it to the driver; nothing without a sensor. */
std::optional<double> sensed_degrees();
Record bus_busy, clock_mode, temperature, board;
Record flash_id, flash_regions, environment, mac_backup, identity;
/** What the bytes of the environment's region say. */
Json environment_in(std::span<const uint8_t> region);
/** The partition table is read without the library's repair of blank slots. */
Record databases;
/** All cages; a copper module's PHY is read, never set up. Moves the cage selection, as every user of a module does. */
Record modules;
/** A register of a switch port's PHY, as debugCmd prints it. */
Json phy_register(uint32_t port, uint32_t number);
/** The LEDs of the front panel, by number. */
constexpr uint32_t kLedCount = 10;
const char *led_name(uint32_t led);
uint8_t led_state(uint32_t led);
uint8_t supply_conf(uint32_t supply);
enum class Signals { All, OfModules };  // OfModules: an empty cage's other signals stay null
Json ports(Signals wanted);
/** A signal that cannot be read stays null, and is postponed. */
Json port_record(uint32_t port, Fitted fitted, Signals wanted);

/** A board question that the boot environment answers: throws when the environment could not be read. */
uint32_t ask_environment(const std::function<uint32_t()> &question);

/* ---- reading the flash ---- */

uint32_t sector_size();
uint32_t chip_size();
/** Of a map selector, FW_REGION_...; throws when the chip is not known. */
uint32_t region_start(uint32_t selector);
uint32_t region_length(uint32_t selector);
/** A piece of the flash, and what people call it. */
struct Span {
  uint32_t start, length;
  std::string name;
};
/** Regions by number: those with a map selector in its order, then the test area. Nothing for what is no code, no name. */
std::optional<uint32_t> region_named(const std::string &text);
Span region_span(uint32_t number);
/** All codes, separated by bars. */
std::string region_codes();
/** Index of the region in `flash_regions` that holds an address, and its name; the number of regions for none. */
size_t region_at(const Json &map, uint32_t byte);
std::string region_name(const Json &map, uint32_t byte);
/** What a signal that ends a piece of work leaves. */
constexpr const char *kUnchanged = "nothing was changed", *kPartly = "what follows is as it was",
                     *kUnverified = "all was written, but not read back whole";
/** Shows progress. */
std::vector<uint8_t> read_flash(uint32_t address, uint32_t length, const char *left = kUnchanged);
/** Works through a span by sectors and shows how far it is. A signal that waits ends it between two. */
using Piece = std::function<void(uint32_t at, uint32_t count)>;
void in_pieces(const char *what, uint32_t start, uint32_t span, const char *left, const Piece &piece);
/** Before the library changes what it guards by its flags: throws when a driver does not answer, then holds signals. */
void start_change();
/** Shows what a change of the flash would do: one letter a sector, from the one at `start` on: 's'ame, 'w'rite,
 *  'e'rase and write, 'x' for an erase alone. */
void show_plan(uint32_t start, uint32_t end, const std::string &actions);
/** Every sector is read: one may begin erased and yet hold data. With `library` what that prints. */
void show_map(bool library);
void show_sector(uint32_t sector, bool library);
/** The library takes a short count for a success; here it is a failure. */
void read_piece(uint32_t at, std::span<uint8_t> bytes);
/** A little-endian word. */
uint32_t word_at(std::span<const uint8_t> bytes, size_t at);
bool is_erased(std::span<const uint8_t> bytes);

#endif
