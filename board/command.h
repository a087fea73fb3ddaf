// The command bridge: what the drivers do not reach is done by the platform tool debugCmd.
#pragma once

#include <stdint.h>

namespace zel {

/// Runs one command line through the shell: `format` with as many of the numbers, signed or not, as it asks for. Numbers
/// only, so a line stays far below the buffer's 128 bytes. The exit status is not looked at; what the tool prints goes to
/// the caller's standard output.
void run_command(const char *format, uint32_t first, uint32_t second = 0, uint32_t third = 0);

}  // namespace zel
