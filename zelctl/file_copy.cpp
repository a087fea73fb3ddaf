#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <thread>

#include "file_figures.h"
#include "records.h"

/** The next bytes of a file, at most as many as the buffer has; none at its end. */
static Bytes next_piece(std::ifstream &file, std::vector<uint8_t> &buffer) {
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
  while (true) {
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

/** Writes the file into the pipe until it ends, a signal waits, or the copy has ended. @return bytes written */
static uint64_t feed(std::ifstream &file, int pipe, Progress &progress) {
  uint64_t taken = 0;
  std::vector<uint8_t> buffer(sector_size());
  while (!interrupted()) {
    const Bytes piece = next_piece(file, buffer);
    if (piece.empty() || !write_all(pipe, piece)) break;
    taken += piece.size();
    progress.at(taken);
  }
  close(pipe);
  return taken;
}

/** What a copy came to. */
struct Outcome {
  uint32_t status;
  uint64_t taken;  // bytes of the file
};

static Outcome copy_through_pipe(const std::string &path, uint64_t size,
                                 const std::function<uint32_t(int file)> &copy) {
  enum { kReadEnd, kWriteEnd };
  constexpr int kSmallest = 4096;  // so that little waits in the pipe
  std::ifstream file(path, std::ios::binary);
  int ends[2] = {-1, -1};
  if (!file || pipe2(ends, O_CLOEXEC) != 0) throw Failure{path + ": " + std::strerror(errno)};
  fcntl(ends[kWriteEnd], F_SETPIPE_SZ, kSmallest);
  start_change();
  Progress progress("program", size);
  Outcome outcome{};
  std::thread feeder([&] { outcome.taken = feed(file, ends[kWriteEnd], progress); });
  outcome.status = copy(ends[kReadEnd]);
  close(ends[kReadEnd]);  // for a copy that did not take it: the feeder ends then
  feeder.join();
  return outcome;
}

void copy_file(const std::string &path, const std::string &target, uint64_t size,
               const std::function<uint32_t(int file)> &copy) {
  const auto [status, taken] = copy_through_pipe(path, size, copy);
  if (status == 0 && taken == size) return;
  std::string why = status_name(status);
  if (status == 0) why = interrupted() ? "interrupted" : path + " changed meanwhile";
  if (taken == 0) throw Failure{why + ": " + target + ": refused, " + kUnchanged, status};
  const std::string first = format("the first 0x%llX of 0x%llX bytes of %s", static_cast<unsigned long long>(taken),
                                   static_cast<unsigned long long>(size), path.c_str());
  if (status == 0) throw Failure{why + ": " + target + " holds " + first + ", verified; the rest is as it was"};
  throw Failure{why + ": " + target + " is damaged: it holds at most " + first + ", not verified", status};
}
