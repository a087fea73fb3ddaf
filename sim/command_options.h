#pragma once

#include <CLI/CLI.hpp>

#include "tool.h"

namespace zelsim::tool {

/** Adds a command to the parser. What is typed for it is kept in `line`, and the row itself in `chosen`. All three must
 *  live as long as the parser. */
void add_command(CLI::App &root, const CommandRow &row, CommandLine &line, const CommandRow *&chosen);

/** Adds to each command its own options. Skips commands that were not added. */
void add_options(CLI::App &root, CommandLine &line);

}  // namespace zelsim::tool
