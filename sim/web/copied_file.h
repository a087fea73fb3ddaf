#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "system_calls.h"

namespace zelsim::web {

/** Bytes of the flash that were written one after the other, without a gap. */
struct Run {
  uint32_t start = 0;
  uint32_t end = 0;
  bool is_whole = true;  // false: bytes in front of it were written too, and erased or replaced since
  uint32_t size() const { return end - start; }
};

/** The file that a program copies to the flash. It is known only if the flash proves it: the bytes that were written are the
 *  file's, from its first one on, and the program has read them, and not much more. */
class CopiedFile {
 public:
  /** Looks for the file, or how far its copy is.
   *  @param process  that writes
   *  @param run      what it has written last
   *  @param flash    descriptor of the flash image */
  void look(uint32_t process, const Run &run, int flash);
  bool is_known() const { return file_ != nullptr; }
  const std::string &name() const { return name_; }
  uint64_t size() const { return size_; }
  /** The bytes of the file up to the one that was written last. */
  uint64_t done() const { return compared_.end - base_; }

 private:
  bool holds(const Run &run, int flash);
  void search(uint32_t process, const Run &run, int flash);

  // Open, so that a program may close it before all is written.
  std::shared_ptr<const sys::File> file_;
  std::string name_;
  uint64_t size_ = 0;
  uint32_t base_ = 0;                      // where in the flash the file begins
  Run compared_;                           // the part of the flash that was compared last
  std::optional<uint32_t> unclear_start_;  // of a part of the flash that could be of more than one file
};

}  // namespace zelsim::web
