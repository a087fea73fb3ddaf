#pragma once

#include "tool.h"

// Faults as `zelsim fail` takes them.

namespace zelsim::tool {

/** The rule that a command line of `zelsim fail` describes. Throws Usage. */
FaultRule rule_of(const CommandLine &line);

}  // namespace zelsim::tool
