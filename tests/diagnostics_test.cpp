// Digital diagnostics: the arithmetic of SFF-8472 page A2h, by the examples that the standard gives for its fields. Names of
// the bits of a copper PHY.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <vector>

#include "cli/diagnostics_page.h"
#include "zelboard/flash.h"

namespace {

enum Number { Temperature, Voltage, Bias, TxPower, RxPower };

struct Pages {
  std::array<uint8_t, kPageLength> identification{}, page{};

  explicit Pages(bool external) { identification[92] = external ? 0x50 : 0x60; }
  void put(size_t at, uint16_t word) {
    page[at] = static_cast<uint8_t>(word >> 8);
    page[at + 1] = static_cast<uint8_t>(word);
  }
  void put_float(size_t at, float number) {
    const auto bits = std::bit_cast<uint32_t>(number);
    put(at, static_cast<uint16_t>(bits >> 16));
    put(at + 2, static_cast<uint16_t>(bits));
  }
  Diagnostics read() const { return diagnostics_in(identification, page); }
};

TEST(Diagnostics, InternalCalibrationByTheStandardsTables) {
  const struct {
    Number quantity;
    uint16_t word;
    double value;
  } cases[] = {{Temperature, 0x7FFF, 127.996},
               {Temperature, 0x7D00, 125},
               {Temperature, 0x1900, 25},
               {Temperature, 0x0101, 1.004},
               {Temperature, 0x00FF, 0.996},
               {Temperature, 0x0001, 0.004},
               {Temperature, 0x0000, 0},
               {Temperature, 0xFFFF, -0.004},
               {Temperature, 0xFF00, -1},
               {Temperature, 0xE700, -25},
               {Temperature, 0xD800, -40},
               {Temperature, 0x8001, -127.996},
               {Temperature, 0x8000, -128},
               {Voltage, 0xFFFF, 6.5535},
               {Voltage, 33000, 3.3},
               {Bias, 0xFFFF, 131.07},
               {Bias, 3500, 7},
               {TxPower, 0xFFFF, 6.5535},
               {TxPower, 10000, 1},
               {RxPower, 1, 0.0001},
               {RxPower, 0, 0}};
  constexpr size_t kWords[] = {96, 98, 100, 102, 104};
  for (const auto &c : cases) {
    Pages pages(false);
    pages.put(76, 0x0200);  // constants that count for external calibration only
    pages.put(86, 0x0500);
    pages.put(kWords[c.quantity], c.word);
    const Measurement found = pages.read().measured[c.quantity];
    EXPECT_NEAR(found.value, c.value, 0.0005) << found.name << " " << c.word;
    EXPECT_EQ(found.word, c.word);
  }
}

// Slopes are of 1/256 without a sign, offsets have one; a threshold is calibrated as its value is.
TEST(Diagnostics, ExternalCalibrationOfALine) {
  const struct {
    Number quantity;
    size_t constants;
    uint16_t slope, offset, word;
    double value;
  } cases[] = {{Voltage, 88, 0x0000, 0, 10000, 0},
               {Voltage, 88, 0x0001, 0, 10000, 0.0039},
               {Voltage, 88, 0x0100, 0, 10000, 1},
               {Voltage, 88, 0x0101, 0, 10000, 1.0039},
               {Voltage, 88, 0x01FF, 0, 10000, 1.9961},
               {Voltage, 88, 0xFFFF, 0, 100, 2.55996},
               {Voltage, 88, 0x0100, 0xFFFF, 10000, 0.9999},
               {Voltage, 88, 0x0100, 0x7FFF, 0, 3.2767},
               {Bias, 76, 0x0200, 0xFF9C, 1000, 3.8},
               {TxPower, 80, 0x0080, 0x000A, 20000, 1.001},
               {Temperature, 84, 0x0100, 0xFF00, 0x1900, 24},
               {Temperature, 84, 0x0180, 0x0040, 0xE700, -37.25}};
  constexpr size_t kWords[] = {96, 98, 100, 102, 104}, kHighAlarms[] = {0, 8, 16, 24, 32};
  for (const auto &c : cases) {
    Pages pages(true);
    pages.put(c.constants, c.slope);
    pages.put(c.constants + 2, c.offset);
    pages.put(kWords[c.quantity], c.word);
    pages.put(kHighAlarms[c.quantity], c.word);
    const Measurement found = pages.read().measured[c.quantity];
    EXPECT_NEAR(found.value, c.value, 0.00005) << found.name << " " << c.slope << " " << c.offset;
    EXPECT_EQ(found.high_alarm, found.value);
  }
}

TEST(Diagnostics, ReceivedPowerIsAPolynomialOfFloats) {
  const struct {
    float c4, c3, c2, c1, c0;
    uint16_t word;
    double microwatts;
  } cases[] = {{0, 0, 0, 1, 0, 5000, 500},
               {0, 0, 0, 0.5F, -20, 1000, 48},
               {0, 0, 2e-5F, 0.25F, 3, 2000, 58.3},
               {1e-15F, -1e-10F, 1e-6F, 0.1F, 0, 10000, 101},
               {0, 0, 0, 0, 0, 10000, 0}};
  for (const auto &c : cases) {
    Pages pages(true);
    const float coefficients[] = {c.c4, c.c3, c.c2, c.c1, c.c0};
    for (size_t i = 0; i < 5; ++i) pages.put_float(56 + 4 * i, coefficients[i]);
    pages.put(104, c.word);
    EXPECT_NEAR(pages.read().measured[RxPower].value * 1000, c.microwatts, 0.001) << c.c1;
  }
  EXPECT_NEAR(dbm(1), 0, 1e-9);
  EXPECT_NEAR(dbm(0.5), -3.0103, 1e-4);
  EXPECT_EQ(dbm(0), -40);
  EXPECT_EQ(dbm(-1), -40);
  EXPECT_TRUE(std::isnan(dbm(std::nan(""))));
}

// Flags, limits and status bits: each is in its place, and what page A0h does not offer is not told.
TEST(Diagnostics, FlagsLimitsAndStatus) {
  Pages pages(false);
  for (size_t quantity = 0; quantity < 5; ++quantity) {
    const uint16_t limits[] = {4000, 1000, 3000, 2000};
    for (size_t i = 0; i < 4; ++i) pages.put(8 * quantity + 2 * i, limits[i]);
  }
  const struct {
    uint16_t word;
    Standing standing;
  } steps[] = {{4001, Standing::HighAlarm}, {4000, Standing::HighWarning}, {3000, Standing::Normal},
               {2000, Standing::Normal},    {1999, Standing::LowWarning},  {1000, Standing::LowWarning},
               {999, Standing::LowAlarm}};
  for (const auto &step : steps) {
    pages.put(104, step.word);
    EXPECT_EQ(standing_of(pages.read().measured[RxPower]), step.standing) << step.word;
  }
  for (size_t bit = 0; bit < 10; ++bit) {
    pages.page[112] = pages.page[113] = 0;
    pages.page[112 + bit / 8] = static_cast<uint8_t>(0x80 >> bit % 8);
    pages.identification[93] = 0x80;
    const Measurement found = pages.read().measured[bit / 2];
    EXPECT_EQ(std::pair(found.high_alarm_flag, found.low_alarm_flag), std::pair(bit % 2 == 0, bit % 2 == 1)) << bit;
    EXPECT_FALSE(found.high_warning_flag || found.low_warning_flag);
    pages.identification[93] = 0;
    EXPECT_FALSE(pages.read().measured[bit / 2].high_alarm_flag) << "it is not offered";
  }
  pages.page[110] = 0xC6;
  pages.identification[93] = 0x50;
  const Diagnostics found = pages.read();
  EXPECT_EQ(std::tuple(found.tx_disable, found.soft_tx_disable, found.tx_fault, found.rx_los, found.ready),
            std::tuple(std::optional(true), std::optional(true), std::optional<bool>(), std::optional(true), true));
  for (size_t at = 32; at < 40; ++at) pages.page[at] = 7;
  EXPECT_EQ(standing_of(pages.read().measured[RxPower]), Standing::NoLimits);
}

TEST(Phy, EachBitHasItsName) {
  std::string all;
  for (uint32_t number = 0; number < 32; ++number) {
    for (const uint16_t value : {uint16_t{0x5555}, uint16_t{0xAAAA}})
      all += decode_register(number, value).dump() + "\n";
  }
  EXPECT_EQ(FW_crc32(reinterpret_cast<const uint8_t *>(all.data()), static_cast<uint32_t>(all.size())), 3841818217U)
      << all;
}

}  // namespace
