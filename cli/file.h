/** @file
 *  Ordinary files. What fails is told with the argument's name, the file's and why. */
#ifndef ZELBOARD_CLI_FILE_H
#define ZELBOARD_CLI_FILE_H

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

using Bytes = std::span<const uint8_t>;

/** A file is replaced as a whole or not at all: a full disk, a signal or a power cut leaves the one that was there. The
 *  new one is written beside the old one, and takes its place once it is whole and on the disk. The mode stays, and a link
 *  still leads to the file. What is no ordinary file, such as a pipe or /dev/full, is written in place. */
class OutputFile {
 public:
  explicit OutputFile(const std::string &path, const std::string &argument = "FILE");
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;
  ~OutputFile();
  void write(Bytes bytes);
  void commit();

 private:
  OutputFile(std::string what, std::filesystem::path target, int fd)
      : what_(std::move(what)), target_(std::move(target)), fd_(fd) {}
  void check(bool done) const;

  const std::string what_;
  std::filesystem::path target_, fresh_;
  int fd_;
};
void write_file(const std::string &path, Bytes bytes, const std::string &argument = "FILE");
/** The same, or to the program's output for "-". */
void write_output(const std::string &path, Bytes bytes, const std::string &argument = "FILE");
/** Writes all, whatever pieces the kernel takes it in. @return false with errno */
bool write_all(int fd, Bytes bytes);

[[noreturn]] void refuse_unreadable(const std::string &path, const std::string &argument = "FILE");
/** Reads a whole file, or standard input for "-"; refuses the argument when it is longer than `most`. */
std::vector<uint8_t> read_file(const std::string &path, size_t most, const std::string &argument = "FILE");
inline Bytes bytes_of(const std::string &text) { return {reinterpret_cast<const uint8_t *>(text.data()), text.size()}; }

#endif
