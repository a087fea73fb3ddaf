#include "file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "output.h"
#include "program.h"

namespace fs = std::filesystem;

OutputFile::OutputFile(const std::string &path, const std::string &argument)
    : OutputFile(argument + ": cannot write '" + path + "': ", path, -1) {
  hold_signals();
  std::error_code no_link;
  for (int links = 0; links < 40 && fs::is_symlink(target_, no_link); ++links)
    target_ = target_.parent_path() / fs::read_symlink(target_, no_link);
  struct stat old = {};
  const bool exists = stat(target_.c_str(), &old) == 0, beside = !exists || S_ISREG(old.st_mode);
  check(!exists || access(target_.c_str(), W_OK) == 0);
  errno = path.empty() ? ENOENT : EISDIR;
  check(target_.has_filename());
  if (beside) {
    fresh_ = target_.parent_path() / (".new-" + std::to_string(getpid()));
    unlink(fresh_.c_str());  // left by a killed process of this number
  }
  fd_ = open(beside ? fresh_.c_str() : target_.c_str(), O_WRONLY | O_CLOEXEC | (beside ? O_CREAT | O_EXCL : 0), 0666);
  check(fd_ >= 0 && (!beside || !exists || fchmod(fd_, old.st_mode & 07777) == 0));
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) close(fd_);
  if (!fresh_.empty()) unlink(fresh_.c_str());
}

void OutputFile::check(bool done) const {
  if (!done) throw Failure(what_ + std::strerror(errno));
}

void OutputFile::write(Bytes bytes) { check(write_all(fd_, bytes)); }

void OutputFile::commit() {
  check(fresh_.empty() || fsync(fd_) == 0);
  check(close(std::exchange(fd_, -1)) == 0);
  check(fresh_.empty() || rename(fresh_.c_str(), target_.c_str()) == 0);
  fresh_.clear();
}

void write_file(const std::string &path, Bytes bytes, const std::string &argument) {
  OutputFile file(path, argument);
  file.write(bytes);
  file.commit();
}

void write_output(const std::string &path, Bytes bytes, const std::string &argument) {
  if (path != "-") return write_file(path, bytes, argument);
  std::fwrite(bytes.data(), 1, bytes.size(), out);
}

bool write_all(int fd, Bytes bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
  return true;
}

void refuse_unreadable(const std::string &path, const std::string &argument) {
  refuse_argument(argument, "cannot read '" + path + "': " + std::strerror(errno));
}

std::vector<uint8_t> read_file(const std::string &path, size_t most, const std::string &argument) {
  std::ifstream file(path == "-" ? "/dev/stdin" : path, std::ios::binary);
  std::vector<uint8_t> bytes;
  while (file && bytes.size() <= most) {
    const size_t size = bytes.size();
    bytes.resize(size + 0x10000);
    file.read(reinterpret_cast<char *>(bytes.data() + size), 0x10000);
    bytes.resize(size + static_cast<size_t>(file.gcount()));
  }
  if (!file.is_open() || file.bad()) refuse_unreadable(path, argument);
  if (bytes.size() <= most) return bytes;
  refuse_argument(argument, "'" + path + "' has more than " + std::to_string(most) + " bytes");
}
