#pragma once

#include "board.h"
#include "report_values.h"

namespace zelsim::tool {

/** Plugs a report's modules into a board. Returns their number. */
unsigned plug_modules(const Json &report, const ArchivedFiles &files, Board &board, Notes &notes);

/** Gives the modules' PHYs the registers of the report. To call after set_expanders: a PHY answers only while its
 *  transmitter is on. */
void set_phys(const Json &report, Board &board, Notes &notes);

/** Gives usual values to modules that were dark when the report was made: they measure them once they have light. To
 *  call after the lines of the cages are set. */
void light_modules(Board &board, Notes &notes);

}  // namespace zelsim::tool
