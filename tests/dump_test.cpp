// Dump and compare of the flash, sector map and sector print.

#include "board_test.h"
#include "pattern.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Dump = BoardTest;

TEST_F(Dump, WholeAndParts) {
  const std::string name = path("dump");
  program(0x1540000, pattern(300));
  for (const auto &[part, total, first, count] : {std::array{1U, 1U, 0U, 512U}, {3, 3, 340, 170}, {512, 512, 511, 1}}) {
    uint32_t result = 1;
    const auto call = [&, p = part, t = total] { return FW_DumpFlash(name.c_str(), p, t); };
    std::string events = trace(call, &result, {"gpio", "open", "close"}), output = wire::output();
    const size_t percents = output.find("Dump flash i"), last = output.rfind("Dump flash i");
    EXPECT_TRUE(events.starts_with("flash da ff>00 = 0\nflash db 01 = 0\n") && events.ends_with("flash db 00 = 0\n"));
    char expected[300];
    snprintf(expected, sizeof expected,
             "open file[%s]\nstart_sector=%u total_secotr=%u\nStart Dump flash %u of %u\nDump flash image file [%u] "
             "percent\n"
             "Dump Finish\nComp dump file...\n\nComp dump file Complete...\nFile size=0x%08x CheckSum=0x%08x\n",
             name.c_str(), first, count, part, total, 100 * (count - 1) / count, count << 16,
             dbChecksum(flash(first << 16, count << 16).data(), count << 16));
    EXPECT_EQ(output.erase(percents, last - percents), expected);
    EXPECT_EQ(result, 0U) << total;
  }
  EXPECT_EQ(trace([] { return FW_N25Q256A_DumpFlash("", 0, 2); }), "print Part number must be 1~2\\n\n");
  EXPECT_EQ(FW_DumpFlash(name.c_str(), 3, 2), FW_REFUSED);
  for (const uint8_t mode : Bytes{0, 2, 1}) {
    spiflash_debug_mode = mode;
    EXPECT_EQ(result_of([&] { return FW_DumpFlash(name.c_str(), 1, 513); }), FW_FAIL);
    EXPECT_EQ(wire::output().ends_with("\nComp dump file fail\n"), mode == 1) << +mode;
  }
}

TEST_F(Dump, OneSectorOnTheWire) {
  const std::string reset = "open flash rw\nflash dd = 0\nclose flash\n", name = path("dump");
  const auto dump = [&] { return FW_N25Q256A_DumpFlash(name.c_str(), 2, 512); };
  std::string events = replaced(trace(dump), reset, "RESET\n");
  events = replaced(events, name, "NAME");
  events = replaced(events, "print File size.*\n|(open|close) gpio.*\n", "");
  EXPECT_EQ(events,
            "open flash r\nprint open file[NAME]\\n\nopen FILE w\nprint start_sector=1 total_secotr=1\\n\nprint Start "
            "Dump flash 2 of 512\\n\n"
            "open flash r\nseek 10000\nread flash 10000 = 10000\npause 10\nclose flash\nRESET\n"
            "print Dump flash image file [0] percent\\n\npause 1\nwrite FILE 10000 = 10000\nputs Dump Finish\n"
            "close flash\nclose FILE\nopen FILE r\ngpio d5 00 = 0\ngpio d8 01 = 0\nputs Comp dump file...\n"
            "read FILE 10000 = 10000\nopen flash r\nseek 10000\nread flash 10 = 10\nclose flash\nRESET\n"
            "open flash r\nseek 1fff0\nread flash 10 = 10\nclose flash\nRESET\nread FILE 10000 = 0\nclose FILE\n"
            "open FILE r\nread FILE 10000 = 10000\nread FILE 10000 = 0\nclose FILE\ngpio d8 00 = 0\n"
            "puts \\nComp dump file Complete...\nRESET\n");
  wire::fail_call("read", 1);
  EXPECT_EQ(result_of(dump), FW_FAIL);
  EXPECT_TRUE(wire::output().ends_with("Start Dump flash 2 of 512\n"));
}

TEST_F(Dump, Compare) {
  Bytes good = pattern(0x20000);
  std::fill_n(good.begin(), 16, uint8_t{0});  // as a spot that cannot be read
  for (const uint32_t at : {0U, 0x80000U}) program(at, good);
  const auto compare = [&](size_t changed, size_t size, uint32_t part, uint32_t total) {
    Bytes bytes = good;
    bytes.resize(0x30000, 0xFF);
    bytes[changed] = static_cast<uint8_t>(bytes[changed] ^ 1);
    bytes.resize(size);
    const std::string name = file("file", bytes);
    uint32_t result = 2;
    const std::string events = trace([&] { return FW_N25Q256A_DumpComp(name.c_str(), part, total); }, &result);
    return std::pair(result, events.empty() ? "refused" : wire::output().substr(0, 42));
  };
  const std::string start = "Comp dump file...\n", fail = start + "\nComp dump file fail...\n";
  EXPECT_EQ(compare(0x10010, 0x20000, 5, 256), std::pair(0U, start + "\nComp dump file Complete"))
      << "unseen difference";
  EXPECT_EQ(compare(0x1000F, 0x20000, 5, 256), std::pair(FW_FAIL, start)) << "first spot";
  EXPECT_EQ(compare(0x1FFF0, 0x20000, 5, 256), std::pair(FW_FAIL, start)) << "last spot";
  EXPECT_EQ(compare(0x2FFFF, 0x1FFFF, 5, 256), std::pair(FW_FAIL, start)) << "short piece";
  EXPECT_EQ(compare(0x2FFFF, 15, 5, 256), std::pair(FW_FAIL, start)) << "shorter than a spot";
  EXPECT_EQ(compare(0x2FFFF, 0x10000, 5, 256), std::pair(FW_FAIL, fail)) << "a sector less";
  EXPECT_EQ(compare(0x20010, 0x30000, 5, 256), std::pair(FW_FAIL, fail)) << "a sector more";
  EXPECT_EQ(compare(0x10010, 0x20000, 255, 256), std::pair(FW_FAIL, fail)) << "from the start, but not the whole flash";
  for (const int nth : {1, 2, 7, 10}) {  // of the file, of a spot, where either pass would see the end
    wire::fail_call("read", nth);
    EXPECT_EQ(compare(0x10010, 0x20000, 5, 256), std::pair(FW_FAIL, start)) << nth;
  }
  wire::reset();
  EXPECT_EQ(compare(0x2FFFF, 0, 1, 513), std::pair(FW_FAIL, fail)) << "empty part";
  wire::fail_call("open", 12);  // to read the file from the start again
  compare(0x10010, 0x20000, 5, 256);
  EXPECT_EQ(wire::output(), start + "FW_N25Q256A_DumpComp() Open image file " + path("file") + " fail\n");
  wire::reset();
  spiflash_debug_mode = 1;
  EXPECT_EQ(result_of([&] { return FW_N25Q256A_DumpComp(path("gone").c_str(), 1, 1); }), FW_REFUSED);
  EXPECT_EQ(wire::output(), "Open restore file fail\n");
  FW_SetSystemDiagFlag(1);
  FW_SetDiagNoOperationFlag(1);
  EXPECT_EQ(compare(0x10010, 0x20000, 5, 256), std::pair(FW_REFUSED, std::string())) << "diagnostic flags";
  for (const auto &[part, total] : {std::pair(0U, 256U), {257, 256}, {1, 0}}) {
    EXPECT_EQ(compare(0x10010, 0x20000, part, total), std::pair(FW_FAIL, std::string("refused")));
  }
}

TEST_F(Dump, SectorMapAndPrint) {
  const std::pair<uint32_t, const char *> regions[] = {
      {17, "B  "},  {1, "E  "},   {2, "U  "},  {4, "Pt "}, {4, "BS "}, {1, "CI "}, {1, "P  "},
      {2, "U  "},   {192, "I1 "}, {16, "D1 "}, {4, "C1 "}, {8, "P1 "}, {8, "S  "}, {28, "U  "},
      {192, "I2 "}, {16, "D2 "},  {4, "C2 "},  {4, "P2 "}, {6, "U  "}, {1, "M  "}, {1, "T  "}};
  std::string map = "\n  |0  1  2  3  4  5  6  7  8  9  A  B  C  D  E  F  \n--|" + std::string(48, '-') + "\n";
  uint32_t sector = 0;
  for (auto [count, code] : regions) {
    for (; count != 0; --count, ++sector) {
      const bool seems_erased = sector == 0xFD;
      program((sector << 16) + (seems_erased ? 16 : 15), {0});
      char cell[16];
      snprintf(cell, sizeof cell, "%02x|%s", sector / 16, seems_erased ? "__ " : code);
      map += std::string(sector % 16 == 0 ? cell : cell + 3) + (sector % 16 == 15 ? "\n" : "");
    }
  }
  const uint32_t environment = flash_def[1], share = flash_def[12];
  flash_def[1] += 0x10000, flash_def[12] += 0x40000;  // the regions before them are as long as the table makes them
  std::string events = trace([] { return FW_SpiFlash_CheckSector(); });
  flash_def[1] = environment, flash_def[12] = share;
  EXPECT_TRUE(events.ends_with("UnUsed Space\\n\nopen flash rw\nflash dd = 0\nclose flash\n"));
  EXPECT_EQ(wire::output(), map +
                                "\n B:Bootloader        E:ENVironmnet      M:Mac Address Backup\n"
                                "I1:Image 1          I2:Image 2          P:Profinet Parameter\n"
                                "Pt:Partition table  P1:Parameter 1     P2:Parameter 2\n"
                                "BS:Boot Script      D1:DB1             D2:DB2\n"
                                "CI:Custom info      C1:Customize 1     C2:Customize 2\n"
                                " S:Share DB          T:Test Area        U:UnUsed Space\n\n");
  events = trace([] { return FW_N25Q256A_ReadSector(0x1C); });
  const std::string output = wire::output();
  EXPECT_TRUE(events.starts_with("open flash r\nopen flash r\nseek 1c0000\n"));
  EXPECT_TRUE(holds(output, "^Read Address:0x001c0000\n0x00000000:\\[(0xff ){15}0x00 \\]\n"));
  EXPECT_TRUE(holds(output, "\n0x0000fff0:\\[(0xff ){16}\\]\n$"));
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 4097);
  EXPECT_TRUE(events.ends_with("puts ]\npause 1\nclose flash\nopen flash rw\nflash dd = 0\nclose flash\n"));
}

}  // namespace
