#include "file_figures.h"

#include <zelboard/zelboard.h>

#include "flash.h"

Bytes next_piece(std::ifstream &file, std::vector<uint8_t> &buffer) {
  file.read(reinterpret_cast<char *>(buffer.data()), std::ssize(buffer));
  return Bytes(buffer).first(static_cast<size_t>(file.gcount()));
}

void FileFigures::add(Bytes bytes) {
  const auto count = static_cast<uint32_t>(bytes.size());
  size += count;
  crc32 = FW_crc321(crc32, bytes.data(), count);
  sum += dbChecksum(bytes.data(), count);
}

FileFigures measure_file(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) refuse_unreadable(path);
  FileFigures figures;
  std::vector<uint8_t> buffer(sector_size());
  for (;;) {
    const Bytes piece = next_piece(file, buffer);
    if (piece.empty()) break;
    figures.add(piece);
  }
  if (file.bad()) refuse_unreadable(path);
  return figures;
}

Json figures_record(const std::string &path, const FileFigures &figures) {
  return record("file", path, "size", figures.size, "crc32", figures.crc32, "sum", figures.sum);
}
