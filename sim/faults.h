#pragma once

#include <string>

#include "../cli/output.h"
#include "state.h"

// Faults in words.

namespace zelsim::tool {

/** What `zelsim fail --result` takes for its effects. */
struct NamedEffect {
  const char *name;
  Effect effect;
};
constexpr NamedEffect kNamedEffects[] = {
    {"refused", Effect::Refused}, {"busy", Effect::Busy},   {"closed", Effect::Closed},
    {"killed", Effect::Killed},   {"hangs", Effect::Hangs}, {"nonsense", Effect::Nonsense},
};
/** The names, joined by bars. */
std::string effect_names();

/** A rule, with the target as `zelsim fail` takes it; null for a free or damaged row. */
Json fault_document(const FaultRule &rule);
/** All rules of a board. */
Json faults_of(const Board &board);

}  // namespace zelsim::tool
