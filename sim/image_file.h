#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>

// The file of a flash image, as the commands change it.

namespace zelsim::tool {

/** Takes room on the disk, so that a full disk is found before anything changes. Returns false with errno. A file system
 *  that cannot take room before a write succeeds here. */
bool take_room(int fd, off_t at, off_t size);

/** Writes all bytes, which a file system may take in several parts. Returns false with errno. */
bool write_image(int fd, std::span<const uint8_t> bytes, off_t at);

/** Makes a stretch of the file zeros: a hole where the file system can. Returns false with errno. */
bool make_hole(int fd, off_t at, off_t size);

/** Throws Failure if the file cannot be opened. */
int open_file(const std::string &path, int flags);

/** Makes the image at `to` equal to the one at `from`. Where the file system can, they share their blocks. What was never
 *  written stays a hole. Throws Failure. */
void copy_image(int from, int to);

/** Takes the room that copy_image() needs, so that a full disk leaves the old contents. Throws Failure. */
void take_room_for(int from, int to);

}  // namespace zelsim::tool
