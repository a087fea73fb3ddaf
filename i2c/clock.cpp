// S-35390A real-time clock. Its register is chosen by the command bits inside the device address, so there is no
// offset.
#include <stddef.h>

#include "i2c/alive.h"
#include "zelboard/i2c.h"

static_assert(sizeof(rtc_record) == 48 && offsetof(rtc_record, tm) == 4);

namespace zel {
namespace {

constexpr uint8_t kStatus1 = 0x60;
constexpr uint8_t kRealTimeData = 0x64;
constexpr uint8_t k24Hour = 0x40;      // of status register 1
constexpr uint8_t kAmPmFlag = 0x02;    // of the hour byte
constexpr int32_t kYearsTo2000 = 100;  // tm_year counts from 1900, the chip from 2000

uint32_t check_clock() { return check_alive(FW_GetRTC_Alive); }

uint32_t read_chip(uint8_t address, uint8_t len, uint8_t *bytes) { return FW_I2C_BufRead(address, 0, 0, len, bytes); }

uint32_t write_chip(uint8_t address, uint8_t len, const uint8_t *bytes) {
  return FW_I2C_BufWrite(address, 0, 0, len, bytes);
}

uint8_t encode(int32_t field) { return time_to_s35390A(static_cast<uint8_t>(field)); }

/// Adds and wraps: a field may hold any value.
void add_wrapping(int32_t &field, int32_t by) {
  field = static_cast<int32_t>(static_cast<uint32_t>(field) + static_cast<uint32_t>(by));
}

rtc_record decode(const uint8_t (&raw)[7], uint8_t status) {
  rtc_record record{};
  record.mode24 = (status & k24Hour) != 0;
  record.pm = (raw[4] & kAmPmFlag) != 0;
  record.tm.tm_year = s35390A_to_time(raw[0], 8) + kYearsTo2000;
  record.tm.tm_mon = s35390A_to_time(raw[1], 5) - 1;
  record.tm.tm_mday = s35390A_to_time(raw[2], 6);
  record.tm.tm_wday = s35390A_to_time(raw[3], 3);
  record.tm.tm_hour = s35390A_to_time(raw[4], 6);
  record.tm.tm_min = s35390A_to_time(raw[5], 7);
  record.tm.tm_sec = s35390A_to_time(raw[6], 7);
  return record;
}

}  // namespace
}  // namespace zel

uint32_t FW_GetRTC_Alive(uint8_t *alive) { return zel::get_byte(zel::kGetRtcAlive, alive); }

uint32_t FW_GetRtc(rtc_record *rec) {
  if (const uint32_t refusal = zel::check_clock(); refusal != 0) return refusal;
  return zel::fill_record(zel::kGetRtc, rec);
}

uint32_t FW_SetRtc(rtc_record *rec) {
  if (const uint32_t refusal = zel::check_clock(); refusal != 0) return refusal;
  zel::add_wrapping(rec->tm.tm_year, -zel::kYearsTo2000);
  zel::add_wrapping(rec->tm.tm_mon, 1);
  const rtc_tm &tm = rec->tm;
  const uint8_t bytes[7] = {zel::encode(tm.tm_year), zel::encode(tm.tm_mon), zel::encode(tm.tm_mday), 0,
                            zel::encode(tm.tm_hour), zel::encode(tm.tm_min), zel::encode(tm.tm_sec)};
  if (const uint32_t failed = zel::write_chip(zel::kRealTimeData, sizeof bytes, bytes); failed != 0) return failed;
  return zel::write_chip(zel::kStatus1, 1, &zel::k24Hour);
}

uint32_t FW_GetRtc1224(uint8_t *mode) {
  if (const uint32_t refusal = zel::check_clock(); refusal != 0) return refusal;
  uint8_t status = 0;
  const uint32_t result = zel::read_chip(zel::kStatus1, 1, &status);
  if (result == 0) *mode = (status & zel::k24Hour) != 0;
  return result;
}

uint32_t FW_SetRtc1224(const uint8_t *mode) {
  if (const uint32_t refusal = zel::check_clock(); refusal != 0) return refusal;
  if (*mode > 1) return FW_FAIL;
  const uint8_t status = *mode == 1 ? zel::k24Hour : 0;
  return zel::write_chip(zel::kStatus1, 1, &status);
}

uint32_t FW_RTC_Fail_Set(uint8_t fail) { return zel::send_byte(zel::kSetRtcFail, fail); }

uint32_t FW_PollRtc(void) {
  if (const uint32_t refusal = zel::check_clock(); refusal != 0) return refusal;
  uint8_t raw[7] = {};
  const uint32_t result = zel::read_chip(zel::kRealTimeData, sizeof raw, raw);
  FW_RTC_Fail_Set(result != 0);
  if (result != 0) return result;
  uint8_t status = 0;
  if (const uint32_t failed = zel::read_chip(zel::kStatus1, 1, &status); failed != 0) return failed;
  rtc_record record = zel::decode(raw, status);
  return zel::request(zel::kSetRtc, &record).result;
}
