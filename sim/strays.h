#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

// Processes that still run, also those that a program has started.

namespace zelsim::tool {

/** True while the process runs. */
bool lives(uint32_t process);
/** The running processes that had this entry, NAME=VALUE, in their environment when they started. This process does not
 *  count. Processes of other users are not seen. */
std::vector<pid_t> processes_with(const std::string &entry);
/** How many processes of a program still run, for a message. */
std::string running_text(size_t count);
/** Waits until these processes with the entry have ended, and those that they have started. A held signal ends the wait;
 *  the processes that still run are then left. */
void wait_for(std::vector<pid_t> &strays, const std::string &entry);

}  // namespace zelsim::tool
