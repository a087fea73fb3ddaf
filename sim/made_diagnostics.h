#pragma once

#include <optional>

#include "../cli/output.h"
#include "diagnostics.h"
#include "modules.h"
#include "tool.h"

// Page A2h of the catalogue's modules; how people set it and see it.

namespace zelsim::tool {

/** Announces page A2h on page A0h of a module of the catalogue. Does nothing for a module without diagnostics. */
void put_diagnostics_bits(MemoryPage &identification, const std::string &module);
/** Page A2h of a module of the catalogue; nothing for a module without diagnostics. */
std::optional<MemoryPage> diagnostics_page(const MemoryPage &identification, const std::string &module);
/** The diagnostics that a module with these pages brings into a cage. Absent if page A0h does not announce page A2h. */
DiagnosticsMemory diagnostics_for_cage(const MemoryPage &identification, const std::optional<MemoryPage> &page);
/** The word that a module usually measures. For a module that is not in the catalogue: the middle between its warning
 *  thresholds.
 *  @param module  its name in the catalogue, or another one */
uint16_t usual_word(const Cage &cage, const std::string &module, Quantity quantity);
/** What the modules measure, in people's units: a row for each module that has diagnostics. */
Json diagnostics_rows(const Board &board);
/** What is set for the modules: what they measure while their lasers are on and light is there. */
Json diagnostics_as_set(const Board &board);
/** Page A2h as a host would read it now. */
std::vector<uint8_t> diagnostics_bytes(const Board &board, unsigned port);
/** The commands that give a module the measured values of `before`. After a plug they set all values, otherwise only
 *  those that differ in `after`. */
Words measured_commands(unsigned port, const Cage &before, const Cage &after, bool plugged_anew);
/** Sets a value that a module measures, from the arguments PORT and VALUE, in people's units. */
void set_measured(const CommandLine &line, Quantity quantity);

}  // namespace zelsim::tool
