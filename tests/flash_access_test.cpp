// Raw access to the flash, its fronts and its map.
#include "board_test.h"

namespace {

using FlashAccess = BoardTest;

uint8_t g_buffer[0x20000];

#define INDEX "open flash rw\nflash da ff>00 = 0\nclose flash\n"
#define LOWER "open flash rw\nflash dd = 0\nclose flash\n"

/// What an operation does when one of its calls fails: its result, whether it asks for a reset of the extended address
/// register, and whether that request is the one that fails.
struct AfterFailure {
  uint32_t result;
  bool resets;
  bool reset_fails;
};

/// The outcome by its letter in a row's `failing`.
AfterFailure after_failure(char letter) {
  switch (letter) {
    case 'F':
      return {FW_FAIL, false, false};
    case 'X':
      return {FW_REFUSED, false, false};
    case 'x':
      return {FW_REFUSED, true, false};
    case 'o':
      return {0, false, false};  // the reset's node is closed
    case '0':
      return {0, true, true};
    default:
      return {0, false, false};  // p: nobody looks at the result
  }
}

// `failing` has a letter for each call that can fail, in order.
TEST_F(FlashAccess, CallsAndTheirFailures) {
  flash_def[18] = 2;  // the chip erase counts the sectors in the table
  const struct {
    const char *name;
    uint32_t (*call)();
    const char *events, *failing;
  } rows[] = {
      {"status register", FW_FlashStatusReg, "open flash rw\nflash d9 = 0\nclose flash\npause 2\n", "pp"},
      {"identification", [] { return FW_GetFlashId(g_buffer + 0x10000); },
       "open flash rw\nflash d2 000000>20ba19 = 0\nclose flash\n", "FX"},
      {"set debug", [] { return FW_SetDebug_SpiFlash(255); }, "open flash rw\nflash db ff = 0\nclose flash\n", "FX"},
      {"read of nothing", [] { return FW_N25Q256A_ReadFlash(0x1000005, 0, g_buffer); },
       "open flash r\nseek 1000005\nread flash 0 = 0\nclose flash\n" LOWER, "FFFo0"},
      {"read of a piece", [] { return FW_N25Q256A_FlashRead(0xFF, 0x10000, g_buffer); },
       "open flash r\nseek ff\nread flash 10000 = 10000\npause 10\nclose flash\n", "FFF"},
      {"read of a piece and a rest", [] { return FW_ReadFlash(0x1FFFFF, 0x1FFFF, g_buffer); },
       INDEX "open flash r\nseek 1fffff\nread flash 10000 = 10000\npause 10\nseek 20ffff\nread flash ffff = ffff\n"
             "close flash\n" LOWER,
       "FFFFFFFo0"},
      {"program up to a page's end", [] { return FW_N25Q256A_FlashWrite(0x1F0, 16, g_buffer); },
       "open flash w\nseek 1f0\nwrite flash 10 = 10\nclose flash\npause 2\n", "FFF"},
      {"program of lead, page and rest", [] { return FW_WriteFlash(0x10, 600, g_buffer); },
       INDEX "open flash w\nseek 10\nwrite flash f0 = f0\nseek 100\nwrite flash 100 = 100\nseek 200\n"
             "write flash 68 = 68\nclose flash\npause 2\n" LOWER "pause 2\n",
       "FFFFFFFFFo0"},
      {"erase", [] { return FW_SpiFlash_SectorErase(0x20000); },
       INDEX "open flash rw\nseek 20000\nflash d1 = 0\nclose flash\npause 2\n" LOWER, "FFFFxo0"},
      {"chip erase", FW_SpiFlash_ChipErase,
       INDEX "open flash rw\nseek 0\nflash d1 = 0\nprint Erase chip [0] percent\\n\npause 1\nseek 10000\nflash d1 = 0\n"
             "print Erase chip [50] percent\\n\npause 1\nclose flash\n" LOWER,
       "FFFFXFXo0"},
  };
  for (const auto &row : rows) {
    uint32_t result = 1;
    EXPECT_EQ(trace(row.call, &result), row.events) << row.name;
    EXPECT_EQ(result, 0U) << row.name;
    EXPECT_EQ(static_cast<size_t>(wire::calls("any")), strlen(row.failing)) << row.name;
    for (int n = 1; row.failing[n - 1] != '\0'; ++n) {
      const AfterFailure outcome = after_failure(row.failing[n - 1]);
      wire::fail_call("any", n);
      const std::string events = trace(row.call, &result);
      const std::string place = row.name + std::to_string(n) + events;
      EXPECT_EQ(result, outcome.result) << place;
      EXPECT_EQ(events.find("flash dd") != events.npos, outcome.resets) << place;
      EXPECT_EQ(events.find("dd = ffffffff\npause 1\nclose flash") != events.npos, outcome.reset_fails) << place;
    }
    wire::reset();
  }
  flash_def[18] = 512;
  wire::fail_call("ioctl", 2);
  EXPECT_EQ(trace(FW_N25Q256A_ChipErase, nullptr, {"open", "seek"}),
            "flash d1 = 0\nprint Erase chip [0] percent\\n\npause 1\nflash d1 = ffffffff\npause 1\nclose flash\n");
  wire::reset();
  sim("fail flash:read --result 3");
  sim("fail flash:write --result 3");
  EXPECT_EQ(FW_ReadFlash(0, 8, g_buffer) | FW_WriteFlash(0, 8, g_buffer), 0U)
      << "short counts are the driver's business";
}

TEST_F(FlashAccess, MapQueries) {
  constexpr uint32_t kRegions[16][2] = {
      {0x200000, 0xC00000},  {0x1200000, 0xC00000}, {0xF40000, 0x40000},  {0x1F40000, 0x40000},
      {0x180000, 0x40000},   {0x0, 0x100000},       {0x100000, 0x10000},  {0xE00000, 0x100000},
      {0x1E00000, 0x100000}, {0xF00000, 0x40000},   {0x1F00000, 0x40000}, {0xF80000, 0x80000},
      {0x140000, 0x40000},   {0x1C0000, 0x10000},   {0x1D0000, 0x10000},  {0x1FE0000, 0x10000}};
  for (const uint32_t added : {0U, 1U}) {  // the table is read anew
    for (uint32_t &word : flash_def) word += added;
    for (uint32_t selector = 0; selector < 18; ++selector) {
      const uint32_t *const region = selector >= 1 && selector <= 16 ? kRegions[selector - 1] : nullptr;
      uint32_t address = 0, length = 0;
      const auto query = [&] {
        return (address = FW_SpiFlash_GetMapAddr(selector)) | (length = FW_SpiFlash_GetMapLen(selector));
      };
      for (const uint8_t mode : std::array<uint8_t, 3>{0, 1, 2}) {
        spiflash_debug_mode = mode;
        trace(query);
        EXPECT_EQ(address, region ? region[0] + added : FW_REFUSED) << selector;
        EXPECT_EQ(length, region ? region[1] + added : FW_REFUSED) << selector;
        EXPECT_EQ(wire::output(), !region && mode == 1 ? "Select address error\nSelect Max Len error\n" : "");
      }
    }
  }
  for (uint32_t &word : flash_def) --word;
}

}  // namespace
