#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
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

OutputFile::OutputFile(const std::string &path) : path_(path), target_(path) {
  std::error_code error;
  // A link stays one: what it points to is replaced, or made.
  for (int links = 0; links < 40 && fs::is_symlink(target_, error); ++links)
    target_ = target_.parent_path() / fs::read_symlink(target_, error);
  struct stat old {};
  const bool exists = stat(target_.c_str(), &old) == 0;
  if (exists && !S_ISREG(old.st_mode)) {
    fd_ = open(target_.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd_ < 0) failOn(path_);
    return;
  }
  if (exists && access(target_.c_str(), W_OK) != 0) failOn(path_);
  if (path.empty() || !target_.has_filename()) {
    errno = path.empty() ? ENOENT : EISDIR;
    failOn(path_);
  }
  holdSignals();
  beside_ = target_.parent_path() / format(".zelctl-%d", static_cast<int>(getpid()));
  unlink(beside_.c_str());  // left by a killed process of this number
  fd_ = open(beside_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd_ < 0) throw Failure{path_ + ": no file can be made beside it: " + std::strerror(errno)};
  if (!exists) return;
  [[maybe_unused]] const int owner = fchown(fd_, old.st_uid, old.st_gid);  // before the mode, whose bits it may clear
  fchmod(fd_, old.st_mode & 07777);
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) close(fd_);
  if (!beside_.empty()) unlink(beside_.c_str());
}

void OutputFile::write(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(fd_, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) failOn(path_);
    bytes = bytes.subspan(static_cast<size_t>(std::max<ssize_t>(count, 0)));
  }
}

void OutputFile::commit() {
  if (!beside_.empty() && fsync(fd_) != 0) failOn(path_);
  if (close(std::exchange(fd_, -1)) != 0) failOn(path_);
  if (beside_.empty()) return;
  if (rename(beside_.c_str(), target_.c_str()) != 0) failOn(path_);
  beside_.clear();
  const int folder = open(target_.has_parent_path() ? target_.parent_path().c_str() : ".", O_RDONLY | O_CLOEXEC);
  if (folder < 0) return;
  fsync(folder);  // some file systems have no such call: the file itself is on the disk
  close(folder);
}

void writeFile(const std::string &path, std::span<const uint8_t> bytes) {
  OutputFile file(path);
  file.write(bytes);
  file.commit();
}
