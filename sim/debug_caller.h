#pragma once

namespace zelsim {

/** Lets the program that runs this tool sign its changes, and not the shell of its `system`. */
void sign_for_caller();

}  // namespace zelsim
