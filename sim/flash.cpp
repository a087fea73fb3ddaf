#include <errno.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

#include "call_names.h"
#include "changes.h"
#include "flash.h"
#include "request.h"
#include "rules.h"
#include "system_calls.h"
#include "trace.h"

// The serial NOR flash and its driver. The image file holds every byte inverted, so that what was never written is a
// hole of the file. Programming only clears bits of the chip, and so only sets bits of the file. Old contents are read
// through the caller's own descriptor, or else through the process's read-only mapping. They are changed through the
// descriptor, so that its access mode counts.

namespace zelsim {
namespace {

constexpr uint32_t kUpperSegment = 0x1000000;
constexpr long kPageProgramNs = 500000;
constexpr long kSectorEraseNs = 700000000;

// An access that reaches the upper segment selects it. Only the request SelectLowerSegment selects the lower one again.
void select_segment(Board &board, int64_t last_address) {
  if (last_address >= kUpperSegment) board.flash.extended_address = 1;
}

void sleep_for(long nanoseconds) {
  if (!is_on(kChipTimesVariable)) return;
  timespec rest = {nanoseconds / 1000000000, nanoseconds % 1000000000};
  for (;;) {
    bool slept = nanosleep(&rest, &rest) == 0;
    if (slept || errno != EINTR) return;
  }
}

int get_identification(Board &, const Request &, uint8_t *record) {
  memcpy(record, kJedecId, sizeof kJedecId);
  return 0;
}

int get_status_register(Board &, const Request &, uint8_t *) { return 0; }

int select_lower_segment(Board &board, const Request &, uint8_t *) {
  board.flash.extended_address = 0;
  return 0;
}

const Request kFlashRequests[] = {
    {0xd1, "EraseSector", Shape::None, kTakes, "", nullptr},
    {0xd2, "GetFlashId", Shape::Identification, kFills, "", get_identification},
    {0xd9, "GetStatusRegister", Shape::None, kTakes, "", get_status_register},
    gets_byte(0xda, "GetChipIndex", "index", offsetof(Board, flash.chip_index)),
    sets_byte(0xdb, "SetDebugMode", "mode", offsetof(Board, flash.debug)),
    gets_byte(0xdc, "GetDebugMode", "mode", offsetof(Board, flash.debug)),
    {0xdd, "SelectLowerSegment", Shape::None, kTakes, "", select_lower_segment},
};

/** Marks this process as a user of the flash for a scope: nobody may replace the whole flash meanwhile. The board's
 *  lock does not prevent that, since the process releases it between two pieces of its change. */
class FlashUse {
 public:
  explicit FlashUse(Board &board) {
    auto own = static_cast<uint32_t>(getpid());
    for (uint32_t &user : board.watch.flash_users) {
      uint32_t none = 0;
      if (!__atomic_compare_exchange_n(&user, &none, own, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST)) continue;
      user_ = &user;
      return;
    }
  }
  ~FlashUse() {
    if (user_ != nullptr) __atomic_store_n(user_, 0, __ATOMIC_SEQ_CST);
  }
  FlashUse(const FlashUse &) = delete;
  FlashUse &operator=(const FlashUse &) = delete;

 private:
  uint32_t *user_ = nullptr;  // null: more processes use the flash than there is room for
};

FaultCall flash_call(Call kind, off_t at, size_t size) {
  FaultCall call = {};
  call.node = Node::Flash;
  call.kind = kind;
  call.has_address = true;
  call.first_address = static_cast<uint32_t>(at);
  call.last_address = call.first_address;
  if (size > 0) call.last_address = static_cast<uint32_t>(call.first_address + size - 1);
  return call;
}

// Counts the call and asks for a fault. Returns how many bytes the call may move: `size`, or fewer if a fault shortens it.
// Returns nothing, with errno, if a fault refuses it.
std::optional<size_t> allowed_size(Board &board, const FaultCall &call, size_t size, TracedAccess &access) {
  count_request(board);
  Fault fault = take_fault(board, call);
  if (!fault.strikes) return size;
  access.fault = fault.rule;
  if (!fault.short_count) {
    errno = fault.error;
    return std::nullopt;
  }
  auto most = static_cast<size_t>(fault.result);
  return std::min(size, most);
}

// Reads a page through the descriptor, or through the mapping if the descriptor is write-only. The mapping is not the
// first choice: touching a hole of it fails on a full disk.
void read_page(const Attached &attached, int fd, uint32_t page, uint8_t *stored) {
  if (sys::pread(fd, stored, kPageSize, page) < 0) memcpy(stored, attached.inverted_flash + page, kPageSize);
}

// One program operation inside the page at `page`. Counts the bytes that were not erased before.
bool program(const Attached &attached, int fd, uint32_t page, uint32_t start, const uint8_t *data, size_t size) {
  uint8_t stored[kPageSize];
  read_page(attached, fd, page, stored);
  uint32_t not_erased = 0;
  for (size_t i = 0; i < size; ++i) {
    uint8_t &cell = stored[(start + i) % kPageSize];
    if (cell != 0 && data[i] != 0xff) ++not_erased;
    cell = static_cast<uint8_t>(cell | ~data[i]);
  }
  if (sys::pwrite(fd, stored, sizeof stored, page) != sizeof stored) return false;
  Flash &flash = attached.board->flash;
  ++flash.programs[page / kSectorSize];
  flash.bytes_programmed += size;
  flash.bytes_not_erased += not_erased;
  return true;
}

// One program operation at an address, under the board's lock.
bool program_at(const Attached &attached, int fd, uint32_t address, const uint8_t *data, size_t size) {
  uint32_t start = address % kPageSize;
  Guard guard(*attached.board);
  select_segment(*attached.board, address);
  if (!program(attached, fd, address - start, start, data, size)) return false;
  log_flash_write(*attached.board, address, static_cast<uint32_t>(size));
  return true;
}

// A call of up to a page is one program operation, whose address wraps inside the page as in the chip. Only a tool makes
// a longer call: it is cut at the page ends.
ssize_t program_all(const Attached &attached, int fd, const uint8_t *data, size_t size, off_t at) {
  FlashUse use(*attached.board);
  bool cut_at_pages = size > kPageSize;
  size_t done = 0;
  while (done < size) {
    auto address = static_cast<uint32_t>(at) + static_cast<uint32_t>(done);
    size_t piece = size - done;
    size_t room = kPageSize - address % kPageSize;
    if (cut_at_pages) piece = std::min(piece, room);
    if (!program_at(attached, fd, address, data + done, piece)) break;
    sleep_for(kPageProgramNs);
    done += piece;
  }
  bool failed = done == 0 && size > 0;
  return failed ? -1 : static_cast<ssize_t>(done);
}

off_t position_of(int fd, off_t at) { return at == kAtPosition ? sys::lseek(fd, 0, SEEK_CUR) : at; }

}  // namespace

RequestTable flash_requests() { return kFlashRequests; }

ssize_t flash_read(const Attached &attached, int fd, void *data, size_t size, off_t at) {
  off_t from = position_of(fd, at);
  ssize_t result = -1;
  TracedAccess access = begin_access();
  std::optional<size_t> wanted = allowed_size(*attached.board, flash_call(Call::Read, from, size), size, access);
  if (wanted) {
    Guard guard(*attached.board);
    if (at == kAtPosition) {
      result = sys::read(fd, data, *wanted);
    } else {
      result = sys::pread(fd, data, *wanted, at);
    }
    if (result > 0) select_segment(*attached.board, from + result - 1);
  }
  auto *bytes = static_cast<uint8_t *>(data);
  for (ssize_t i = 0; i < result; ++i) bytes[i] = static_cast<uint8_t>(~bytes[i]);
  trace(access, result, "flash read 0x%08lx+0x%zx", from, size);
  return result;
}

ssize_t flash_write(const Attached &attached, int fd, const void *data, size_t size, off_t at) {
  off_t from = position_of(fd, at);
  ssize_t result = -1;
  TracedAccess access = begin_access();
  if (from < 0) {
    errno = EINVAL;
  } else if (from >= off_t{kFlashSize}) {
    errno = ENOSPC;
  } else {
    std::optional<size_t> wanted = allowed_size(*attached.board, flash_call(Call::Write, from, size), size, access);
    auto room = static_cast<size_t>(kFlashSize - from);
    if (wanted) result = program_all(attached, fd, static_cast<const uint8_t *>(data), std::min(*wanted, room), from);
  }
  if (result > 0 && at == kAtPosition) sys::lseek(fd, from + result, SEEK_SET);
  trace(access, result, "flash write 0x%08lx+0x%zx", from, size);
  return result;
}

off_t flash_seek(const Attached &attached, int fd, off_t offset, int whence) {
  constexpr size_t kNoBytes = 0;
  off_t result = -1;
  TracedAccess access = begin_access();
  FaultCall call = flash_call(Call::Seek, offset, kNoBytes);
  call.has_address = whence == SEEK_SET;  // other offsets are no addresses
  if (whence > SEEK_END) {
    errno = EINVAL;  // a device has no holes
  } else if (allowed_size(*attached.board, call, kNoBytes, access).has_value()) {
    result = sys::lseek(fd, offset, whence);
  }
  trace(access, result, "flash lseek %s0x%08lx", origin_name(whence), offset);
  return result;
}

int flash_erase(const Attached &attached, int fd, uint32_t address) {
  static const uint8_t erased[kSectorSize] = {};
  uint32_t sector = address / kSectorSize;
  if (sector >= kSectors) {
    errno = EINVAL;
    return -1;
  }
  FlashUse use(*attached.board);
  {
    Guard guard(*attached.board);
    select_segment(*attached.board, address);
    ssize_t written = sys::pwrite(fd, erased, sizeof erased, static_cast<off_t>(sector) * off_t{kSectorSize});
    if (written != sizeof erased) return -1;
    ++attached.board->flash.erases[sector];
    log_flash_erase(*attached.board, sector);
  }
  sleep_for(kSectorEraseNs);
  return 0;
}

}  // namespace zelsim
