#pragma once

namespace zelsim {

/** Signs this tool's changes with the program that runs it; a shell that system(3) has started does not count. If a
 *  person runs the tool, it signs its changes itself. */
void sign_for_caller();

}  // namespace zelsim
