// The command bridge: what the drivers do not reach is done by the platform tool debugCmd.
#pragma once

namespace zel {

/// Runs one command line through the shell. All arguments are numbers: the line stays far below the buffer's 128 bytes.
/// The exit status is not looked at. What the tool prints goes to the program's standard output.
[[gnu::format(printf, 1, 2)]] void run_command(const char *format, ...);

}  // namespace zel
