// Identification of pluggable modules: the class of every kind of page, the display, and what a failing transfer does.
#include <cstring>

#include "board_test.h"
#include "pattern.h"

namespace {

constexpr uint32_t kPort = 25;

struct Class {
  int code;
  std::string line;
};

Class port_class(int code, const std::string &name) { return {code, "This is a PORT_SFP_" + name + " type. \n"}; }

const Class kFx = port_class(0, "100FX"), kX = port_class(1, "1000BASE_X"), kSx = port_class(1, "1000BASE_SX"),
            kCx = port_class(1, "1000BASE_CX"), k2G5 = port_class(4, "2G5"), k5G = port_class(5, "5G"),
            k10G = port_class(6, "10G"), kDac = port_class(7, "10G DAC"), kEr = port_class(8, "10G ER"),
            kLrm = port_class(9, "10G LRM"), kLr = port_class(10, "10G LR"), kSr = port_class(11, "10G SR"),
            kLxFx{1, kFx.line}, kLxSilent{1, ""}, kUnknown{3, "This is an unknown type. \n"},
            kNone{0xFF, "DDM show this is not a SFP module.\n"},
            kCopper{2, "This is a RJ45 connector(1000BASE-T) type. \n"},
            kSerdes{15, "This is a RJ45 connector(1000BASE-T) type(Interface serdes only). \n"};

// A module of any contents, and a copper PHY, in the cage of a port of the main board.
class Module : public BoardTest {
 protected:
  uint8_t page_[128] = {3}, phy_[64] = {0x11, 0x40, 0x79, 0x6D, 0x01, 0x41, 0x0C, 0xC2};
  int transfers_ = 0, failing_ = 0, failure_ = 0;  // the transfer, from 1, that fails

  Module() {
    phy_[2 * 17] = 0xAC;  // 1000 Mb/s, full duplex, link up
    wire::on_request([this](const wire::Request &request) -> std::optional<int> {
      if (request.number != 0xB0 && request.number != 0xB1) return {};
      auto *const record = static_cast<uint8_t *>(request.record);
      if (++transfers_ == failing_) return failure_;
      if (record[129] != 0xA0 && record[129] != 0xAC) return {};
      const uint8_t *const memory = record[129] == 0xA0 ? page_ + record[132] : phy_ + 2 * record[132];
      if (request.number == 0xB0) memcpy(record, memory, record[128]);
      return 0;
    });
  }

  void put(int at, const char *text) { memcpy(page_ + at, text, strlen(text)); }

  /// Switches the transmitter off and makes the nth transfer from now on fail.
  void prepare(int nth, uint32_t failure) {
    FW_SetPortSfpTxDisable(kPort, 1);
    transfers_ = 0;
    failing_ = nth;
    failure_ = static_cast<int>(failure);
  }

  void expect_class(const Class &expected, const std::string &name) {
    const bool copper = expected.code == 2 || expected.code == 15;
    const std::string bring_up = copper ? "Setting SGMII MODE\nSFP RJ45 Link up\nSFP RJ45 Speed 1G Full\n" : "";
    const uint32_t shown = result_of([] { return FW_Show_SFP_Moudle(kPort, 0, 1); });
    const std::string output = wire::output(), last = "Vendor rev = \n";
    uint8_t speed[2] = {0xA5, 0xA5};
    const uint32_t told = result_of([&] { return FW_Get_SFP_Speed(kPort, speed); });
    EXPECT_EQ(output.substr(output.find(last) + last.size()), expected.line + bring_up) << name;
    EXPECT_EQ(std::tuple(shown, told, speed[0], speed[1], wire::output()), std::tuple(0, 0, expected.code, 0xA5, ""))
        << name;
  }
};

TEST_F(Module, EveryClassInBothFunctions) {
  const struct {
    uint8_t identifier, connector, ten_gigabit, ethernet, cable, rate;
    Class expected;
  } cases[] = {{13, 34, 0x10, 1, 4, 103, kNone}, {3, 34, 0xF0, 8, 4, 100, kDac},   {3, 33, 0, 0, 4, 25, k2G5},
               {3, 7, 0xF0, 1, 8, 103, kEr},     {3, 7, 0x70, 1, 0xFB, 103, kLrm}, {3, 7, 0x30, 1, 0, 103, kLr},
               {3, 34, 0x1F, 8, 0, 100, kSr},    {3, 7, 0x10, 0, 0, 99, k5G},      {3, 7, 0x0F, 0, 0, 103, k10G},
               {3, 34, 0, 1, 0, 13, kCopper},    {3, 7, 0, 8, 0, 13, kCopper},     {3, 7, 0, 0x48, 0, 13, kX},
               {3, 7, 0, 0x3F, 0, 13, kSx},      {3, 7, 0, 0x24, 0, 13, kCx},      {3, 7, 0, 0x26, 0, 9, kLxFx},
               {3, 7, 0, 2, 0, 0, kLxSilent},    {3, 7, 0, 0x10, 0, 103, kFx},     {3, 7, 0, 0, 0, 0, kUnknown},
               {3, 7, 0, 2, 0, 100, k10G},       {3, 7, 0, 2, 0, 50, k5G},         {3, 7, 0, 0, 0, 49, k2G5},
               {3, 7, 0, 0, 0, 24, kX},          {3, 7, 0, 2, 0, 10, kX},          {3, 7, 0, 0, 0, 9, kFx},
               {3, 7, 0, 0, 0, 1, kFx},          {3, 7, 0x10, 0, 4, 99, k5G},      {3, 7, 0, 5, 0, 13, kSx}};
  for (const auto &c : cases) {
    const uint8_t id[16] = {c.identifier, 0, c.connector, c.ten_gigabit, 0, 0, c.ethernet, 0, c.cable, 0, 0, 0, c.rate};
    memcpy(page_, id, sizeof id);
    expect_class(c.expected, testing::PrintToString(id));
    for (const uint8_t mode : std::array<uint8_t, 3>{1, 2, 0}) {
      i2c_debug_mode = mode;
      uint8_t speed = 0;
      const std::string phy = mode == 1 && c.expected.code == 2 ? "Marvell PHY\n" : "";
      const std::string events = trace([] { return FW_Show_SFP_Moudle(kPort, 0, 0); });
      EXPECT_TRUE(wire::output() == phy && events.find("i2c b1 ac") == std::string::npos) << "neither is asked for";
      trace([&] { return FW_Get_SFP_Speed(kPort, &speed); });
      EXPECT_EQ(wire::output(), mode == 1 && c.expected.code == 3 ? c.expected.line : phy);
    }
  }
  page_[2] = 34;
  put(40, "AXGT-R154-0M06XY");
  expect_class(kSerdes, "serdes only");
  put(53, "7");
  expect_class(kCopper, "the last character of the part number's differs");
}

TEST_F(Module, CopperDisplayOnTheWire) {
  page_[2] = 0x22;
  page_[127] = 0xFF;
  put(20, "MAKER           ");
  put(40, "ZL-1G-T\x01        ");
  put(56, "B2  next");
  prepare(0, 0);
  i2c_debug_mode = 1;
  std::string events = trace([] { return FW_Show_SFP_Moudle(kPort, 1, 7); }, nullptr, {"open", "close", "print"});
  // Without board queries and data; a transfer's pause is "+", the waits of 50 ms are one line.
  events = replaced(events, "(i2c (96|c2)|put(?!s This)).*\n| >[0-9a-f]*", "");
  events = replaced(events, "= 0\npause 5000\n", "+\n");
  EXPECT_EQ(replaced(events, "(pause 1000\n){50}", "wait 50\n"),
            "gpio 88 19 = 0\ni2c b0 a0:60/1 n32 +\ni2c b0 a0:14/1 n16 +\ni2c b0 a0:28/1 n16 +\ni2c b0 a0:38/1 n4 +\n"
            "i2c b0 a0:0/1 n16 +\nwait 50\nputs This is a RJ45 connector(1000BASE-T) type. \n"
            "i2c b0 76:1/1 n1 +\ni2c b0 76:1/1 n1 +\ni2c b1 76:1/1 n1 02 +\ni2c b0 76:1/1 n1 +\n"
            "wait 50\nwait 50\nwait 50\nwait 50\ni2c b0 ac:0/1 n16 +\ngpio 88 19 = 0\n"
            "i2c b1 ac:1b/1 n2 9084 +\ni2c b1 ac:9/1 n2 0e00 +\ni2c b1 ac:0/1 n2 8140 +\ni2c b1 ac:4/1 n2 0de1 +\n"
            "i2c b1 ac:0/1 n2 9140 +\ngpio 88 19 = 0\ni2c b0 ac:11/1 n4 +\n");
  const std::string shown = replaced(wire::output(), "(\\[0x00\\] ){7}(\\[0x00\\] \n|)", "7 ");
  EXPECT_EQ(shown, std::string(45, '-') + "\nSFP DDM read from SFP 25\n" + std::string(46, '=') +
                       "\nVendor Specific:\n7 7 7 7 [0xff] \nVendor name = MAKER           \n" +
                       "Vendor PN = ZL-1G-T\x01        \nVendor rev = B2  \n" + kCopper.line + "Marvell PHY\n" +
                       "Setting SGMII MODE\nsfp_phy[0]:0x11, sfp_phy[1]:0x40, sgmii_cisco:1\n" +
                       "SFP RJ45 Link up\nSFP RJ45 Speed 1G Full\n");
}

// Each transfer of a copper module's display and classification fails once: the bus is busy, or another failure.
TEST_F(Module, EveryFailingTransfer) {
  const std::string busy = "I2C Bus Busy\n", ic = "IC Bus busy\n", phy = "Marvell PHY\n", none;
  // 7 and 8, the first two of setting the transmitter, are retried; the last one's result is not used.
  const std::string lines[] = {busy, busy, busy, busy, busy, ic,   none, none,
                               ic,   busy, busy, busy, busy, busy, busy, "I2C Busy Busy\n"};
  page_[2] = 34;
  for (const uint32_t failure : {FW_I2C_BUSY, 0x1234U}) {
    const bool is_busy = failure == FW_I2C_BUSY;
    const auto end = [&](int nth, bool used) { return !used ? 0 : nth == 1 && !is_busy ? FW_FAIL : failure; };
    for (int nth = 1; nth <= 16; ++nth) {
      prepare(nth, failure);
      const uint32_t result = result_of([] { return FW_Show_SFP_Moudle(kPort, 1, 1); });
      const std::string shown = wire::output(), line = is_busy ? lines[nth - 1] : none;
      EXPECT_EQ(result, end(nth, nth != 7 && nth != 8 && nth != 16)) << nth;
      EXPECT_TRUE(shown.ends_with(line) && (shown.find("usy") == std::string::npos) == line.empty()) << nth << shown;
      EXPECT_EQ(shown == "SFP 25 not exist! \n", nth == 1 && !is_busy) << nth;
      prepare(nth, failure);
      EXPECT_EQ(trace([] { return FW_Show_SFP_Moudle(kPort, 1, 0); }).find("pu"), std::string::npos) << nth;
    }
    for (uint8_t mode = 2; mode <= 2; --mode) {
      uint8_t speed = 0;
      prepare(1, failure);
      i2c_debug_mode = mode;
      trace([&] { return FW_Get_SFP_Speed(kPort, &speed); });
      EXPECT_EQ(wire::output().empty(), is_busy ? mode == 0 : mode != 1) << +mode;
    }
    for (int nth = 1; nth <= 12; ++nth) {
      uint8_t speed = 0xA5;
      prepare(nth, failure);
      i2c_debug_mode = is_busy ? 2 : 1;
      const uint32_t result = result_of([&] { return FW_Get_SFP_Speed(kPort, &speed); });
      i2c_debug_mode = 0;
      const std::string probe = is_busy ? busy : "SFP 25 non exist! \n";
      const std::string rest = is_busy || nth == 2 || nth == 5 || nth == 6 ? none : phy;
      EXPECT_EQ(std::pair(result, wire::output()), std::pair(end(nth, nth != 3 && nth != 4), nth == 1 ? probe : rest))
          << nth;
      EXPECT_EQ(speed, nth != 1 ? 2 : is_busy ? 0xA5 : 0xFF) << nth;
    }
  }
}

}  // namespace
