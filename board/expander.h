// The I/O expanders: a write counts only once it reads back.
#pragma once

namespace zel {

/// How often a register is written at most, until it reads back the value.
inline constexpr int kWriteAttempts = 100;

}  // namespace zel
