/** @file
 *  Digital diagnostics of modules, SFF-8472 page A2h, read from the board. Reading a module moves the cage selection. */
#ifndef ZELCTL_OPTICS_H
#define ZELCTL_OPTICS_H

#include "board_state.h"
#include "module_memory.h"

/** All bytes of page A0h. Throws a Failure for an empty cage. */
WholePage whole_identification(uint32_t port);
/** All bytes of page A2h. Throws a Failure also for a module without diagnostics. */
WholePage whole_diagnostics(uint32_t port);
/** The lower halves of both pages. */
struct LowerHalves {
  LowerHalf identification;
  LowerHalf diagnostics;
};
/** Throws FW_NOT_SET for a module without diagnostics, and for an empty cage. */
LowerHalves lower_halves(uint32_t port);
/** Both pages as `sfp dom PORT --json` shows them. */
Json diagnostics_record(uint32_t port, const LowerHalves &pages);

/** What the module in a port measures. */
struct Optics {
  uint32_t port = 0;
  std::string which;  // the port as text
  Source source;
  std::string vendor;
  std::string part_number;
  std::string serial_number;
  bool measures = false;  // it has diagnostics
  Diagnostics diagnostics{};
  bool laser_is_off = false;  // bias and power are then not as usual
  std::string silence;        // why it could not be read
};

/** Whether the flags are read, too. Reading clears them. */
enum class Flags { Left, Read };
/** Reads all modules that are among a round's readings. Skips a module that was pulled meanwhile. */
std::vector<Optics> read_optics(Round &round, const std::vector<Reading> &readings, Flags flags);

/** True for the reading "port N module". */
bool is_module_reading(const Reading &reading);

/** Adds to the readings of a round where each measured value stands in the module's limits. Does not read the flags:
 *  reading clears them, and then nobody else sees them. */
void add_optics(Round &round, std::vector<Reading> &readings);
std::string optics_metrics(const std::vector<Optics> &modules);
/** Adds `sfp dom` and `sfp dump`. */
void add_optics_commands(App &sfp);
/** The switch --no-optics: `read_optics` then reads nothing, and the cage selection does not move.
 *  @param flags  what happens to the modules' flags otherwise; help says so */
void optics_option(App *app, Flags flags);

#endif
