#pragma once

#include <sys/types.h>

#include <limits>

#include "board.h"

// The flash node is read and written like a file. The descriptor is open on the image file and keeps the position.

namespace zelsim {

/** Stands for the descriptor's own position in flash_read and flash_write. */
constexpr off_t kAtPosition = std::numeric_limits<off_t>::min();

ssize_t flash_read(const Attached &attached, int fd, void *data, size_t size, off_t at);
ssize_t flash_write(const Attached &attached, int fd, const void *data, size_t size, off_t at);
off_t flash_seek(const Attached &attached, int fd, off_t offset, int whence);

/** Erases the sector that holds this address; 0, or -1 with errno. */
int flash_erase(const Attached &attached, int fd, uint32_t address);

}  // namespace zelsim
