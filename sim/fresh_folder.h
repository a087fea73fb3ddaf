#pragma once

#include <filesystem>
#include <optional>
#include <string>

// Folders in which something new is made aside. They are renamed into place when it is whole.

namespace zelsim::tool {

/** A folder with an owner, who holds it locked while he lives. */
class LockedFolder {
 public:
  explicit LockedFolder(const std::string &path);
  LockedFolder(const LockedFolder &) = delete;
  LockedFolder &operator=(const LockedFolder &) = delete;
  ~LockedFolder();
  /** Becomes the owner if there is none. Returns false if another process is the owner, or if the folder cannot be opened. */
  bool try_to_own();
  /** Becomes the owner. Waits until remove_ownerless_folders() has looked at the folder; it may have removed it. */
  void own();

 private:
  int fd_;
};

/** A new folder within `parent`, which is made if it is missing. It is removed at the end of the scope unless it has been
 *  renamed. */
class FreshFolder {
 public:
  explicit FreshFolder(const std::filesystem::path &parent);
  ~FreshFolder();
  FreshFolder(const FreshFolder &) = delete;
  FreshFolder &operator=(const FreshFolder &) = delete;
  const std::string &path() const { return path_; }

 private:
  std::string path_;
  std::optional<LockedFolder> lock_;
};

/** Removes the fresh folders that killed commands have left in `parent`. */
void remove_ownerless_folders(const std::filesystem::path &parent);

}  // namespace zelsim::tool
