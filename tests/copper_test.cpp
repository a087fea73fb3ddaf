// The copper PHY of a 1000BASE-T module: identifier, SGMII mode, link state, registers.
#include <unistd.h>

#include <cstring>

#include "board_test.h"
#include "pattern.h"

namespace {

constexpr uint32_t kPort = 26;
constexpr char kSelect[] = "gpio 88 1a = 0\n";

class Copper : public BoardTest {
 protected:
  uint32_t result_ = 0;

  Copper() { FW_InitOnBoardExpender(); }

  /// Lets the nth transfer from now on end with `failure`; a read gets `word` and 0x0CC0.
  static void answer(int nth, uint32_t failure, int word = 0) {
    wire::on_request([=, count = 0](const wire::Request &request) mutable -> std::optional<int> {
      if ((request.number != 0xB0 && request.number != 0xB1) || ++count != nth) return {};
      const auto high = static_cast<uint8_t>(word >> 8), low = static_cast<uint8_t>(word);
      if (request.number == 0xB0) memcpy(request.record, std::array<uint8_t, 4>{high, low, 0x0C, 0xC0}.data(), 4);
      return static_cast<int>(failure);
    });
  }

  /// What goes over the bus, without board queries and data; a transfer's pause is "+", the waits of 50 ms one line.
  std::string bus(const std::function<uint32_t()> &call) {
    std::string text = trace(call, &result_, {"open", "close"});
    text = replaced(text, "(i2c (96|c2)|put|print).*\n| >[0-9a-f]*", "");
    text = replaced(text, "= 0\npause 5000\n", "+\n");
    return replaced(text, "(pause 1000\n){50}", "wait 50\n");
  }
};

TEST_F(Copper, IdentifierAndSgmiiMode) {
  const uint8_t marvell[] = {0x01, 0x41, 0x0C, 0xCF}, other[] = {0x01, 0x41, 0x0C, 0xD2};
  const std::string own = "i2c b0 ac:60/1 n4 ";
  const struct {
    const uint8_t *id;
    int own_word;
    uint32_t own_result, result, cisco;
    std::string events, output;
  } cases[] = {
      {marvell, 0, 0, 0, 1, "", "Marvell PHY\nSetting SGMII MODE\n"},
      {other, 0x0141, 0, FW_FAIL, 0, "", "NOT Marvell PHY\nFW_SFP_SGMII_Support3:FALSE\n"},
      {nullptr, 0x0141, 0, 0, 1, own + "+\n", "Marvell PHY\nSetting SGMII MODE\n"},
      {nullptr, 0x0140, 0, FW_FAIL, 0, own + "+\n", "NOT Marvell PHY\nFW_SFP_SGMII_Support2:FALSE\n"},
      {nullptr, 0x0141, 0x77, 0x77, 0, own + "= 77\npause 5000\n", "FW_SFP_SGMII_Support1:FALSE\n"},
  };
  i2c_debug_mode = 1;
  for (const auto &c : cases) {
    uint8_t cisco = 7;
    answer(1, c.own_result, c.own_word);
    EXPECT_EQ(bus([&] { return FW_SFP_SGMII_Set(kPort, c.id, &cisco, 2, 2); }), kSelect + c.events) << c.output;
    EXPECT_EQ(std::tuple(wire::output(), result_, cisco), std::tuple(c.output, c.result, c.cisco));
  }
  uint8_t cisco = 7;
  answer(1, 0x77);
  EXPECT_EQ(result_of([&] { return FW_SFP_SGMII_Set(kPort, marvell, &cisco, 1, 0); }), 0x77U);
  EXPECT_EQ(cisco, 7) << "a write failed";
  for (int wrong = 0; wrong < 4; ++wrong) {
    uint8_t id[] = {0x01, 0x41, 0x0C, 0xC2};
    id[wrong] ^= 0x10;
    EXPECT_EQ(FW_SFP_SGMII_Support(kPort, id), 0U) << wrong;
  }
  EXPECT_EQ(FW_SFP_SGMII_Support(9, marvell), FW_ABSENT);
  EXPECT_EQ(FW_SFP_SGMII_Support(28, marvell), FW_NOT_SFP);
}

TEST_F(Copper, LinkState) {
  const std::string up = "SFP RJ45 Link up\n";
  const struct {
    int status;
    uint32_t failure, result;
    int link, speed;
    std::string output;
  } cases[] = {
      {0xFBFF, 0, 0, 0, 7, "SFP RJ45 Link down\n"},
      {0x0400, 0, 0, 1, 4, up + "SFP RJ45 Speed 10 Half\n"},
      {0x2400, 0, 0, 1, 1, up + "SFP RJ45 Speed 10 Full\n"},
      {0x4400, 0, 0, 1, 5, up + "SFP RJ45 Speed 100 Half\n"},
      {0x6C00, 0, 0, 1, 2, up + "SFP RJ45 Speed 100 Full\n"},
      {0x8400, 0, 0, 1, 3, up + "SFP RJ45 Speed 1G Full\n"},
      {0xC4A1, 0, FW_FAIL, 1, 0, up + "SFP RJ45 Unnkown speed, status reg=0xc4a1\n"},
      {0x8400, FW_I2C_BUSY, FW_I2C_BUSY, 7, 7, "I2C Busy Busy\n"},
      {0x8400, 0x1111, 0x1111, 7, 7, ""},
  };
  for (const auto &c : cases) {
    for (const bool verbose : {false, true}) {
      uint8_t link = 7, speed = 7;
      answer(1, c.failure, c.status);
      bus([&] { return FW_SFP_SGMII_Get_Status(kPort, &link, &speed, verbose); });
      EXPECT_EQ(std::tuple(wire::output(), result_, link, speed),
                std::tuple(verbose ? c.output : "", c.result, c.link, c.speed));
    }
  }
}

TEST_F(Copper, LinkOfTheVirtualModule) {
  const struct {
    const char *world;
    bool waits;
    uint16_t status, partner, gigabit, phy;
  } rows[] = {
      {"set settle 60000", true, 0x796D, 0x41E1, 0x3800, 0xAC00},
      {"set link 26 100 half", false, 0x7949, 0, 0, 0},
      {"set link 26 100 half", true, 0x796D, 0x4081, 0, 0x4C00},
      {"set link 26 10", true, 0x796D, 0x4061, 0, 0x2C00},
      {"set link 26 1000 half", true, 0x796D, 0x40A1, 0x3400, 0x8C00},
      {"set link 26 down", true, 0x7949, 0, 0, 0},
  };
  sim("plug 26 copper");
  for (const auto &row : rows) {
    sim(row.world);
    if (row.waits) usleep(61000000);
    uint16_t status = 0, partner = 0, gigabit = 0, phy = 0;
    trace([&] {
      return FW_Get_SFP_SGMII_Reg(kPort, 1, &status) | FW_Get_SFP_SGMII_Reg(kPort, 5, &partner) |
             FW_Get_SFP_SGMII_Reg(kPort, 10, &gigabit) | FW_Get_SFP_SGMII_Reg(kPort, 17, &phy);
    });
    EXPECT_EQ(std::tuple(status, partner, gigabit, phy), std::tuple(row.status, row.partner, row.gigabit, row.phy))
        << row.world;
  }
}

TEST_F(Copper, RegisterAccess) {
  const std::string tx = "i2c b0 78:1/1 n1 +\n", gone = "SFP 26 non exist! \n";
  const struct {
    std::function<uint32_t(uint16_t *)> call;
    std::string access, output, busy_line;
    uint32_t busy, not_copper;
    int value;
  } cases[] = {
      {[](uint16_t *) { return FW_Set_SFP_SGMII_Reg(kPort, 4, 0x91E1); }, "b1 ac:4/1 n2 91e1", "", gone, FW_FAIL, 0, 7},
      {[](uint16_t *value) { return FW_Get_SFP_SGMII_Reg(kPort, 4, value); }, "b0 ac:4/1 n4", "", "I2C bus busy\n",
       FW_I2C_BUSY, FW_FAIL, 0x91E1},
      {[](uint16_t *) { return FW_Show_SFP_SGMII_Reg(kPort, 0x104); }, "b0 ac:104/1 n4",
       "SFP port-26 reg-260(0x104) value=0x91e1\n", "I2C Bus busy\n", FW_I2C_BUSY, 0, 7},
  };
  for (const auto &c : cases) {
    uint16_t value = 7;
    const auto run = [&] { return c.call(&value); };
    const auto expect_refusal = [&](uint32_t result, const std::string &output) {
      bus(run);
      EXPECT_EQ(std::tuple(result_, wire::output(), value), std::tuple(result, output, 7)) << c.access;
    };
    expect_refusal(FW_FAIL, gone);
    sim("plug 26 1g-sx");
    expect_refusal(c.not_copper, "This is not 1000BaseT module\n");
    sim("plug 26 copper");
    answer(1, FW_I2C_BUSY);
    expect_refusal(c.busy, c.busy_line);
    answer(2, FW_I2C_BUSY);
    expect_refusal(FW_I2C_BUSY, "");
    wire::reset();
    EXPECT_EQ(FW_Set_SFP_SGMII_Reg(kPort, 4, 0x91E1) | FW_SetPortSfpTxDisable(kPort, 1), 0U);
    EXPECT_EQ(bus(run), std::string("wait 50\n") + kSelect + "i2c b0 a0:0/1 n16 +\nwait 50\n" + tx + tx +
                            "i2c b1 78:1/1 n1 20 +\n" + tx + "wait 50\nwait 50\nwait 50\nwait 50\ni2c " + c.access +
                            " +\n");
    EXPECT_EQ(std::tuple(result_, wire::output(), value), std::tuple(0, c.output, c.value));
    EXPECT_EQ(bus(run),
              std::string("wait 50\n") + kSelect + "i2c b0 a0:0/1 n16 +\nwait 50\n" + tx + "i2c " + c.access + " +\n")
        << "the transmitter is on";
    value = 7;
    answer(3, 0x77, 0x1234);
    expect_refusal(0x77, "");
    wire::reset();
    sim("unplug 26");
  }
}

TEST_F(Copper, AdvertisementCheck) {
  for (const auto &[failure, held, result, shown] :
       {std::array{0xFFFA, 0x01E1, 0, 7}, {0, 0x0DE1, 0, 0x0DE1}, {0, 1, 1, 1}}) {
    uint16_t value = 7;
    answer(1, static_cast<uint32_t>(failure), held);
    const std::string events = bus([&] { return FW_SFP_PHY_Fail_Chk(kPort, 0x0DE1, &value); });
    EXPECT_TRUE(events.starts_with(std::string(kSelect) + "i2c b0 ac:4/1 n4 ")) << events;
    EXPECT_EQ(std::tuple(result_, value), std::tuple(result, shown));
  }
  uint16_t value = 7;
  uint8_t link = 7;
  EXPECT_EQ(std::pair(FW_SFP_PHY_Fail_Chk(9, 1, &value), value), std::pair(FW_ABSENT, uint16_t{7}));
  EXPECT_EQ(std::pair(FW_SFP_SGMII_Get_Status(28, &link, &link, 0), link), std::pair(FW_NOT_SFP, uint8_t{7}));
}

}  // namespace
