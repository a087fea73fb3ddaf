#pragma once

#include "report_values.h"
#include "state.h"

namespace zelsim::tool {

/** Gives the I/O expanders of a fresh board the registers of a report. Notes lines with levels that no module gives. */
void set_expanders(const Json &report, Board &board, Notes &notes);

}  // namespace zelsim::tool
