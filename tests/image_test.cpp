// Firmware images: the copies, their verification and the boot writer.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "board_test.h"
#include "pattern.h"

namespace {

using Bytes = std::vector<uint8_t>;

class Image : public BoardTest {
 protected:
  ~Image() override {
    flash_def[18] = 512;
    flash_def[21] = 0x0100A00C;
  }

  /// Now, to the minute.
  static std::string clock() {
    const time_t now = time(nullptr);
    const tm *const local = localtime(&now);
    return std::to_string(local->tm_hour) + ":" + std::to_string(local->tm_min) + ":";
  }

  /// A copy of an open file with that content. The file is closed when the flash-access flag comes down.
  uint32_t copy(const Bytes &content, const std::function<uint32_t(int)> &call) {
    const int fd = open(file("image", content).c_str(), O_RDONLY);
    const std::string start = clock();
    uint32_t result = 1;
    events_ = trace([&] { return call(fd); }, &result, {"open", "close", "seek", "write"});
    events_ = replaced(events_, "\\((" + start + "|" + clock() + ")\\d+\\)", "(TIME)");
    EXPECT_EQ(fcntl(fd, F_GETFD), -1) << "the copy owns the file";
    return result;
  }

  std::string events_;
};

#define START "gpio d5 00 = 0\ngpio d8 01 = 0\n"
#define ERASE "flash d1 = 0\npause 2\n"
#define VERIFIED "read flash 10000 = 10000\npause 10\npause 5000\nread flash 1 = 1\npause 5000\nflash dd = 0\n"
#define WHOLE                                                          \
  START "print Program...0(TIME)\\n\nread  10000 = 10000\n" ERASE      \
        "pause 2\npause 2000\nread  10000 = 1\nread  ffff = 0\n" ERASE \
        "pause 2\npause 2000\nread  10000 = 0\n"                       \
        "print \\nVerify...0.(TIME)\\n\n" VERIFIED

constexpr struct {
  const char *name;
  uint32_t (*call)(int fd);
  uint32_t target;
  const char *events, *prefix;
} kCopies[] = {
    {"partition", [](int fd) { return FW_FlashCopy(fd, 2); }, 0x1200000,
     "flash da ff>00 = 0\n" START "print Program...2\\n\nread  10000 = 10000\nputchar .\n" ERASE
     "putchar .\npause 2\npause 10000\nread  10000 = 1\nread  ffff = 0\nputchar .\n" ERASE
     "putchar .\npause 2\npause 10000\nread  10000 = 0\nprint \\nVerify...2\\n\n" VERIFIED
     "puts \\nUpdate Image Complete...\ngpio d8 00 = 0\n",
     "FW_N25Q256A_FlashCopy()"},
    {"whole", FW_N25Q256A_FlashCopyAll, 0, WHOLE "print \\nUpdate Image Complete...(TIME)\\n\ngpio d8 00 = 0\n",
     "FW_N25Q256A_FlashCopy()"},
    {"boot", FW_N25Q256A_FlashCopyBoot, 0, WHOLE "print \\nUpdate Boot Image Complete...(TIME)\\n\ngpio d8 00 = 0\n",
     "FW_N25Q256A_FlashCopyBoot()"},
};

TEST_F(Image, CopiesOnTheWireAndInTheFlash) {
  const Bytes image = pattern(0x10001);
  for (const auto &row : kCopies) {
    program(row.target, Bytes(0x20001, 0));
    EXPECT_EQ(copy(image, row.call), 0U) << row.name;
    EXPECT_EQ(events_, row.events);
    EXPECT_EQ(flash(row.target, 0x10001), image) << row.name;
    EXPECT_EQ(flash(row.target + 0x10001, 0xFFFF), Bytes(0xFFFF, 0xFF)) << row.name;
    EXPECT_EQ(flash(row.target + 0x20000, 1)[0], 0) << row.name << ": erases no more than it programs";
    FW_SetSystemDiagFlag(1);
    FW_SetDiagNoOperationFlag(1);
    EXPECT_EQ(copy(image, row.call), FW_REFUSED) << row.name;
    EXPECT_EQ(events_.substr(events_.find("gpio")), "gpio d5 00 = 1\n");
    FW_SetSystemDiagFlag(0);
  }
}

// Each call that can fail, in order: X = the copy fails, p = the copy succeeds.
TEST_F(Image, EveryFailingCallEndsTheCopy) {
  spiflash_debug_mode = 1;
  const std::string calls = "ppppXXXXXXXXXXXXpppp";
  for (const auto &row : kCopies) {
    const auto copy_byte = [&](int fd) { return row.target != 0 ? FW_N25Q256A_FlashCopy(fd, 2) : row.call(fd); };
    for (size_t n = 1; n <= calls.size(); ++n) {
      wire::fail_call("any", static_cast<int>(n));
      const std::string place = row.name + std::to_string(n);
      EXPECT_EQ(copy({0x5A}, copy_byte), calls[n - 1] == 'p' ? 0U : FW_REFUSED) << place;
      const std::string prefix = row.prefix;
      const std::string said = n == 7 || n == 9     ? prefix + " erase error ...\n"
                               : n == 10 || n == 12 ? "\n" + prefix + " write flash error ...\n"
                               : n == 14 || n == 16 ? "Read Flash error !!\n" + prefix + " Verify fail-CRC error\n"
                                                    : "";
      EXPECT_TRUE(wire::output().ends_with(said)) << place << wire::output();
    }
    EXPECT_EQ(static_cast<size_t>(wire::calls("any")), calls.size());
    wire::reset();
  }
}

TEST_F(Image, DebugModeLeavesTheFourthPieceUnprogrammed) {
  const auto copy_to_1 = [](int fd) { return FW_N25Q256A_FlashCopy(fd, 1); };
  Bytes image = pattern(0x40001);
  EXPECT_EQ(copy({}, copy_to_1), 0U);
  EXPECT_EQ(wire::output(), "Program...1\n\nVerify...1\n\nUpdate Image Complete...\n");
  spiflash_debug_mode = 1;
  for (const bool erased : {false, true}) {
    if (erased) std::fill_n(image.begin() + 0x30000, 0x10000, uint8_t{0xFF});
    EXPECT_EQ(copy(image, copy_to_1), erased ? 0 : FW_REFUSED);
    EXPECT_EQ(wire::output().find("Program...1\n.........\nFW_N25Q256A_FlashCopy() write size=[262145] crc=["), 0U);
    EXPECT_EQ(flash(0x230000, 0x10000), Bytes(0x10000, 0xFF));
  }
  // Switched off at the fourth piece, or on at the first: then the fifth counts as the fourth.
  for (const auto &[piece, mode, result] : {std::tuple(4, 0, 0U), {1, 1, FW_REFUSED}}) {
    spiflash_debug_mode = mode == 0;
    wire::on_request([p = piece, m = mode, erases = 0](const wire::Request &request) mutable -> std::optional<int> {
      if (request.number == 0xD1 && ++erases == p) spiflash_debug_mode = static_cast<uint8_t>(m);
      return std::nullopt;
    });
    EXPECT_EQ(copy(image, copy_to_1), result) << piece;
  }
  wire::reset();
  spiflash_debug_mode = 1;
  EXPECT_EQ(copy(pattern(0x40001), FW_N25Q256A_FlashCopyAll), 0U) << "only the partition copy does that";
  EXPECT_EQ(copy(image, [](int fd) { return FW_N25Q256A_FlashCopy(fd, 3); }), FW_FAIL);
  EXPECT_EQ(events_, START "puts Partition Number must be 1 or 2\ngpio d8 00 = 0\n");
  EXPECT_EQ(trace([] { return FW_N25Q256A_CheckCRC(3, 0, 1); }), "puts Partition Number must be 1 or 2\n");
  EXPECT_EQ(result_of([] { return FW_N25Q256A_CheckCRCAll(0x1234, 0); }), FW_FAIL);
  EXPECT_EQ(wire::output(),
            "FW_N25Q256A_CheckCRC() w_len=0(0x00000000)\n"
            "FW_N25Q256A_CheckCRC() w_crc=[00001234], r_rcr=[00000000]\n");
}

TEST_F(Image, FilesByName) {
  flash_def[18] = 2;  // a chip of two sectors
  spiflash_debug_mode = 1;
  const Bytes image = pattern(0x20000);
  const std::string good = file("good", image), none = path("none");
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  const uint32_t sum = dbChecksum(image.data(), 0x20000);
  const struct {
    std::function<uint32_t()> call;
    uint32_t result;
    std::string said;
  } rows[] = {{[&] { return FW_FlashCopyAll(good.c_str(), sum); }, 0, "Check File...Pass\nProgram...0("},
              {[&] { return FW_FlashCopyAll(good.c_str(), ~sum); }, FW_FAIL, "Invalid File !!\n"},
              {[&] { return FW_SpiFlash_WriteBoot(good.c_str()); }, 0, "Program...0("},
              {[&] { return FW_SpiFlash_WriteBoot(none.c_str()); }, FW_FAIL,
               "FW_SpiFlash_WriteBoot() Open image file " + none + " fail\n"},
              {[&] { return FW_N25Q256A_WriteBoot(none.c_str()); }, FW_FAIL, "Open Boot file [" + none + "] fail\n"},
              {[&] { return FW_N25Q256A_WriteBoot(path("pipe").c_str()); }, FW_FAIL, ""},
              {[] { return FW_N25Q256A_WriteBoot("/dev/ptmx"); }, FW_FAIL, ""}};  // has no end
  for (const auto &row : rows) {
    uint32_t result = 1;
    const std::string events = trace(row.call, &result);
    EXPECT_EQ(result, row.result) << row.said;
    EXPECT_EQ(wire::output().find(row.said), 0U) << wire::output();
    EXPECT_EQ(events.find("flash d1") != events.npos, result == 0) << row.said;
    wire::on_request([](const wire::Request &request) { return *static_cast<uint8_t *>(request.record) = 1, 0; });
    EXPECT_EQ(result_of(row.call), FW_FAIL) << row.said << ": another chip";
    EXPECT_EQ(wire::open_descriptors(), 0) << row.said;
    wire::reset();
  }
  wire::fail_call("open", 3);  // after the question for the chip and the check
  EXPECT_EQ(result_of(rows[0].call), FW_FAIL);
  EXPECT_EQ(wire::output(), "Check File...Pass\nFW_FlashCopyAll() Open image file " + good + " fail\n");
  wire::reset();
  program(0x1000000, {1});
  const uint32_t crc = FW_crc32(flash(0, 0x1000001).data(), 0x1000001);
  EXPECT_EQ(result_of([=] { return FW_N25Q256A_CheckCRCAll(crc, 0x1000001); }), 0U);
}

TEST_F(Image, BootWriter) {
  const Bytes image = pattern(0x20010);
  const std::string name = file("image", image);
  const auto write_boot = [&] { return FW_N25Q256A_WriteBoot(name.c_str()); };
  program(0xBFFFF, {0});
  std::string lines;
  for (const int percent : {0, 6, 13, 20, 26, 33, 40, 46, 53, 60, 66, 73, 80, 86}) {
    lines += "Write boot file [" + std::to_string(percent) + "] percent\n";
  }
  const std::string events = trace(write_boot, nullptr, {"open", "close", "seek", "write"});
  EXPECT_EQ(wire::output(), lines + "Write boot file finish; write len=[131088]\n");
  EXPECT_TRUE(events.starts_with("flash d1 = 0\npause 2\nflash dd = 0\nprint Write boot file [0] percent"));
  EXPECT_TRUE(
      events.ends_with("pause 2\nflash dd = 0\nprint Write boot file finish; write len=[131088]\\n\nflash dd = 0\n"));
  EXPECT_EQ(flash(0, 0x20010), image);
  EXPECT_EQ(flash(0xBFFFF, 1)[0], 0xFF);
  // The first erase's node, its request, and the nodes of the first and last program.
  for (const auto &[kind, nth, expected] :
       {std::tuple{"open", 1, FW_FAIL}, {"ioctl", 1, 0U}, {"open", 25, FW_FAIL}, {"open", 29, FW_FAIL}}) {
    wire::fail_call(kind, nth);
    EXPECT_EQ(result_of(write_boot), expected) << kind << nth;
  }
  wire::reset();
  file("image", pattern(0x30000));
  EXPECT_EQ(result_of(write_boot), 0U);
  EXPECT_EQ(wire::output(), lines + "Write boot file [93] percent\n") << "whole sectors have no finish line";
  EXPECT_EQ(flash(0, 0x30000), pattern(0x30000));
  flash_def[21] = 0x0100A010;                          // 16 erases
  std::filesystem::resize_file(name, 65520ULL << 16);  // make 65536 steps, of which 16 bits keep none
  wire::fail_call("open", 3);
  EXPECT_EQ(result_of(write_boot), FW_FAIL);
  EXPECT_EQ(wire::output(), "");
  std::filesystem::resize_file(name, 1ULL << 32);
  EXPECT_EQ(result_of(write_boot), FW_FAIL) << "more than an address tells";
}

}  // namespace
