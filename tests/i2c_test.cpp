// Transfers, clock and sensor, and a fault in every call of whatever asks the I2C driver.
#include <cstring>
#include <map>

#include "board_test.h"

namespace {

using Bus = BoardTest;

TEST_F(Bus, TransfersOnTheWire) {
  wire::on_request([&](const wire::Request &request) {
    if (request.number == 0xB0) memset(request.record, 0x5A, 2);
    return static_cast<int>(FW_I2C_BUSY);
  });
  uint8_t buf[130] = {0xEE, 0xEE, 0xEE, 0xEE};
  uint32_t result = 0;
  EXPECT_EQ(trace([&] { return FW_I2C_BufRead(0xA0, 0x12345678, 4, 3, buf); }, &result),
            "open i2c rw\ni2c b0 a0:12345678/4 n3 >5a5a00 = fffa\nclose i2c\npause 5000\n");
  EXPECT_TRUE(result == FW_I2C_BUSY && buf[1] == 0x5A && buf[2] == 0 && buf[3] == 0xEE) << "copied all the same";
  EXPECT_EQ(trace([&] { return FW_I2C_BufWrite(0x64, 0, 0, 4, buf); }, &result),
            "open i2c rw\ni2c b1 64:0/0 n4 5a5a00ee = fffa\nclose i2c\npause 5000\n");
  buf[127] = 0x77;
  EXPECT_NE(trace([&] { return FW_I2C_BufWrite(0x40, 0, 1, 128, buf); }).find("0077 = fffa"), std::string::npos);
  EXPECT_EQ(FW_I2C_BufRead(0x4C, 0, 1, 0, nullptr) | FW_I2C_BufWrite(0x4C, 0, 1, 0, nullptr), 0U);
  const auto refused = [](uint32_t offset_len, uint8_t len, void *data) {
    return FW_I2C_BufRead(0x40, 0, offset_len, len, data) == FW_FAIL &&
           FW_I2C_BufWrite(0x40, 0, offset_len, len, data) == FW_FAIL;
  };
  const auto all_refused = [&] {
    return refused(5, 1, buf) && refused(256, 1, buf) && refused(1, 129, buf) && refused(1, 1, nullptr);
  };
  EXPECT_EQ(trace(all_refused, &result), "");
  EXPECT_EQ(result, 1U);
  EXPECT_EQ(trace([] { return FW_SFP_mDelay(2), FW_SFP_mDelay(0), 0U; }), "pause 1000\npause 1000\n");
  EXPECT_TRUE(FW_GetPoEInfo(1, "x") == FW_FAIL && FW_SetPoEPort() == FW_FAIL && FW_SetPoEReg(2.0) == FW_FAIL);
  EXPECT_TRUE(FW_GetPoEReg() == FW_FAIL && FW_GetSyncE_RegData(1) == FW_FAIL && FW_SetSyncE_RegData() == FW_FAIL);
}

/// Answers reads of a device with these bytes; the virtual switch answers the rest.
void answer_reads(std::map<uint8_t, std::vector<uint8_t>> answers) {
  wire::on_request([=](const wire::Request &request) -> std::optional<int> {
    auto *record = static_cast<uint8_t *>(request.record);
    const auto answer = request.number == 0xB0 ? answers.find(record[129]) : answers.end();
    if (answer == answers.end()) return std::nullopt;
    std::copy(answer->second.begin(), answer->second.end(), record);
    return 0;
  });
}

TEST_F(Bus, ClockIsSetReadAndPolled) {
  EXPECT_TRUE(s35390A_to_time(0xFF, 0) == 0 && s35390A_to_time(0xFF, 255) == 165 && time_to_s35390A(99) == 0x99);
  const auto seen = [](auto call) { return trace(call, nullptr, {"open", "close", "pause"}); };
  const std::string alive = "i2c c0 00>01 = 0\n";
  rtc_record rec{};
  rec.tm = {45, 30, 14, 15, 2, 125, 6, 0, 0, 0, 0};
  EXPECT_EQ(seen([&] { return FW_SetRtc(&rec); }),
            alive + "i2c b1 64:0/0 n7 a4c0a800280ca2 = 0\ni2c b1 60:0/0 n1 40 = 0\n");
  EXPECT_TRUE(rec.tm.tm_year == 25 && rec.tm.tm_mon == 3 && rec.tm.tm_wday == 6);
  rec.tm = {0x105, -253, 0x102, 0x101, INT32_MAX, INT32_MIN, 0, 0, 0, 0, 0};
  EXPECT_EQ(seen([&] { return FW_SetRtc(&rec); }).substr(17, 33), "i2c b1 64:0/0 n7 6f00800040c0a0 =")
      << "low bytes count";
  uint8_t mode[2] = {2, 0xEE};
  EXPECT_TRUE(seen([&] { return FW_SetRtc1224(mode); }) == alive && FW_SetRtc1224(mode) == FW_FAIL);
  for (const uint8_t flag : std::vector<uint8_t>{0, 1}) {
    EXPECT_EQ(seen([&] { return FW_SetRtc1224(&flag); }),
              alive + "i2c b1 60:0/0 n1 " + (flag != 0 ? "40" : "00") + " = 0\n");
    EXPECT_TRUE(FW_GetRtc1224(mode) == 0 && mode[0] == flag && mode[1] == 0xEE);
  }
  answer_reads({{0x64, std::vector<uint8_t>(7, 0xFF)}, {0x60, {0x40}}});
  EXPECT_NE(seen(FW_PollRtc).find("c4 0101000055000000550000002d0000002d000000180000000901000007000000"),
            std::string::npos);
  answer_reads({{0x64, {0xA4, 0xC7, 0xAB, 0x7F, 0x2A, 0x0D, 0xA3}}, {0x60, {0xBF}}});
  EXPECT_EQ(seen(FW_PollRtc), alive +
                                  "i2c b0 64:0/0 n7 >a4c7ab7f2a0da3 = 0\ni2c c7 00 = 0\ni2c b0 60:0/0 n1 >bf = 0\n"
                                  "i2c c4 000100002d0000001e0000000e0000000f000000020000007d00000006000000" +
                                  std::string(32, '0') + " = 0\n");
  memset(&rec, 0xEE, sizeof rec);
  EXPECT_EQ(FW_GetRtc(&rec), 0U);
  EXPECT_TRUE(rec.pm == 1 && rec.tm.tm_sec == 45 && rec.tm.tm_year == 125 && rec.tm.tm_zone == 0);
}

TEST_F(Bus, TemperatureIsNineBits) {
  const std::tuple<std::vector<uint8_t>, std::string, std::string> cases[] = {
      {{0x19, 0x00}, "1900", "0000c841"}, {{0x19, 0x80}, "1980", "0000cc41"}, {{0x19, 0x7F}, "197f", "0000c841"},
      {{0x00, 0x00}, "0000", "00000000"}, {{0xFF, 0x80}, "ff80", "000000bf"}, {{0xE7, 0x00}, "e700", "0000c8c1"},
      {{0x80, 0x00}, "8000", "000000c3"}, {{0x7F, 0xFF}, "7fff", "0000ff42"}};
  for (const auto &[bytes, raw, degrees] : cases) {
    answer_reads({{0x9E, bytes}});
    EXPECT_EQ(trace(FW_PollTemperature, nullptr, {"open", "close", "pause"}),
              "i2c c1 00>01 = 0\ni2c b0 9e:0/1 n2 >" + raw + " = 0\ni2c c8 00 = 0\ni2c c5 " + degrees + " = 0\n");
  }
  temp_record record{};
  EXPECT_TRUE(FW_GetTemperature(&record) == 0 && record.temperature == 127.5F);
}

/// "RESULT/OUT BYTE/CALLS MADE" for each system call that is made to fail in turn.
std::string sweep(uint32_t (*call)(uint8_t *out)) {
  std::string outcomes;
  for (int nth = 1;; ++nth) {
    uint8_t out[sizeof(rtc_record)] = {0xEE};
    wire::fail_call("any", nth);
    const uint32_t result = result_of([&] { return call(out); });
    EXPECT_EQ(wire::open_descriptors(), 0);
    if (wire::calls("any") < nth) return outcomes;
    char outcome[40];
    snprintf(outcome, sizeof outcome, "%x/%x/%d ", result, out[0], wire::calls("any"));
    outcomes += outcome;
  }
}

TEST_F(Bus, AFaultInEveryCall) {
  wire::on_request([](const wire::Request &request) {
    auto *record = static_cast<uint8_t *>(request.record);
    if (request.number == 0xC0 || request.number == 0xC1) record[0] = 2;
    if (request.number == 0x96 || request.number == 0xC2) record[1] = request.number == 0xC2 ? 1 : 7;
    return 0;
  });
  const std::string absent = "ffff/ee/1 ffffffff/ee/2 ", unseen = "0/0/11 0/0/14 0/0/13 0/0/14 ";
  const std::tuple<const char *, uint32_t (*)(uint8_t *), std::string> cases[] = {
      {"board", [](uint8_t *out) { return FW_GetDauBoard(2, out); }, "ffff/ee/1 ffffffff/0/4 fffd/0/3 fffd/0/4 "},
      {"select", [](uint8_t *) { return FW_SfpSel(9); },
       "0/ee/15 0/ee/18 fffd/ee/3 fffd/ee/4 0/ee/15 0/ee/18 0/ee/17 0/ee/18 "
       "fffc/ee/13 0/ee/18 fffc/ee/15 fffc/ee/16 0/ee/15 0/ee/18 0/ee/17 0/ee/18 ffff/ee/17 ffffffff/ee/18 "},
      {"loss of signal", [](uint8_t *out) { return FW_GetPortSfpLos(27, out); },
       unseen + unseen + unseen + "ffff/ee/13 ffffffff/0/14 "},
      {"expander inputs", FW_GetExpenderIO, absent + "0/0/3 0/0/4 "},
      {"clock", [](uint8_t *out) { return FW_GetRtc(reinterpret_cast<rtc_record *>(out)); },
       absent + "ffff/ee/3 ffffffff/0/4 "},
      {"clock set", [](uint8_t *out) { return FW_SetRtc(reinterpret_cast<rtc_record *>(out)); },
       absent + "ffff/ee/3 ffffffff/ee/4 ffff/ee/5 ffffffff/ee/6 "},
      {"clock mode", FW_GetRtc1224, absent + "ffff/ee/3 ffffffff/ee/4 "},
      {"clock poll", [](uint8_t *) { return FW_PollRtc(); },
       absent + "ffff/ee/5 ffffffff/ee/6 0/ee/9 0/ee/10 ffff/ee/7 ffffffff/ee/8 ffff/ee/9 ffffffff/ee/10 "},
      {"sensor poll", [](uint8_t *) { return FW_PollTemperature(); },
       absent + "ffff/ee/5 ffffffff/ee/6 0/ee/7 0/ee/8 ffff/ee/7 ffffffff/ee/8 "},
  };
  for (const auto &[name, call, outcomes] : cases) EXPECT_EQ(sweep(call), outcomes) << name;
}

TEST_F(Bus, AFailedPollRaisesTheFailFlag) {
  wire::on_request(
      [](const wire::Request &request) { return request.number == 0xB0 ? std::optional(5) : std::nullopt; });
  for (const auto &[poll, flag] : {std::pair(&FW_PollRtc, "c7"), {&FW_PollTemperature, "c8"}}) {
    const std::string events = trace(poll, nullptr, {"open", "close", "pause"});
    EXPECT_TRUE(events.ends_with(std::string(" = 5\ni2c ") + flag + " 01 = 0\n")) << events;
  }
}

TEST_F(Bus, NothingIsTouchedOnAnAbsentChip) {
  sim("set rtc absent");
  sim("set lm75 absent");
  for (const auto call : {FW_PollRtc, FW_PollTemperature, +[] { return FW_GetTemperature(nullptr); },
                          +[] { return FW_GetRtc(nullptr); }, +[] { return FW_SetRtc(nullptr); },
                          +[] { return FW_GetRtc1224(nullptr); }, +[] { return FW_SetRtc1224(nullptr); }})
    EXPECT_EQ(call(), FW_ABSENT);
}

}  // namespace
