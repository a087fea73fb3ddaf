#pragma once

#include <string>
#include <vector>

#include "board.h"

// The calls that a fault can strike.

namespace zelsim::tool {

/** A call that programs can make on a node, with all addresses that it can have. */
struct Callable {
  std::string name;
  FaultCall call;
  std::vector<std::string> fields;  // of a request's record
};

/** All calls on all nodes, and the commands of debugCmd. */
std::vector<Callable> callables();

/** True if a rule for `target` can be for calls on the node of this one. */
bool is_on_node(const FaultCall &target, const Callable &callable);

}  // namespace zelsim::tool
