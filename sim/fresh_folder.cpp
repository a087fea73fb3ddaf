#include "fresh_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>

#include "system_calls.h"
#include "tool.h"

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

constexpr char kFreshFolder[] = ".new-XXXXXX";  // the letters are replaced
constexpr std::string_view kPrefix = ".new-";

}  // namespace

LockedFolder::LockedFolder(const std::string &path) : fd_(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

LockedFolder::~LockedFolder() {
  if (fd_ >= 0) close(fd_);
}

bool LockedFolder::try_to_own() { return fd_ >= 0 && flock(fd_, LOCK_EX | LOCK_NB) == 0; }

void LockedFolder::own() { sys::lock_file(fd_, LOCK_EX); }

FreshFolder::FreshFolder(const fs::path &parent) {
  std::error_code ignored;
  fs::create_directories(parent, ignored);
  for (;;) {
    path_ = parent / kFreshFolder;
    if (mkdtemp(path_.data()) == nullptr) fail_to("make " + path_);
    lock_.emplace(path_);
    lock_->own();
    bool was_removed = !fs::exists(path_);  // before it had an owner
    if (!was_removed) return;
  }
}

FreshFolder::~FreshFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void remove_ownerless_folders(const fs::path &parent) {
  std::error_code ignored;
  for (const fs::directory_entry &entry : fs::directory_iterator(parent, ignored)) {
    if (!entry.path().filename().native().starts_with(kPrefix)) continue;
    LockedFolder folder(entry.path());
    if (folder.try_to_own()) fs::remove_all(entry.path(), ignored);
  }
}

}  // namespace zelsim::tool
