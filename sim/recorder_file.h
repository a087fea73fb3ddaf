#pragma once

#include <cstddef>

namespace zelsim {

/** Adds a line to the recording. It may stay in memory that zelsim shares for a while. */
void append_line(const char *text, size_t size);

}  // namespace zelsim
