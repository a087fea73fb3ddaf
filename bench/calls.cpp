// One call of each kind, for valgrind to count: under callgrind every call ends in a dump of its own, under lackey a
// store to `g_marker` stands before and after it. The system calls are answered here; the flash is a file in memory.
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include "zelboard/board.h"
#include "zelboard/flash.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"

extern "C" {
uint32_t plain_set_system_led(uint32_t value);
uint32_t plain_i2c_read(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, void *buf);
uint32_t plain_port_exists(uint32_t port);
uint32_t plain_set_tx_disable(uint32_t port, uint32_t disable);
}

namespace {

int g_flash = -1;
uint8_t g_expander = 0;
volatile uint32_t g_marker = 0;
bool g_good = true;

// Requests that the measured calls make.
constexpr uint8_t kGetChipIndex = 0xDA;
constexpr uint8_t kGetBoardType = 0x96;
constexpr uint8_t kGetBoardAlive = 0xC2;
constexpr uint8_t kReadDevice = 0xB0;
constexpr uint8_t kWriteDevice = 0xB1;

void answer(uint8_t number, uint8_t *record) {
  constexpr uint8_t kSfpBoard = 2;
  if (number == kGetChipIndex) *record = 0;
  if (number == kGetBoardType) record[1] = kSfpBoard;
  if (number == kGetBoardAlive) record[1] = 1;
  if (number == kReadDevice) *record = g_expander;
  if (number == kWriteDevice) g_expander = *record;
}

template <typename Call>
void measure(const char *name, uint32_t expected, Call call) {
  bool good = call() == expected;  // not measured: at the first call the loader binds the symbols
  if (!good) g_good = false;
  CALLGRIND_ZERO_STATS;
  g_marker = 1;
  call();
  g_marker = 0;
  CALLGRIND_DUMP_STATS_AT(name);
}

}  // namespace

extern "C" {
int open(const char *, int, ...) { return dup(g_flash); }
int usleep(useconds_t) { return 0; }
int system(const char *) { return 0; }
int ioctl(int, unsigned long code, ...) {
  va_list arguments;
  va_start(arguments, code);
  answer(static_cast<uint8_t>(code), va_arg(arguments, uint8_t *));
  va_end(arguments);
  return 0;
}
}

int main() {
  constexpr uint32_t kPort = 3;
  g_flash = memfd_create("flash", 0);
  constexpr off_t kFlashSize = 0x2000000;
  if (ftruncate(g_flash, kFlashSize) != 0) return 1;
  uint8_t bytes[16];
  measure("led/zelboard", 0, [] { return FW_SetSystemLed(1); });
  measure("led/plain", 0, [] { return plain_set_system_led(1); });
  measure("transfer/zelboard", 0, [&] { return FW_I2C_BufRead(0xA0, 0, 1, sizeof bytes, bytes); });
  measure("transfer/plain", 0, [&] { return plain_i2c_read(0xA0, 0, 1, sizeof bytes, bytes); });
  measure("port/zelboard", 1, [] { return IsSwitchPortExist(kPort); });
  measure("port/plain", 1, [] { return plain_port_exists(kPort); });
  measure("tx_disable/zelboard", 0, [] { return FW_SetPortSfpTxDisable(kPort, 1); });
  measure("tx_disable/plain", 0, [] { return plain_set_tx_disable(kPort, 1); });
  measure("power_question", 5, FW_Pwr_Flag);
  measure("environment_update", 0, [] { return FW_SpiFlash_EnvAdd("pwrmode", "pwr2ac"); });
  printf("%p\n", static_cast<const volatile void *>(&g_marker));
  return g_good ? 0 : 1;
}
