// The fault sweep: every exported function, called in a sound setting, has each of its calls into the system fail once.
// Whatever fails, the function ends, leaks neither a descriptor nor memory (the sanitizer tells), lowers the
// flash-access flag, and reports success only with all of its work done: board, flash, output and what it hands out are
// then as after a run in which nothing failed.
//
// A call fails as the kernel lets it fail, a driver request also with the drivers' own answers. Allocations fail too,
// those of libc on the library's behalf included: malloc and calloc of the test program stand in front of the
// sanitizer's, as its other functions do. close is left out, as nothing that it returns could be acted upon. The flash
// chip is a small one for the time of the sweep, so that whole-flash operations make few calls.
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/mman.h>

#include <algorithm>
#include <csignal>
#include <fstream>

#include "board_test.h"
#include "fault_sweep_settings.h"
#include "pattern.h"
#include "sim/state.h"

namespace {

std::string g_function;  // in the sweep

// Successes that stand although a call failed, because the interface says so: functions, and the call that failed.
const struct {
  const char *functions, *failed;
} kAllowed[] = {
    // Lowering the flash-access flag, and switching the driver's debug mode off, have nobody to report a failure to.
    {".*(FlashCopy|Dump|WriteGen|WriteCustomize|WriteShared|Flash_WriteBoot).*", "open gpio.*|gpio d8 00.*"},
    {"FW_DumpFlash", "open flash.*|flash db 00.*"},
    // Of an erase's results only FW_FAIL is a failure to them, not a refusal by the kernel.
    {".*(PartitionInfo|WriteGen|WriteShared|EnvWrite|A_WriteBoot).*", "flash d1 = (?!ffff$).*"},
    // What debugCmd did is not known, the expander's first byte goes to the driver as it may, and a link is a line of a
    // display.
    {"FW_SetPhyRegister", "shell.*"},
    {"FW_GetExpenderIO", "open gpio.*|gpio 97.*"},
    {"FW_Show_SFP_Moudle", "open.*|gpio 88.*|i2c b0 ac:11.*"},
    // Questions with an answer of their own: no copper board in a slot that cannot be asked, no MAC backup on another
    // chip.
    {"BoardType_Check|.*[GS]etCustomName", "open i2c.*|i2c.*"},
    {"FW_SpiFlash_BackupMacGet", "flash da.*"},
    // The chip question failed: the descriptor is still the caller's.
    {"FW_FlashCopy", "open flash.*|flash da.*"},
};

bool allowed(const std::string &failed) {
  return std::any_of(std::begin(kAllowed), std::end(kAllowed), [&](const auto &rule) {
    return matches(g_function, rule.functions) && matches(failed, rule.failed);
  });
}

// How calls are made to fail: calls of a kind by the kernel, or requests by the driver.
const struct {
  const char *calls;
  uint32_t answer;
  const char *events;
} kWays[] = {{"any", 0, "(open|seek|read|write|shell|gpio|i2c|flash) .*"},
             {"malloc", 0, "none"},
             {"fstat", 0, "none"},
             {"ioctl", FW_FAIL, "(gpio|i2c|flash) .*"},
             {"ioctl", FW_I2C_BUSY, "(gpio|i2c|flash) .*"}};

/// The nth event of those that match; the recording has no line for an allocation.
std::string nth_event(const std::string &recording, int nth, const std::string &events) {
  std::istringstream lines(recording);
  for (std::string line; std::getline(lines, line);) {
    if (matches(line, events) && --nth == 0) return line;
  }
  return "an allocation or fstat";
}

/// What a call left behind, but for the flash, which stays where it is.
struct Outcome {
  uint32_t result;
  std::string events, output;
  Out out;
  zelsim::Board board;

  bool same_work(const Outcome &other) const {
    return output == other.output && memcmp(&out, &other.out, sizeof out) == 0 &&
           memcmp(&board, &other.board, sizeof board) == 0;
  }
};

// Records of a hundred kilobytes, made once: memory that comes and goes by the thousand is what the sanitizer is slow at.
Outcome g_good, g_bad;

class FaultSweep : public BoardTest {
 protected:
  FaultSweep() {
    for (uint32_t entry = 0; entry <= FW_FLASH_MAC_BACKUP; ++entry) flash_def[entry] = entry * kEraseBlock;
    for (uint32_t entry = FW_FLASH_BOOTLOADER_LENGTH; entry < FW_FLASH_WORDS; ++entry) flash_def[entry] = kSector;
    flash_def[FW_FLASH_SECTOR_SIZE] = flash_def[FW_FLASH_GEN_LIMIT] = kSector;
    flash_def[FW_FLASH_SECTORS] = kSectors;
    flash_def[FW_FLASH_COPY_PIECE] = kSector * kSectors;
    flash_def[FW_FLASH_PACKED] = 256 << 16 | 1;
    for (const char *command : {"fit 1 sfp", "fit 2 copper", "plug 3 1g-sx", "plug 25 copper", "set link 25 1000",
                                "set settle 0", "set reset-key 1", "set supply 2 failed"}) {
      sim(command);
    }
    board_ = static_cast<zelsim::Board *>(shared("board/state", sizeof *board_));
    flash_ = static_cast<uint8_t *>(shared("board/flash.inverted", kFlash));
    fill();
    sound_board_ = *board_;
    sound_flash_.assign(flash_, flash_ + kFlash);
  }

  ~FaultSweep() override {
    std::copy(map_.begin(), map_.end(), flash_def);
    munmap(board_, sizeof *board_);
    munmap(flash_, kFlash);
  }

  void *shared(const char *name, size_t size) const {
    const int fd = open(path(name).c_str(), O_RDWR);
    void *const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    return memory;
  }

  /// Everything that a sound setting reads, and something else where it writes.
  void fill() {
    const std::vector<uint8_t> zeros(4 * kSector), whole = pattern(kSector * kSectors);
    for (uint32_t at = 0; at < kFlash; at += kEraseBlock) program(at, zeros);
    std::copy_n(whole.begin(), sizeof g_page, g_page);
    memcpy(g_region + 4, "syswdt=start\0pwrmode=pwr2ac", 28);
    g_env_crc = FW_crc32(g_region + 4, sizeof g_region - 4);
    memcpy(g_region, &g_env_crc, sizeof g_env_crc);
    uint32_t failed = FW_SpiFlashEnvWrite(g_region);
    g_region[kSector - 1] = 1;
    for (const uint32_t partition : {1U, 2U}) failed |= FW_WriteGenDatabase(g_page + 1, 0x300, partition);
    failed |= FW_WriteSharedDatabase(g_page + 1, 0x300);
    failed |= FW_SpiFlash_WriteCustomName("edge", 1) | FW_SpiFlash_SetCustomDesc("by the door");
    failed |= FW_HwReset() | FW_InitOnBoardExpender() | FW_SetPortSfpTxDisable(kCopperPort, 0) | FW_PollRtc() |
              FW_PollTemperature();
    ASSERT_EQ(failed, 0U);
    g_zero_crc = FW_crc32(zeros.data(), 0x500);
    g_sum = dbChecksum(whole.data(), kSector * kSectors);
    g_image = file("image", pattern(700, 2));
    g_whole = file("whole", whole);
    g_chip = file("chip", flash(0, kSector * kSectors));
    g_dump = path("dump");
  }

  /// Gives the blocks that the last call erased or programmed their sound content back. The board has counted both. To compare
  /// the content instead would take longer than all calls of the sweep, on an emulated processor.
  void restore_flash() {
    const zelsim::Flash &now = board_->flash;
    const zelsim::Flash &sound = sound_board_.flash;
    for (size_t block = 0; block < kFlash / kEraseBlock; ++block) {
      const bool is_written = now.erases[block] != sound.erases[block] || now.programs[block] != sound.programs[block];
      if (is_written) memcpy(flash_ + block * kEraseBlock, sound_flash_.data() + block * kEraseBlock, kEraseBlock);
    }
  }

  /// The call from the sound state on.
  void run(const Setting &setting, Outcome &outcome) {
    restore_flash();
    *board_ = sound_board_;
    debug_mode = i2c_debug_mode = spiflash_debug_mode = 0;
    env_convert(g_region + 4);
    g_left_open = false;
    memset(&outcome.out, 0xA5, sizeof outcome.out);
    wire::record();
    outcome.result = setting.call(outcome.out);
    outcome.events = wire::recorded();
    outcome.output = wire::output();
    std::erase_if(outcome.output, isdigit);  // the time of day, of any number of digits
    // Without counters and clocks, and without what debugCmd sets, whose failure nobody sees.
    outcome.board = *board_;
    zelsim::Board &board = outcome.board;
    board.mutex = {};
    board.paused_us = 0;
    board.watch = {};
    memset(board.chain, 0, sizeof board.chain);
    board.flash = {board.flash.chip_index, board.flash.debug, 0, {}, {}, 0, 0};
    memset(board.i2c.rtc_record, 0, sizeof board.i2c.rtc_record);
    board.i2c.clock.shift_us = 0;
    for (zelsim::Cage &cage : board.cages) cage.negotiating_since_us = 0;
  }

  /// A run in which nothing fails; its flash is kept, too.
  void run_well(const Setting &setting) {
    restore_flash();
    EXPECT_EQ(memcmp(flash_, sound_flash_.data(), kFlash), 0)
        << "a call before " << g_function << " wrote what no count shows";
    run(setting, g_good);
    good_flash_.assign(flash_, flash_ + kFlash);
  }

  /// The flash after the last run is as after the one in which nothing failed.
  bool flash_is_good() const { return memcmp(flash_, good_flash_.data(), kFlash) == 0; }

  static int lowest_free_descriptor() {
    const auto fd = static_cast<int>(syscall(SYS_dup, 0));
    syscall(SYS_close, fd);
    return fd;
  }

  const std::vector<uint32_t> map_{flash_def, flash_def + FW_FLASH_WORDS};
  zelsim::Board *board_ = nullptr;
  uint8_t *flash_ = nullptr;
  zelsim::Board sound_board_{};
  std::vector<uint8_t> sound_flash_, good_flash_;
};

TEST_F(FaultSweep, EveryCallOfEveryFunction) {
  signal(SIGALRM, [](int) {
    fprintf(stderr, "%s does not end\n", g_function.c_str());
    abort();
  });
  for (const Setting &setting : kSettings) {
    g_function = setting.name;
    alarm(100);
    wire::reset();
    run_well(setting);
    const bool raises = g_function == "FW_SetFlashAccessFlag";
    EXPECT_EQ(g_good.board.gpio.flash_access_flag, raises) << g_function;
    const int descriptor = lowest_free_descriptor();
    for (const auto &way : kWays) {
      wire::reset();
      run(setting, g_bad);
      for (int n = 1, calls = wire::calls(way.calls); n <= calls; ++n) {
        int requests = 0;
        if (way.answer == 0) wire::fail_call(way.calls, n);
        wire::on_request([&](const wire::Request &) -> std::optional<int> {
          ++requests;
          if (requests != n || way.answer == 0) return std::nullopt;
          return static_cast<int>(way.answer);
        });
        run(setting, g_bad);
        const bool tidy = lowest_free_descriptor() == descriptor && (!g_left_open || g_function == "readFully");
        const bool lowered = raises || g_bad.board.gpio.flash_access_flag == 0;
        const bool honest = g_bad.result != g_good.result || (g_bad.same_work(g_good) && flash_is_good());
        if (tidy && lowered && honest) continue;
        const std::string failed = nth_event(g_bad.events, n, way.events);
        EXPECT_TRUE(allowed(failed)) << g_function << " when call " << n << " fails: " << failed
                                     << (tidy ? "" : ", descriptor left open") << (lowered ? "" : ", flag still raised")
                                     << (honest ? "" : ", success reported") << "\n"
                                     << g_bad.events;
      }
    }
  }
  alarm(0);
}

// The chip's functions follow their fronts in the table; three questions of the map and the MAC backup have none.
TEST_F(FaultSweep, FrontsAskForTheChip) {
  const char map[] = "FW_SpiFlash_Get(Map|Sector).*", mac_backup[] = "FW_SpiFlash_BackupMac.et",
             pair[] = "FW_(SpiFlash_|)(.*) FW_N25Q256A_\\2";
  for (const Setting *front = kSettings; front + 1 != std::end(kSettings); ++front) {
    const bool of_map = matches(front->name, map), of_mac = matches(front->name, mac_backup);
    if (!of_map && !of_mac && !matches(front[0].name + " " + front[1].name, pair)) continue;
    const uint32_t unknown = of_map ? FW_REFUSED : FW_FAIL,
                   other = front->name == "FW_SpiFlash_BackupMacGet" ? 0 : unknown;
    for (const auto &[answer, index, result] : {std::tuple(0, 1, other), {-1, 0xFF, other}, {0xFFFF, 0, unknown}}) {
      wire::on_request([i = index, a = answer](const wire::Request &request) {
        *static_cast<uint8_t *>(request.record) = static_cast<uint8_t>(i);
        return a;
      });
      run(*front, g_bad);
      EXPECT_EQ(g_bad.result, result) << front->name;
      EXPECT_EQ(wire::calls("ioctl"), 1) << front->name << ": nothing follows the question";
    }
  }
}

// Words that make no sense are no reason to divide by zero, to run for ever or to leave anything behind.
TEST_F(FaultSweep, NonsenseInTheTable) {
  for (const auto &[entry, word] : {std::pair(FW_FLASH_SECTOR_SIZE, 0U),
                                    {FW_FLASH_COPY_PIECE, 0U},
                                    {FW_FLASH_COPY_PIECE, 0x80000000U},
                                    {FW_FLASH_PACKED, 0U}}) {
    const uint32_t sound = std::exchange(flash_def[entry], word);
    for (const Setting &setting : kSettings) {
      g_function = setting.name;
      alarm(100);
      const int descriptor = lowest_free_descriptor();
      run(setting, g_bad);
      EXPECT_EQ(g_bad.board.gpio.flash_access_flag, g_function == "FW_SetFlashAccessFlag") << g_function << entry;
      EXPECT_EQ(lowest_free_descriptor(), descriptor) << g_function << entry;
    }
    flash_def[entry] = sound;
  }
  alarm(0);
}

// Data needs no setting.
TEST_F(FaultSweep, EveryExportHasASetting) {
  std::ifstream exports(EXPORTS_FILE);
  size_t functions = 0;
  for (std::string name; std::getline(exports, name);) {
    Dl_info info;
    void *symbol = nullptr;
    ASSERT_NE(dladdr1(dlsym(RTLD_DEFAULT, name.c_str()), &info, &symbol, RTLD_DL_SYMENT), 0) << name;
    const auto has_name = [&](const Setting &setting) { return setting.name == name; };
    if (ELF64_ST_TYPE(static_cast<ElfW(Sym) *>(symbol)->st_info) != STT_FUNC) continue;
    ++functions;
    EXPECT_EQ(std::count_if(std::begin(kSettings), std::end(kSettings), has_name), 1) << name;
  }
  EXPECT_EQ(functions, std::size(kSettings));
}

}  // namespace
