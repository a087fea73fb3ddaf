// Work on the flash of the virtual switch, beside bare loops that make the same system calls and nothing else.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "zelboard/content.h"
#include "zelboard/flash.h"

namespace {

constexpr char kGpio[] = "/dev/zel_gpio";
constexpr char kFlash[] = "/dev/zel_spi_flash";
constexpr char kImage[] = "image.bin";
constexpr char kDump[] = "dump.bin";

constexpr uint32_t kPage = 256;
constexpr uint32_t kSector = 0x10000;
constexpr uint32_t kSectors = 512;
constexpr uint32_t kImagePieces = 192;
constexpr uint32_t kImage2 = 0x1200000;

// Requests of the GPIO driver and of the flash driver.
constexpr unsigned long kRequestCode = 0x40012400;
constexpr unsigned long kGetDiagFlag = 0xD5;
constexpr unsigned long kSetFlashAccess = 0xD8;
constexpr unsigned long kEraseSector = 0xD1;
constexpr unsigned long kGetChipIndex = 0xDA;
constexpr unsigned long kSetDebugMode = 0xDB;
constexpr unsigned long kSelectLowSegment = 0xDD;

/// A descriptor for a scope.
struct File {
  File(const char *path, int flags) : fd(open(path, flags, 0644)) {}
  ~File() { close(fd); }
  File(const File &) = delete;
  File &operator=(const File &) = delete;
  int fd;
};

std::vector<uint8_t> g_piece(kSector);

void check(benchmark::State &state, bool good) {
  if (!good) state.SkipWithError("the call failed");
}

void ask(const char *node, unsigned long number, uint8_t byte = 0) {
  const File file(node, O_RDWR);
  ioctl(file.fd, kRequestCode | number, &byte);
}

void read_flash(uint32_t at, uint32_t size) {
  const File node(kFlash, O_RDONLY);
  lseek(node.fd, at, SEEK_SET);
  if (read(node.fd, g_piece.data(), size) == kSector) usleep(10);
}

void renew_sector(uint32_t at) {
  {
    const File node(kFlash, O_RDWR);
    lseek(node.fd, at, SEEK_SET);
    ioctl(node.fd, kRequestCode | kEraseSector, nullptr);
  }
  usleep(2);
  {
    const File node(kFlash, O_WRONLY);
    for (uint32_t page = 0; page < kSector; page += kPage) {
      lseek(node.fd, at + page, SEEK_SET);
      if (write(node.fd, &g_piece[page], kPage) != kPage) return;
    }
  }
  usleep(2);
}

/// Reads the next sector of a file.
bool read_sector(const File &file) { return read(file.fd, g_piece.data(), kSector) == kSector; }

bool bare_copy() {
  ask(kFlash, kGetChipIndex);
  ask(kGpio, kGetDiagFlag);
  ask(kGpio, kSetFlashAccess, 1);
  uint32_t at = kImage2;
  {
    const File image(kImage, O_RDONLY);
    for (;;) {
      if (!read_sector(image)) break;
      renew_sector(at);
      usleep(10000);
      at += kSector;
    }
    for (uint32_t from = kImage2; from < at; from += kSector) {
      read_flash(from, kSector);
      usleep(5000);
    }
    ask(kFlash, kSelectLowSegment);
  }
  ask(kGpio, kSetFlashAccess);
  return at == kImage2 + kImagePieces * kSector;
}

bool copy() { return FW_FlashCopy(open(kImage, O_RDONLY), 2) == 0; }

void read_and_select_low(uint32_t at, uint32_t size) {
  read_flash(at, size);
  ask(kFlash, kSelectLowSegment);
}

bool bare_dump() {
  ask(kFlash, kGetChipIndex);
  ask(kFlash, kSetDebugMode, 1);
  {
    const File device(kFlash, O_RDONLY);
    const File file(kDump, O_WRONLY | O_CREAT | O_TRUNC);
    for (uint32_t sector = 0; sector < kSectors; ++sector) {
      read_and_select_low(sector * kSector, kSector);
      usleep(1);
      if (write(file.fd, g_piece.data(), kSector) != kSector) return false;
    }
  }
  {
    const File file(kDump, O_RDONLY);
    ask(kGpio, kGetDiagFlag);
    ask(kGpio, kSetFlashAccess, 1);
    constexpr uint32_t kSpot = 16;
    uint32_t at = 0;
    for (;;) {
      if (!read_sector(file)) break;
      read_and_select_low(at, kSpot);
      read_and_select_low(at + kSector - kSpot, kSpot);
      at += kSector;
    }
  }
  uint32_t pieces = 0;
  {
    const File file(kDump, O_RDONLY);
    for (;;) {
      if (!read_sector(file)) break;
      ++pieces;
    }
  }
  ask(kGpio, kSetFlashAccess);
  ask(kFlash, kSelectLowSegment);
  ask(kFlash, kSetDebugMode);
  return pieces == kSectors;
}

bool dump_in_parts(uint32_t parts) {
  uint32_t good = 0;
  for (uint32_t part = 1; part <= parts; ++part) {
    // The compare after the dump takes this part for the whole flash, and fails.
    uint32_t expected = part == FW_COMPARE_WHOLE ? FW_FAIL : 0;
    if (FW_DumpFlash(kDump, part, parts) == expected) ++good;
  }
  return good == parts;
}

bool dump() { return dump_in_parts(1); }

/// How pauses pass: counted only; slept; slept without the slack that a kernel otherwise adds to sleeps.
enum { kCounted, kSlept, kSleptWithoutSlack };

template <bool (*Work)()>
void measure(benchmark::State &state) {
  // The virtual switch reads it at the next open of a node.
  setenv("ZELSIM_FAST", state.range(0) != kCounted ? "0" : "1", 1);
  prctl(PR_SET_TIMERSLACK, state.range(0) == kSleptWithoutSlack ? 1UL : 0UL);  // 0 is the default
  for (auto _ : state) check(state, Work());
  setenv("ZELSIM_FAST", "1", 1);
}

void dump_growth(benchmark::State &state) {
  for (auto _ : state) check(state, dump_in_parts(static_cast<uint32_t>(state.range(0))));
}

/// Stores an environment of `count` variables in the flash.
void store_variables(int64_t count) {
  constexpr size_t kCrcSize = sizeof(uint32_t);
  std::vector<uint8_t> region(kSector);
  std::string list;
  for (int64_t index = 0; index < count; ++index) {
    list += "name" + std::to_string(1000 + index) + "=a value of usual length" + '\0';
  }
  std::copy(list.begin(), list.end(), region.begin() + kCrcSize);
  const uint32_t crc = FW_crc32(&region[kCrcSize], static_cast<uint32_t>(region.size() - kCrcSize));
  memcpy(region.data(), &crc, sizeof crc);
  FW_SpiFlashEnvWrite(region.data());
}

void update_growth(benchmark::State &state) {
  store_variables(state.range(0));
  for (auto _ : state) check(state, FW_SpiFlash_EnvAdd("name1000", "another value") == 0);
}

void question_growth(benchmark::State &state) {
  store_variables(state.range(0));
  for (auto _ : state) check(state, FW_Pwr_Flag() == 5);
}

}  // namespace

constexpr auto kMs = benchmark::kMillisecond;
void counted(benchmark::internal::Benchmark *work) {
  work->Arg(kCounted)->Unit(kMs)->UseRealTime()->Iterations(1)->Repetitions(20);
}
void slept(benchmark::internal::Benchmark *work) {
  work->Arg(kSlept)->Arg(kSleptWithoutSlack)->Unit(kMs)->UseRealTime()->Iterations(1)->Repetitions(3);
}
BENCHMARK(measure<copy>)->Name("copy/zelboard")->Apply(counted);
BENCHMARK(measure<bare_copy>)->Name("copy/bare")->Apply(counted);
BENCHMARK(measure<dump>)->Name("dump/zelboard")->Apply(counted);
BENCHMARK(measure<bare_dump>)->Name("dump/bare")->Apply(counted);
BENCHMARK(measure<copy>)->Name("slept_copy/zelboard")->Apply(slept);
BENCHMARK(measure<bare_copy>)->Name("slept_copy/bare")->Apply(slept);
BENCHMARK(measure<dump>)->Name("slept_dump/zelboard")->Apply(slept);
BENCHMARK(measure<bare_dump>)->Name("slept_dump/bare")->Apply(slept);
BENCHMARK(dump_growth)->Name("dump_parts")->RangeMultiplier(8)->Range(1, 512)->Unit(kMs)->UseRealTime()->Iterations(1);
BENCHMARK(update_growth)->Name("environment_update")->Arg(1)->Arg(50)->Arg(100)->Arg(200)->Unit(kMs)->UseRealTime();
BENCHMARK(question_growth)->Name("power_question")->Arg(1)->Arg(50)->Arg(100)->Arg(200)->Unit(kMs)->UseRealTime();
