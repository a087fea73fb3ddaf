/** @file
 *  Size and checksums of a file, as the library's copies and compares take them. */
#ifndef ZELCTL_FILE_FIGURES_H
#define ZELCTL_FILE_FIGURES_H

#include "tool.h"

struct FileFigures {
  uint64_t size = 0;
  uint32_t crc32 = 0;
  uint32_t sum = 0;  // of all bytes, wrapping

  void add(Bytes bytes);
};
FileFigures measure_file(const std::string &path);
Json figures_record(const std::string &path, const FileFigures &figures);

/** Hands a file to one of the library's copies, a piece at a time, with progress. If a signal waits the file ends there,
 *  and the copy verifies what it has. Throws unless the target then holds the whole file, and says what it holds.
 *  @param target  what the copy writes to, as people call it
 *  @param copy    takes a descriptor that it closes */
void copy_file(const std::string &path, const std::string &target, uint64_t size,
               const std::function<uint32_t(int file)> &copy);

#endif
