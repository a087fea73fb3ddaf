#include <zelboard/flash.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "tool.h"

namespace fs = std::filesystem;

[[noreturn]] static void failOn(const std::string &path) { throw Failure{path + ": " + std::strerror(errno)}; }

FileFigures measure(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) failOn(path);
  FileFigures figures;
  for (std::vector<char> piece(0x10000); file.read(piece.data(), std::ssize(piece)) || file.gcount() > 0;) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(piece.data());
    const auto count = static_cast<uint32_t>(file.gcount());
    figures.size += count;
    figures.crc32 = FW_crc321(figures.crc32, bytes, count);
    figures.sum += dbChecksum(bytes, count);
  }
  if (file.bad()) failOn(path);
  return figures;
}

std::vector<uint8_t> readFile(const std::string &path, uint64_t limit) {
  std::error_code error;
  const uint64_t size = fs::file_size(path, error);
  if (error) throw Failure{path + ": " + error.message()};
  if (size > limit)
    refuseArgument("FILE", path + " has " + std::to_string(size) + " bytes: at most " + std::to_string(limit));
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  std::ifstream file(path, std::ios::binary);
  if (!file.read(reinterpret_cast<char *>(bytes.data()), std::ssize(bytes))) failOn(path);
  return bytes;
}

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
  holdSignals();
  check(file_.start(path_));
}

void OutputFile::write(std::span<const uint8_t> bytes) { check(file_.write(bytes.data(), bytes.size())); }

void OutputFile::commit() { check(file_.commit()); }

void OutputFile::check(int error) const {
  if (error != 0) throw Failure{path_ + ": " + std::strerror(error)};
}

void writeFile(const std::string &path, std::span<const uint8_t> bytes) {
  OutputFile file(path);
  file.write(bytes);
  file.commit();
}
