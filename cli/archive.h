/** @file
 *  Archives that the field's tools unpack: tar (POSIX ustar), compressed by gzip, written piece by piece. */
#ifndef ZELBOARD_CLI_ARCHIVE_H
#define ZELBOARD_CLI_ARCHIVE_H

#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "file.h"

/** Takes the bytes that are written. */
using Sink = std::function<void(Bytes bytes)>;

/** A gzip stream. It contains no time and no file name. */
class GzipWriter {
 public:
  static constexpr int kUsual = -1;
  static constexpr int kQuick = 1;
  explicit GzipWriter(Sink sink, int level = kUsual);
  ~GzipWriter();
  void write(Bytes bytes);
  /** Writes what is left, and the stream's end. */
  void finish();

 private:
  void pass(Bytes bytes, int flush);

  struct Stream;
  const Sink sink_;
  const std::unique_ptr<Stream> stream_;
};

/** A tar archive of files in one folder, written one file after the other. */
class TarWriter {
 public:
  /** All files get this time. Their names in the archive begin with the folder. */
  TarWriter(Sink sink, std::string folder, std::time_t time);
  void add(const std::string &name, Bytes bytes);
  /** Begins a file of `size` bytes. `write` adds them. */
  void begin(const std::string &name, uint64_t size);
  void write(Bytes bytes);
  /** Writes the archive's end. */
  void finish();

 private:
  void fill_block();

  const Sink sink_;
  const std::string folder_;
  const std::time_t time_;
  uint64_t written_ = 0;
};

struct Unpacked {
  std::vector<uint8_t> bytes;
  bool is_whole;  // false: the stream was cut off, and the bytes are those before
};
/** Unpacks a gzip stream. Returns other bytes as they are. Throws a Failure if the stream is damaged, or if it holds more
 *  than `most` bytes. */
Unpacked unpack_what_is_there(std::vector<uint8_t> bytes, size_t most);
/** The same for a caller that needs all of it: throws a Failure if the stream was cut off, too. */
std::vector<uint8_t> unpack_whole(std::vector<uint8_t> bytes, size_t most);

/** The files of a tar archive, by name. The common folder is not part of the names. */
using ArchivedFiles = std::map<std::string, std::vector<uint8_t>>;
ArchivedFiles files_of_tar(Bytes archive);

#endif
