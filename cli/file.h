/** @file
 *  Reading and writing files. An error's line names the argument and the file, and gives the reason. */
#ifndef ZELBOARD_CLI_FILE_H
#define ZELBOARD_CLI_FILE_H

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

using Bytes = std::span<const uint8_t>;

/** Replaces a file as a whole or not at all: a full disk, a signal or a power cut leaves the old file. The new file is
 *  written beside the old one; `commit` puts it on the disk and then in the place of the old one. The mode stays, and a
 *  link still leads to the file. Anything but an ordinary file, such as a pipe or /dev/full, is written in place.
 *
 *  The constructor holds signals (hold_signals in program.h). They stay held after `commit`. */
class OutputFile {
 public:
  explicit OutputFile(const std::string &path, const std::string &argument = "FILE");
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;
  ~OutputFile();
  void write(Bytes bytes);
  void commit();

 private:
  void open_in_place();
  void open_beside(const mode_t *mode);
  /** Throws a Failure that says why. */
  [[noreturn]] void fail(int error) const;
  void check(bool done) const;

  const std::string complaint_;  // what an error's line begins with
  std::filesystem::path target_;
  std::filesystem::path fresh_;  // the new file; empty when the target is written in place
  int fd_ = -1;
};
void write_file(const std::string &path, Bytes bytes, const std::string &argument = "FILE");
/** The same as write_file; "-" writes to the program's output. */
void write_output(const std::string &path, Bytes bytes, const std::string &argument = "FILE");
/** Writes all bytes, in several calls if needed. @return false with errno if that fails */
bool write_all(int fd, Bytes bytes);

/** All that a file in memory holds. */
std::string content_of(int fd);

/** Ends the command with a line that says why the file cannot be read; errno has the reason. */
[[noreturn]] void refuse_unreadable(const std::string &path, const std::string &argument = "FILE");
/** Reads a whole file, or standard input for "-". Refuses a file of more than `most` bytes. */
std::vector<uint8_t> read_file(const std::string &path, size_t most, const std::string &argument = "FILE");
inline Bytes bytes_of(const std::string &text) { return {reinterpret_cast<const uint8_t *>(text.data()), text.size()}; }

#endif
