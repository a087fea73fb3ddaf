#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// Processes that a program has started and that still run.

namespace zelsim::tool {

/** The running processes that began with an entry like NAME=VALUE in their environment, but not this one. Those of other
 *  users are not seen. */
std::vector<pid_t> processes_with(const std::string &entry);
/** True if this process runs, and began with the entry. */
bool runs_with(pid_t process, const std::string &entry);

}  // namespace zelsim::tool
