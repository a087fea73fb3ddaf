#pragma once

#include "board.h"
#include "report_values.h"

namespace zelsim::tool {

/** Plugs a report's modules into a board. Returns their number. */
unsigned plug_modules(const Json &report, const ArchivedFiles &files, Board &board, Notes &notes);

/** Gives the modules' PHYs the registers of the report. The expanders come before: a PHY answers only while its transmitter
 *  is on. */
void set_phys(const Json &report, Board &board, Notes &notes);

/** Gives modules that were dark when the report was made usual values for the time when they have light. The lines of the
 *  cages are set already. */
void light_modules(Board &board, Notes &notes);

}  // namespace zelsim::tool
