// CRC-32, byte sum, the read loop and the check of whole-flash files.
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <numeric>
#include <thread>

#include "board_test.h"

namespace {

using Checksum = BoardTest;

uint32_t bitwise_crc(const uint8_t *bytes, size_t length) {
  uint32_t crc = ~0U;
  for (size_t bit = 0; bit < 8 * length; ++bit) {
    if (bit % 8 == 0) crc ^= bytes[bit / 8];
    crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
  }
  return ~crc;
}

TEST_F(Checksum, EveryLengthPlaceAndSplit) {
  const std::vector<uint8_t> bytes = pattern(310);
  for (uint32_t from = 0; from < 8; ++from) {
    for (uint32_t length = 0; from + length <= bytes.size(); ++length) {
      const uint8_t *const start = bytes.data() + from;
      const uint32_t split = length / 3, crc = bitwise_crc(start, length);
      EXPECT_EQ(FW_crc32(start, length), crc);
      EXPECT_EQ(FW_crc321(FW_crc321(0, start, split), start + split, length - split), crc);
      EXPECT_EQ(dbChecksum(start, length), std::accumulate(start, start + length, 0U));
    }
  }
  EXPECT_EQ(FW_crc32(reinterpret_cast<const uint8_t *>("123456789"), 9), 0xCBF43926U);
  EXPECT_EQ(crc_table[255], 0x2D02EF8DU);
}

TEST_F(Checksum, ReadFully) {
  const std::vector<uint8_t> sent = pattern(30);
  std::vector<uint8_t> got(100);
  int ends[2];
  struct sigaction interruption {};
  interruption.sa_handler = [](int) {};
  sigaction(SIGUSR1, &interruption, nullptr);
  // One read gives one packet; before it is there, EAGAIN, or EINTR when a signal comes.
  for (const int flag : std::array<int, 2>{SOCK_NONBLOCK, 0}) {
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | flag, 0, ends), 0);
    std::thread sender([&, reader = pthread_self()] {
      for (int n = 0; n < 5; ++n) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        pthread_kill(reader, SIGUSR1);
      }
      EXPECT_EQ(write(ends[1], sent.data(), 10) + write(ends[1], sent.data() + 10, 20), 30);
      close(ends[1]);
    });
    EXPECT_EQ(readFully(ends[0], got.data(), 100), 30);
    sender.join();
    EXPECT_EQ(std::vector<uint8_t>(got.begin(), got.begin() + 30), sent);
    close(ends[0]);
  }
  for (const int length : {0, -1}) EXPECT_EQ(readFully(-1, got.data(), length), 0);
  EXPECT_EQ(readFully(-1, got.data(), 1), -1);
}

TEST_F(Checksum, WholeFlashFiles) {
  const std::string image = file("image", std::vector<uint8_t>(0x2000000, 0xFF));
  const auto check = [this](const std::string &name, uint32_t sum) {
    const uint32_t result = result_of([&] { return FW_CheckFile(path(name).c_str(), sum); });
    EXPECT_EQ(wire::open_descriptors(), 0) << name;
    return result;
  };
  EXPECT_EQ(check("image", 0xFE000000), 0U);
  EXPECT_EQ(check("image", 0xFE000001), FW_FAIL);
  wire::fail_call("read", 513);  // where the end would be seen
  EXPECT_EQ(check("image", 0xFE000000), FW_FAIL);
  wire::reset();
  std::filesystem::resize_file(image, 0x2000001);  // by a zero byte: only the size differs
  EXPECT_EQ(check("image", 0xFE000000), FW_FAIL);
  std::filesystem::resize_file(image, 0x1FFFFFF);
  EXPECT_EQ(check("image", 0xFE000000 - 0xFF), FW_FAIL);
  EXPECT_EQ(check("missing", 0), FW_FAIL);
  EXPECT_EQ(wire::output(), "FW_CheckFile() Open image file " + path("missing") + " fail\n");
}

}  // namespace
