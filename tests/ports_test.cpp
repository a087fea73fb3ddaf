// Board identity, the signals of every cage, transmit disable and the expanders' working configuration.
#include <map>

#include "board_test.h"

namespace {

using Boards = BoardTest;

/// Does the port exist, has it a cage; selection, the four signals and a bad transmit disable.
std::string answers(uint32_t port) {
  uint8_t out = 0xEE;
  char text[80];
  snprintf(text, sizeof text, "%x %s %x %x %x %x %x %x", IsSwitchPortExist(port), BoardType_Check(0, port, nullptr),
           FW_SfpSel(port), FW_GetPortSfpPresnt(port, &out), FW_GetPortSfpTxDisable(port, &out),
           FW_GetPortSfpTxFault(port, &out), FW_GetPortSfpLos(port, &out), FW_SetPortSfpTxDisable(port, 2));
  return text;
}

TEST_F(Boards, PortsFollowTheFittedBoards) {
  sim("fit 1 sfp");
  sim("fit 3 copper");
  const std::pair<uint32_t, const char *> cases[] = {
      {7, "1 1 0 0 0 0 0 ffff"},  {8, "0 0 fffd fffd fffd fffd fffd fffd"},  {16, "1 0 fffc fffc fffc fffc fffc fffc"},
      {24, "1 1 0 0 0 0 0 ffff"}, {28, "1 0 fffc fffc fffc fffc fffc fffc"}, {0x107, "1 0 0 fffc fffc fffc fffc fffc"}};
  for (const auto &[port, expected] : cases) EXPECT_EQ(answers(port), expected) << port;
  uint8_t count = 0xEE;
  EXPECT_TRUE(*BoardType_Check(2, 8, &count) == '1' && count == 0xEE);
  EXPECT_TRUE(*BoardType_Check(1, 0, &count) == '0' && count == 1);
  EXPECT_EQ(trace([] { return FW_SfpSel(0x107); }, nullptr, {"open", "close"}),
            "i2c 96 0100>0102 = 0\ni2c c2 0100>0101 = 0\ni2c 96 0200 = 0\ni2c c2 0200 = 0\n"
            "i2c 96 0300>0301 = 0\ni2c c2 0300>0301 = 0\ngpio 88 07 = 0\n");
  sim("set io 18 52");
  EXPECT_EQ(trace([&] { return FW_GetExpenderIO(&count); }, nullptr, {"open", "close"}),
            "i2c b0 4c:0/1 n2 >12b4 = 0\npause 5000\ngpio 97 12 = 0\n");
  EXPECT_EQ(count, 0xB4);
  for (const uint32_t slot : {0U, 4U, 0x101U}) EXPECT_EQ(FW_GetDauBoard(slot, nullptr), FW_FAIL);
  sim("fail i2c --result closed");
  EXPECT_TRUE(IsSwitchPortExist(8) == 1 && *BoardType_Check(0, 7, nullptr) == '0');
  EXPECT_TRUE(*BoardType_Check(1, 0, &count) == '0' && count == 0)
      << "copper boards are counted where the query succeeded";
}

/// SFP boards in all slots, and expanders that are plain registers; the log has reads ("40.2 "), writes ("40.2=44 ").
class Cages : public BoardTest {
 protected:
  Cages() {
    wire::on_request([this](const wire::Request &request) {
      auto *record = static_cast<uint8_t *>(request.record);
      if (request.number == 0xC2) return record[1] = 1, 7;  // the result is not looked at
      if (request.number == 0xE0) {
        log_ = request.node + std::to_string(*static_cast<uint32_t *>(request.record));
        static_cast<uint32_t *>(request.record)[1] = soc_;
      }
      if (request.number != 0xB0 && request.number != 0xB1) return 0;
      const bool writes = request.number == 0xB1;
      char event[20];
      snprintf(event, sizeof event, writes ? "%02x.%x=%02x " : "%02x.%x ", record[129], record[132], record[0]);
      log_ += event;
      const int nth = ++(writes ? writes_ : reads_), failure = writes ? fail_write_(nth) : fail_read_(nth);
      uint8_t &reg = registers_[record[129] << 8 | record[132]];
      if (writes && failure == 0) reg = static_cast<uint8_t>(record[0] & ~stuck_);
      if (!writes && failure == 0) record[0] = reg;
      return failure;
    });
  }

  std::map<int, uint8_t> registers_;  // by address << 8 | register
  std::string log_;
  int reads_ = 0, writes_ = 0;
  int (*fail_read_)(int nth) = [](int) { return 0; }, (*fail_write_)(int nth) = fail_read_;
  uint8_t stuck_ = 0;  // bits that stay 0
  uint32_t soc_ = 0;
};

TEST_F(Cages, EverySignalOfEveryPort) {
  const struct {
    uint32_t (*get)(uint32_t port, uint8_t *out);
    const sfp_signal *table;
    uint32_t reg, bit, main_board[4];  // of the first cage on a 16-bit expander; address, register, mask
  } signals[] = {{FW_GetPortSfpPresnt, sfp_presnt, 0, 0, {0x7A0002, 0x7A0008, 0x7A0020, 0x7A0080}},
                 {FW_GetPortSfpTxDisable, sfp_txenable, 2, 2, {0x760102, 0x760120, 0x780102, 0x780120}},
                 {FW_GetPortSfpTxFault, sfp_txfault, 0, 1, {0x760001, 0x760010, 0x780001, 0x780010}},
                 {FW_GetPortSfpLos, sfp_los, 0, 0, {0x7A0001, 0x7A0004, 0x7A0010, 0x7A0040}}};
  for (const auto &signal : signals) {
    for (uint32_t port = 0; port < 28; ++port) {
      const auto [address, number, mask] = signal.table[port];
      const uint32_t place = uint32_t{address} << 16U | uint32_t{number} << 8U | mask;
      const uint32_t cage = port % 4;
      const uint32_t on_16_bits =
          (0x40 + port / 4 * 2) << 16 | (signal.reg + cage / 2) << 8 | 1U << (4 * (cage % 2) + signal.bit);
      const uint32_t on_8_bits = (0x70 + port / 8 * 2) << 16 | 1U << port % 8;
      EXPECT_EQ(place, port > 23                 ? signal.main_board[port - 24]
                       : signal.table == sfp_los ? on_8_bits
                                                 : on_16_bits)
          << port;
      char read[20] = "gpio98576";  // 0x18110
      if (signal.table != sfp_los || port < 24) snprintf(read, sizeof read, "%02x.%x ", address, number);
      for (const bool high : {true, false}) {
        registers_[static_cast<int>(place >> 8)] = high ? mask : static_cast<uint8_t>(~mask);
        soc_ = high ? 0x100U << (port & 3) : ~(0x100U << (port & 3));
        log_.clear();
        uint8_t out[3] = {0xEE, 0xEE, 0xEE};
        trace([&] { return signal.get(port, &out[1]); });
        EXPECT_TRUE(log_ == read && out[0] == 0xEE && out[1] == high && out[2] == 0xEE) << port << log_ << read;
      }
    }
  }
}

// Programs may walk the exported tables, rows included that no function here uses.
TEST_F(Cages, RowsForProgramsThatWalkTheTables) {
  for (uint32_t port = 0; port < FW_PORTS; ++port) {
    const sfp_soc_signal &row = sfp_los_gpio[port];
    const uint32_t bit = port < 24 ? 0 : 0x100U << (port - 24);
    EXPECT_EQ(row.address, bit == 0 ? 0U : 0x18110U) << port;
    EXPECT_EQ(row.mask, bit) << port;
  }
  const std::string mainboard(reinterpret_cast<const char *>(&sfp_los[24]), 12);
  EXPECT_EQ(mainboard, std::string("z\0\x01z\0\x04z\0\x10z\0\x40", 12));
}

TEST_F(Cages, TransmitDisableKeepsItsAllowances) {
  using Failure = int (*)(int nth);
  const Failure never = fail_read_, always = [](int nth) { return nth; },
                second = [](int nth) { return nth == 2 ? 7 : 0; };
  // disable, failures of reads and writes, stuck bits; result, reads, writes, register
  const std::tuple<const char *, uint32_t, Failure, Failure, uint8_t, const char *> cases[] = {
      {"off", 1, never, never, 0, "0 2 1 f5"},
      {"on", 0, never, never, 0, "0 2 1 b5"},
      {"neither", 2, never, never, 0, "ffff 0 0 b5"},
      {"4 failed reads", 0, [](int nth) { return nth < 5 ? nth : 0; }, never, 0, "0 6 1 b5"},
      {"5 failed reads", 0, always, never, 0, "5 5 0 f5"},
      {"5 failed writes", 1, never, always, 0, "5 1 5 b5"},
      {"4 of 5 writes fail, stuck", 1, never, [](int nth) { return nth % 5; }, 0x40, "ffff 101 500 b5"},
      {"failed read-back, on", 0, second, never, 0, "7 2 1 b5"},
      {"failed read-back, off", 1, second, never, 0, "0 3 2 f5"},
  };
  for (const auto &[name, disable, fail_read, fail_write, stuck, expected] : cases) {
    registers_[0x4602] = disable != 0 ? 0xB5 : 0xF5;
    reads_ = writes_ = 0;
    std::tie(fail_read_, fail_write_, stuck_) = std::tie(fail_read, fail_write, stuck);
    const uint32_t result = result_of([d = disable] { return FW_SetPortSfpTxDisable(13, d); });
    char outcome[40];
    snprintf(outcome, sizeof outcome, "%x %d %d %x", result, reads_, writes_, registers_[0x4602]);
    EXPECT_STREQ(outcome, expected) << name;
  }
}

TEST_F(Cages, ExpandersGetTheirWorkingConfiguration) {
  const auto made = [this](auto call) {
    log_.clear();
    reads_ = writes_ = 0;
    const uint32_t result = result_of(call);
    return log_ + std::to_string(result);
  };
  EXPECT_EQ(made([] { return FW_InitDauExpender(3); }),
            "48.2=44 48.2 48.3=44 48.3 4a.2=44 4a.2 4a.3=44 4a.3 48.6=33 48.6 48.7=33 48.7 4a.6=33 4a.6 4a.7=33 4a.7 "
            "74.3=ff 74.3 0");
  EXPECT_EQ(made(FW_InitOnBoardExpender),
            "76.1=22 76.1 78.1=22 78.1 76.3=11 76.3 78.3=11 78.3 7a.3=ff 7a.3 4c.3=80 4c.3 4c.7=7f 4c.7 0");
  EXPECT_EQ(made([] { return FW_InitDauExpender(0) & FW_InitDauExpender(4); }), "65535");
  fail_read_ = [](int nth) { return nth == 2 ? 7 : 0; };
  EXPECT_EQ(made(FW_InitOnBoardExpender), "76.1=22 76.1 78.1=22 78.1 7");
  fail_write_ = fail_read_;
  EXPECT_EQ(made(FW_InitOnBoardExpender), "76.1=22 76.1 78.1=22 7");
  fail_read_ = fail_write_ = [](int) { return 0; };
  stuck_ = 0x20;  // of the first step's value
  EXPECT_EQ(made(FW_InitOnBoardExpender).substr(1300), "65535") << "100 writes and reads of the first step";
}

}  // namespace
