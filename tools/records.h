/** @file
 *  What the tool can tell of each subsystem: commands show it, the panel draws it, the self-test judges it. Nothing here
 *  changes anything on the board. Every function throws a Failure when the board does not answer. */
#ifndef ZELCTL_RECORDS_H
#define ZELCTL_RECORDS_H

#include <zelboard/zelboard.h>

#include "tool.h"

namespace zelctl {

constexpr uint32_t kPorts = 28, kSlots = 3, kPortsPerSlot = 8, kDaughterPorts = kSlots * kPortsPerSlot;

using Record = Json();
Record leds, relay, flags, resetKey, watchdog, power;
Record busBusy, clockMode, temperature, board;
Record flashId, flashRegions, environment, macBackup, identity;
/** The partition table is read without the library's repair of blank slots. */
Record databases;
/** All cages; a copper module's PHY is read, never set up. Moves the cage selection, as every user of a module does. */
Record modules;
/** A register of a switch port's PHY, as debugCmd prints it. */
Json phyRegister(uint32_t port, uint32_t number);
enum class Signals { All, OfModules };  // OfModules: an empty cage's other signals stay null
Json ports(Signals wanted);

/** Name of a power mode, 5 = not configured. */
std::string powerModeName(uint32_t mode);

/* ---- reading the flash ---- */

uint32_t sectorSize();
uint32_t chipSize();
/** Shows progress. */
std::vector<uint8_t> readFlash(uint32_t address, uint32_t length);
bool isErased(std::span<const uint8_t> bytes);

}  // namespace zelctl

#endif
