// The I/O expanders: a write counts only once it reads back.
#pragma once

namespace zel {

/// A write is repeated until the register reads back the value, this often at most.
inline constexpr int kWriteAttempts = 100;

}  // namespace zel
