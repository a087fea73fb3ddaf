/** @file
 *  Copies of a file into the flash. */
#ifndef ZELCTL_FILE_COPY_H
#define ZELCTL_FILE_COPY_H

#include "tool.h"

/** Gives a file to one of the library's copies, piece by piece, with progress. If a signal waits the file ends early, and
 *  the copy verifies what it has got. Throws unless the target then holds the whole file; the line says what it holds.
 *  @param target  what the copy writes to, as people call it
 *  @param copy    gets a descriptor. It closes it, unless it refuses the copy. */
void copy_file(const std::string &path, const std::string &target, uint64_t size,
               const std::function<uint32_t(int file)> &copy);

#endif
