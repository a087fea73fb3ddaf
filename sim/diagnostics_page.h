#pragma once

#include <optional>

#include "../cli/output.h"
#include "diagnostics.h"
#include "modules.h"
#include "tool.h"

// Page A2h of the catalogue's modules, what people and weather do to it, and what is shown of it.

namespace zelsim::tool {

/** What page A0h says of page A2h, and page A2h itself, of a module of the catalogue. Some modules have none. */
void announce_diagnostics(ModulePage &identification, const std::string &module);
std::optional<ModulePage> diagnostics_page(const ModulePage &identification, const std::string &module);
/** What goes into a cage of a page A2h; nothing when page A0h does not announce one. */
Diagnostics diagnostics_of(const ModulePage &identification, const std::optional<ModulePage> &page);
/** What the modules measure, as people say it: a row for each that has diagnostics. */
Json diagnostics_of(const Board &board);
/** Page A2h as a host would read it now. */
std::vector<uint8_t> diagnostics_bytes(const Board &board, unsigned port);
/** The commands that make a module measure what it did: all of them for one that is plugged anew, else where `after` has
 *  another value. */
Words measured_commands(unsigned port, const Cage &before, const Cage &after, bool plugged_anew);
/** Sets what a module measures, from arguments PORT and VALUE, as people say it. */
void set_measured(const CommandLine &line, Quantity quantity);

}  // namespace zelsim::tool
