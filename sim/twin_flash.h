#pragma once

#include "report_values.h"

namespace zelsim::tool {

/** Fills the flash image in a board's folder from a report. @return true if the report has the whole flash */
bool fill_flash(const Json &report, const ArchivedFiles &files, const std::string &folder, Notes &notes);

}  // namespace zelsim::tool
