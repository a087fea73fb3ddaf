/** @file
 *  Size and checksums of a file, as the library's copies and comparisons use them. */
#ifndef ZELCTL_FILE_FIGURES_H
#define ZELCTL_FILE_FIGURES_H

#include <fstream>

#include "tool.h"

struct FileFigures {
  uint64_t size = 0;
  uint32_t crc32 = 0;
  uint32_t sum = 0;  // of all bytes, wrapping

  void add(Bytes bytes);
};
FileFigures measure_file(const std::string &path);
Json figures_record(const std::string &path, const FileFigures &figures);

/** The next bytes of a file, as many as fit in the buffer; none at the end of the file. */
Bytes next_piece(std::ifstream &file, std::vector<uint8_t> &buffer);

#endif
