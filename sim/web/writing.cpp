#include <fcntl.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "attached.h"
#include "change_text.h"
#include "flash_activity.h"
#include "web.h"

// What is being written to the flash, and of which file.

namespace zelsim::web {
namespace {

namespace fs = std::filesystem;

/** An open file of a process. */
struct OpenFile {
  std::string name;
  uint64_t size;
};

// The system's description of a descriptor has a line for each of these, the flags as an octal number.
bool is_being_read(const fs::path &description) {
  std::ifstream lines(description);
  std::string name;
  uint64_t position = 0;
  unsigned flags = 0;
  lines >> name >> std::dec >> position >> name >> std::oct >> flags;
  bool reads_only = (flags & O_ACCMODE) == O_RDONLY;
  return bool{lines} && reads_only && position > 0;
}

// The flash of a virtual switch is itself a file, beside the board's state.
bool is_of_a_board(const fs::path &file) {
  std::error_code none;
  return fs::exists(file.parent_path().native() + kStateFile, none);
}

// The largest file that the process has begun to read, and has still open; an empty name for none. A process of somebody
// else shows none.
OpenFile source_of_writing(uint32_t process) {
  OpenFile found = {};
  std::error_code none;
  fs::path folder = "/proc/" + std::to_string(process);
  for (const fs::directory_entry &entry : fs::directory_iterator(folder / "fd", none)) {
    if (!fs::is_regular_file(entry.path(), none)) continue;
    uint64_t size = fs::file_size(entry.path(), none);
    bool is_larger = size > found.size && is_being_read(folder / "fdinfo" / entry.path().filename());
    if (!is_larger) continue;
    fs::path file = fs::read_symlink(entry.path(), none);
    bool is_closed = file.empty();  // meanwhile
    if (!is_closed && !is_of_a_board(file)) found = {file.filename(), size};
  }
  return found;
}

}  // namespace

Json writing_document(const WritingNow &writing) {
  Json document = {{"program", writing.program}, {"region", writing.region}, {"written", writing.bytes}};
  if (!writing.is_all) return document;
  OpenFile file = source_of_writing(writing.process);
  // What has written more than the file has does not copy it.
  bool fits = file.size > 0 && writing.bytes <= file.size;
  if (fits) document.update({{"file", file.name}, {"size", file.size}});
  return document;
}

Json writing_now(const Watch &watch) {
  FlashActivity flash;
  uint32_t changes = std::min(watch.logged, uint32_t{kLoggedChanges});
  for (uint32_t place = watch.logged - changes; place != watch.logged; ++place) {
    const Change &change = change_at(watch, place);
    if (is_of_flash(change)) {
      flash.take(change);
    } else {
      flash.end_of(change.process);
    }
  }
  flash.look();
  if (!flash.is_written()) return {};
  WritingNow writing = flash.newest();
  writing.is_all = false;  // a log that is full lacks the beginning
  return writing_document(writing);
}

}  // namespace zelsim::web
