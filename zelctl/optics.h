/** @file
 *  Digital diagnostics of modules, SFF-8472 page A2h, read from the board. Each reading moves the cage selection, as every
 *  use of a module does. A module clears its flags when they are read. */
#ifndef ZELCTL_OPTICS_H
#define ZELCTL_OPTICS_H

#include <array>

#include "../cli/diagnostics_page.h"
#include "board_state.h"

constexpr uint8_t kDiagnosticsMemory = 0xA2;  // 8-bit address of page A2h
constexpr size_t kPageBytes = 256;

/** Selects the cage of a port that has one; throws FW_NOT_SET for an empty cage. */
void select_module(uint32_t port);
/** All bytes of page A0h, or of page A2h. Throws a Failure for an empty cage, and for page A2h where there is none. */
std::vector<uint8_t> identification_page(uint32_t port);
std::vector<uint8_t> diagnostics_page(uint32_t port);
/** Page A0h says that page A2h can be read. */
bool offers_diagnostics(ModulePage identification);
/** The defined halves of both pages of a module with diagnostics. */
struct DiagnosticPages {
  std::array<uint8_t, kPageLength> identification, diagnostics;
};
/** Throws FW_NOT_SET for a module without diagnostics, and for an empty cage. */
DiagnosticPages diagnostic_pages(uint32_t port);
/** They as `sfp dom PORT --json` shows them. */
Json diagnostics_record(uint32_t port, const DiagnosticPages &pages);

/** What a module in a port measures; nothing of one without diagnostics. */
struct Optics {
  uint32_t port;
  std::string which, source;
  bool laser_is_off;  // so that no bias and no power are as they should be
  Diagnostics diagnostics;
  std::string silence;  // why it could not be read
};

/** Whether the flags are read, too, and so cleared. */
enum class Flags { Left, Read };
/** Of all modules that are among a round's readings. A module that was pulled meanwhile is passed over. */
std::vector<Optics> read_optics(Round &round, const std::vector<Reading> &readings, Flags flags);

/** Adds where each value stands in the module's limits to the readings of a round; the flags are left alone. */
void add_optics(Round &round, std::vector<Reading> &readings);
std::string optics_metrics(const std::vector<Optics> &modules);
/** Adds `sfp dom` and `sfp dump`. */
void add_optics_commands(App &sfp);
/** The switch that leaves modules, and so the cage selection, alone. */
void optics_option(App *app);

#endif
