#pragma once

#include "report_values.h"

namespace zelsim::tool {

/** Fills the flash image in a board's folder with what a report has of the flash. @return whether that was all of it */
bool fill_flash(const Json &report, const ArchivedFiles &files, const std::string &folder, Notes &notes);

}  // namespace zelsim::tool
