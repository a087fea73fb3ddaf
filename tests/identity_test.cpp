// The custom identity record: names, description, power-mode byte.
#include <utility>

#include "board_test.h"

namespace {

constexpr uint32_t kRecord = 0x1C0000, kLength = 417;
using Bytes = std::vector<uint8_t>;
using Identity = BoardTest;

std::string name() {
  char text[37] = {};
  text[36] = '#';
  EXPECT_EQ(FW_SpiFlash_GetCustomName(text), 0U);
  return text[36] == '#' ? text : "written beyond";
}

TEST_F(Identity, ModelNames) {
  const std::string defaults[] = {"KV540R-28SFP", "KV540R-20SFP", "KV540R-12SFP", "KV540R-04SFP"},
                    slots[] = {"3", "1", "2"};
  const std::string longest = "0123456789012345678901234567890";
  const std::array<std::string, 3> modes[] = {
      {"dc", "ac", "-AD"}, {"dc", "dc", "-DC2"}, {"dc", "none", "-DC1"}, {"ac", "none", "-AC1"}, {"ac", "ac", "-AC2"}};
  std::string fitted[2];  // starting the virtual switch's program takes long: only for a change
  const auto fit_supply = [&](int supply, const std::string &kind) {
    if (kind != std::exchange(fitted[supply - 1], kind)) sim("set supply " + std::to_string(supply) + " " + kind);
  };
  for (int boards = 0; boards < 4; ++boards) {
    if (boards != 0) sim("fit " + slots[boards - 1] + " copper");
    for (const auto &[first, second, suffix] : modes) {
      fit_supply(1, first);
      fit_supply(2, second);
      EXPECT_EQ(name(), defaults[boards] + suffix);
    }
  }
  trace([] { return FW_SpiFlash_ShowCustomName(); });
  EXPECT_EQ(wire::output(), "Custom name not set\n");
  EXPECT_EQ(FW_SpiFlash_WriteCustomName((longest + "X").c_str(), 2) | FW_SpiFlash_SetCustomName("EDGE-1"), 0U);
  EXPECT_EQ(name(), "EDGE-1-AC2");
  sim("fit 1 none");
  EXPECT_EQ(name(), longest + "-AC2");
  sim("fit 2 sfp");
  EXPECT_EQ(name(), defaults[1] + "-AC2");
  trace([] { return FW_SpiFlash_ShowCustomName(); });
  EXPECT_EQ(wire::output(), "Custom Name For 28F   : []\nCustom Name For 8C20F : []\nCustom Name For 16C12F: [" +
                                longest + "]\nCustom Name For 24C4F : [EDGE-1]\n");
  EXPECT_EQ(trace([] { return FW_N25Q256A_WriteCustomName("x", 4); }), "puts Input index error\n");
  sim("fail gpio --result closed");
  EXPECT_EQ(name(), defaults[1] + "-AD");
}

// Each change keeps every byte but its own, passes on the flash's failure, and changes nothing when its read fails.
TEST_F(Identity, Changes) {
  const Bytes before = pattern(kLength);
  const auto check = [&](const auto &call, uint32_t at, const std::string &field, const std::string &marker,
                         uint32_t marker_at) {
    Bytes after = before;
    std::copy(field.begin(), field.end(), after.begin() + at);
    std::copy(marker.begin(), marker.end(), after.begin() + marker_at);
    const std::tuple<const char *, int, uint32_t> failures[] = {
        {"read", 1, FW_FAIL}, {"erase", 3, FW_REFUSED}, {"write", 2, FW_FAIL}, {"", 0, 0}};
    for (const auto &[failing, nth, expected] : failures) {
      FW_N25Q256A_SectorErase(kRecord);
      program(kRecord, before);
      wire::fail_call(nth == 3 ? "ioctl" : failing, nth);
      EXPECT_EQ(result_of(call), expected) << at << failing;
      EXPECT_EQ(flash(kRecord, kLength) == (nth == 0 ? after : before), nth != 2) << at << failing;
    }
  };
  const std::string text(300, 'd');
  char read_back[257];
  memset(read_back, '#', sizeof read_back);
  uint8_t mode = 0;
  EXPECT_EQ(FW_SpiFlash_GetCustomDesc(read_back), 0xFFFEU);
  EXPECT_EQ(FW_SpiFlash_GetCustomPwrMode(&mode), 0U);
  EXPECT_EQ(std::tuple(read_back[0], read_back[1], mode), std::tuple('\0', '#', 0xFF));
  mode = 'Z';
  check([] { return FW_SpiFlash_WriteCustomName("AB", 3); }, 102, "AB" + std::string(29, '\0'), "model=", 0);
  check([&] { return FW_SpiFlash_SetCustomPwrMode(&mode); }, 416, "Z", "", 0);
  check([&] { return FW_SpiFlash_SetCustomDesc(text.c_str()); }, 156, text.substr(0, 255), "description=", 144);
  EXPECT_EQ(FW_SpiFlash_GetCustomDesc(read_back), 0U);
  EXPECT_EQ(std::pair(std::string(read_back), read_back[256]), std::pair(text.substr(0, 255), '#'));
  wire::fail_call("read", 1);
  EXPECT_EQ(result_of([&] { return FW_N25Q256A_GetCustomPwrMode(&mode); }), FW_FAIL);
  EXPECT_EQ(mode, 'Z');
  FW_N25Q256A_SectorErase(kRecord);
  program(kRecord, {'m', 'o', 'd', 'e', 'l', ':', 'A', 0});
  const char *const other_marker = "description:B";
  program(kRecord + 144, Bytes(other_marker, other_marker + 14));
  EXPECT_EQ(FW_SpiFlash_GetCustomDesc(read_back), 0U);
  EXPECT_EQ(std::pair(name(), std::string(read_back)), std::pair(std::string("A-AC2"), std::string("B")));
}

}  // namespace
