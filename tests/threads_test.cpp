// Eight threads at once, watched by the thread sanitizer: the first use of the CRC table, and one of every kind of call
// that may be made from several threads. Runs on the virtual switch.
#include <algorithm>
#include <atomic>
#include <barrier>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "zelboard/zelboard.h"

namespace {

constexpr uint32_t kThreads = 8, kRounds = 20;
std::atomic<int> g_failures;

void check(bool holds, const char *what) {
  if (!holds && g_failures++ == 0) printf("not so: %s\n", what);
}

template <typename Work>
void on_all_threads(Work work) {
  std::barrier start(kThreads);
  std::vector<std::thread> threads;
  for (uint32_t n = 0; n < kThreads; ++n) {
    threads.emplace_back([&, n] {
      start.arrive_and_wait();
      work(n);
    });
  }
  for (std::thread &thread : threads) thread.join();
}

void first_crc(uint32_t) {
  const auto *const digits = reinterpret_cast<const uint8_t *>("123456789");
  check(FW_crc32(digits, 9) == 0xCBF43926, "CRC of its check string");
  check(FW_crc321(FW_crc32(digits, 4), digits + 4, 5) == 0xCBF43926, "CRC in two steps");
}

void any_calls(uint32_t thread) {
  uint8_t byte = 0, page[256], back[256] = {};
  const uint32_t port = 24 + thread % 4, sector = 0x1000000 + thread * 0x10000;
  memset(page, static_cast<int>(thread), sizeof page);
  check(FW_SetSystemLed(1 + thread % 2) == 0 && FW_GetSystemLed(&byte) == 0 && byte <= 2, "LED");
  check(FW_SetSpecialRegister(0x20300, thread) == 0, "register");
  check(FW_SetPortSfpTxDisable(port, 0) == 0 && FW_GetPortSfpTxDisable(port, &byte) == 0, "transmitter");
  check(FW_GetPortSfpPresnt(port, &byte) == 0 && FW_GetPortSfpLos(port, &byte) == 0, "cage signals");
  rtc_record now;
  temp_record temperature;
  uint8_t copper = 0;
  check(FW_PollRtc() == 0 && FW_GetRtc(&now) == 0 && now.tm.tm_year >= 100, "clock");
  check(FW_PollTemperature() == 0 && FW_GetTemperature(&temperature) == 0, "temperature");
  check(BoardType_Check(1, 0, &copper)[0] == '0' && copper == 0, "boards");
  check(FW_SpiFlash_SectorErase(sector) == 0 && FW_WriteFlash(sector, sizeof page, page) == 0, "flash write");
  check(FW_ReadFlash(sector, sizeof back, back) == 0 && memcmp(page, back, sizeof back) == 0, "flash read");
  check(FW_SpiFlash_GetMapAddr(2) == 0x1200000 && FW_N25Q256A_CheckCRCAll(0, 0) == 0, "map and CRC");
}

}  // namespace

int main() {
  // Attaches the board: the sanitizer does not see how the virtual switch, not compiled for it, does that only once.
  FW_GetFlashAccessFlag();
  for (uint32_t round = 0; round < kRounds; ++round) {
    std::fill_n(crc_table, 256, 0U);
    crc_table_is_init = 0;
    on_all_threads(first_crc);
  }
  on_all_threads(any_calls);
  return g_failures == 0 ? 0 : 1;
}
