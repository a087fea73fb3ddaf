#include "fake_board.h"

#include <errno.h>
#include <stdarg.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <set>

namespace fake {
namespace {

constexpr int kFirstDescriptor = 1 << 20;  // beyond what the kernel gives
constexpr uint32_t kFlashSize = 0x2000000;
constexpr uint32_t kSector = 0x10000;

// Requests that are answered; all others do nothing.
constexpr uint8_t kSetFlashAccess = 0xD8;
constexpr uint8_t kGetBoardType = 0x96;
constexpr uint8_t kGetBoardAlive = 0xC2;
constexpr uint8_t kReadDevice = 0xB0;
constexpr uint8_t kWriteDevice = 0xB1;
constexpr uint8_t kGetChipIndex = 0xDA;
constexpr uint8_t kEraseSector = 0xD1;

enum Kind { Gpio, I2c, Flash, File, Closed };
constexpr const char *kPaths[] = {"/dev/zel_gpio", "/dev/zel_i2c", "/dev/zel_spi_flash", kFile};

struct Open {
  Kind kind;
  uint32_t position;
};

Board g_board;
std::vector<Open> g_open;
std::set<uint32_t> g_touched;  // sectors
uint32_t g_calls;

void count_call() { ++g_calls; }

/// Whether the call that was counted last is the one to fail.
bool is_failing_call() { return g_calls == g_board.failing_call; }

/// The result of a failed open, read or write.
int fail() {
  errno = EIO;
  return -1;
}

Open *find(int fd) {
  if (fd < kFirstDescriptor) return nullptr;
  const size_t index = static_cast<size_t>(fd) - kFirstDescriptor;
  if (index >= g_open.size() || g_open[index].kind == Closed) return nullptr;
  return &g_open[index];
}

void transfer(bool reads, uint8_t *record) {
  constexpr uint32_t kModule = 0xA0;
  constexpr uint32_t kPhy = 0xAC;
  const uint32_t length = record[128];
  const uint32_t address = record[129];
  const uint32_t offset = record[132];
  require(length <= 128);
  for (uint32_t index = 0; index < length; ++index) {
    if (!reads) {
      g_board.expander = record[index];
    } else if (address == kModule) {
      record[index] = g_board.page[(offset + index) % g_board.page.size()];
    } else if (address == kPhy) {
      record[index] = g_board.phy[(2 * offset + index) % g_board.phy.size()];
    } else {
      record[index] = g_board.expander;
    }
  }
}

void answer(const Open &node, uint8_t number, uint8_t *record) {
  if (node.kind == Gpio && number == kSetFlashAccess) g_board.flash_access = *record;
  if (node.kind == I2c && number == kGetBoardType) record[1] = g_board.board_type;
  if (node.kind == I2c && number == kGetBoardAlive) record[1] = 1;
  if (node.kind == I2c && number == kReadDevice) transfer(true, record);
  if (node.kind == I2c && number == kWriteDevice) transfer(false, record);
  if (node.kind == Flash && number == kGetChipIndex) *record = 0;
  if (node.kind == Flash && number == kEraseSector && node.position < kFlashSize) {
    memset(&g_board.flash[node.position / kSector * kSector], 0xFF, kSector);
  }
}

}  // namespace

Board &reset() {
  std::vector<uint8_t> flash = std::move(g_board.flash);
  if (flash.empty()) flash.assign(kFlashSize, 0xFF);
  for (const uint32_t sector : g_touched) memset(&flash[sector * kSector], 0xFF, kSector);
  g_touched.clear();
  g_calls = 0;
  g_board = {};
  g_board.flash = std::move(flash);
  return g_board;
}

void store(uint32_t address, const std::vector<uint8_t> &bytes) {
  if (bytes.empty()) return;
  const auto last = static_cast<uint32_t>(address + bytes.size() - 1);
  std::copy(bytes.begin(), bytes.end(), &g_board.flash.at(address));
  for (uint32_t sector = address / kSector; sector <= last / kSector; ++sector) g_touched.insert(sector);
}

void check_released() {
  for (const Open &one : g_open) require(one.kind == Closed);
  require(g_board.failing_call != 0 || g_board.flash_access == 0);
  g_open.clear();
}

}  // namespace fake

using namespace fake;

// Descriptors that are not ours are the fuzzer's own.
extern "C" {

int open(const char *path, int, ...) {
  const auto *const found = std::find_if(kPaths, std::end(kPaths), [=](auto *known) { return !strcmp(known, path); });
  if (found == std::end(kPaths)) return fail();
  count_call();
  if (is_failing_call()) return fail();
  g_open.push_back({static_cast<Kind>(found - kPaths), 0});
  return kFirstDescriptor + static_cast<int>(g_open.size()) - 1;
}

int close(int fd) {
  Open *const node = find(fd);
  if (node == nullptr) return static_cast<int>(syscall(SYS_close, fd));
  node->kind = Closed;
  return 0;
}

int ioctl(int fd, unsigned long code, ...) {
  va_list arguments;
  va_start(arguments, code);
  auto *const record = va_arg(arguments, uint8_t *);
  va_end(arguments);
  if (find(fd) == nullptr) return g_board.failure;
  count_call();
  if (is_failing_call()) return g_board.failure;
  answer(*find(fd), static_cast<uint8_t>(code), record);
  return 0;
}

off_t lseek(int fd, off_t offset, int whence) {
  Open *const node = find(fd);
  if (node == nullptr) return syscall(SYS_lseek, fd, offset, whence);
  node->position = static_cast<uint32_t>(offset);
  return offset;
}

ssize_t read(int fd, void *buffer, size_t size) {
  Open *const node = find(fd);
  if (node == nullptr) return syscall(SYS_read, fd, buffer, size);
  count_call();
  if (is_failing_call()) return fail();
  const std::vector<uint8_t> &source = node->kind == Flash ? g_board.flash : g_board.file;
  const size_t at = std::min<size_t>(node->position, source.size());
  const size_t limit = node->kind == File && g_board.short_read != 0 ? g_board.short_read : size;
  const size_t count = std::min({size, limit, source.size() - at});
  memset(buffer, 0, size);  // lets the sanitizer see a buffer that is too small, however short the count
  std::copy_n(source.begin() + static_cast<ptrdiff_t>(at), count, static_cast<uint8_t *>(buffer));
  node->position += static_cast<uint32_t>(count);
  return static_cast<ssize_t>(count);
}

ssize_t write(int fd, const void *buffer, size_t size) {
  Open *const node = find(fd);
  if (node == nullptr) return fail();
  count_call();
  if (is_failing_call()) return fail();
  if (node->position > kFlashSize - size) return fail();
  const auto *const bytes = static_cast<const uint8_t *>(buffer);
  std::vector<uint8_t> cells(bytes, bytes + size);
  for (size_t index = 0; index < size; ++index) cells[index] &= g_board.flash[node->position + index];
  store(node->position, cells);
  node->position += static_cast<uint32_t>(size);
  return static_cast<ssize_t>(size);
}

int usleep(useconds_t) { return 0; }
int system(const char *) { return 0; }
}
