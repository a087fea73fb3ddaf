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

/** Takes what is written. */
using Sink = std::function<void(Bytes bytes)>;

/** A gzip stream, which does not tell when or where it was made. */
class GzipWriter {
 public:
  explicit GzipWriter(Sink sink);
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

/** Files of one folder, one after the other. */
class TarWriter {
 public:
  /** All files get this time; the folder's name stands before theirs. */
  TarWriter(Sink sink, std::string folder, std::time_t time);
  void add(const std::string &name, Bytes bytes);
  /** A file of `size` bytes, which are written next. */
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

/** What a gzip stream holds; other bytes as they are. Throws a Failure when it is damaged, or holds more than `most`. */
std::vector<uint8_t> unpacked(std::vector<uint8_t> bytes, size_t most);

/** The files of a tar archive by their names, without the folder that all of them are in. */
using ArchivedFiles = std::map<std::string, std::vector<uint8_t>>;
ArchivedFiles files_of_tar(Bytes archive);

#endif
