#include <string.h>
#include <time.h>

#include "board.h"
#include "changes.h"

// S-35390A. The command bits of the address choose the register: 0 and 1 status, 2 real-time data of seven bytes, 3 the
// last three of them, 4 and 5 alarms, 6 correction, 7 free. The least significant bit of a byte comes first on the bus.

namespace zelsim {
namespace {

enum ClockCommand : unsigned { Status1 = kClockStatus, Status2, RealTime, TimeOnly };
enum TimeField : unsigned { Year, Month, Day, Weekday, Hour, Minute, Second, kTimeFields };
static_assert(kTimeFields == kClockTimeBytes);

// In the master's bit order.
constexpr uint8_t kReset = 0x80;
constexpr uint8_t kWritableStatus = 0x70;
constexpr uint8_t kPm = 0x02;

constexpr int64_t kYear2000 = 946684800;    // in seconds since 1970
constexpr int64_t kCentury = 3155760000;    // in seconds, from 2000 on
constexpr int64_t kMicroseconds = 1000000;  // in a second

uint8_t reversed(unsigned byte) {
  unsigned mirrored = 0;
  for (unsigned bit = 0; bit < 8; ++bit) mirrored |= (byte >> bit & 1u) << (7 - bit);
  return static_cast<uint8_t>(mirrored);
}

uint8_t encode(int value) { return reversed(static_cast<unsigned>(value / 10 * 16 + value % 10)); }

// The chip takes digits that no calendar has as the lowest value.
int decode(uint8_t raw, unsigned mask, int lowest, int highest) {
  unsigned bcd = reversed(raw) & mask;
  unsigned tens = bcd >> 4;
  unsigned ones = bcd & 15;
  int value = static_cast<int>(tens * 10 + ones);
  if (ones > 9 || value < lowest || value > highest) return lowest;
  return value;
}

void read_time(const Board &board, uint8_t *field) {
  const Clock &clock = board.i2c.clock;
  auto seconds = static_cast<time_t>(clock_seconds(board));
  tm now = {};
  gmtime_r(&seconds, &now);
  field[Year] = encode(now.tm_year % 100);
  field[Month] = encode(now.tm_mon + 1);
  field[Day] = encode(now.tm_mday);
  field[Weekday] = encode((now.tm_wday + clock.weekday_shift) % 7);
  bool hours24 = (clock.value[Status1] & kClock24Hours) != 0;
  field[Hour] = encode(hours24 ? now.tm_hour : now.tm_hour % 12);
  if (now.tm_hour >= 12) field[Hour] |= kPm;  // in both modes
  field[Minute] = encode(now.tm_min);
  field[Second] = encode(now.tm_sec);
}

tm decoded_time(const uint8_t *field, int highest_hour) {
  tm then = {};
  then.tm_year = 100 + decode(field[Year], 0xff, 0, 99);
  then.tm_mon = decode(field[Month], 0x1f, 1, 12) - 1;
  then.tm_mday = decode(field[Day], 0x3f, 1, 31);
  then.tm_hour = decode(field[Hour], 0x3f, 0, highest_hour);
  then.tm_min = decode(field[Minute], 0x7f, 0, 59);
  then.tm_sec = decode(field[Second], 0x7f, 0, 59);
  return then;
}

void write_time(Board &board, const uint8_t *field) {
  Clock &clock = board.i2c.clock;
  bool hours24 = (clock.value[Status1] & kClock24Hours) != 0;
  bool afternoon = !hours24 && (field[Hour] & kPm) != 0;
  tm then = decoded_time(field, hours24 ? 23 : 11);
  if (afternoon) then.tm_hour += 12;
  set_clock(board, timegm(&then));  // timegm carries a 31 April on to 1 May
  int weekday = decode(field[Weekday], 0x07, 0, 6);
  clock.weekday_shift = weekday_shift(weekday, then);
}

void write_status(Board &board, uint8_t value) {
  Clock &clock = board.i2c.clock;
  bool is_reset = (value & kReset) != 0;
  if (is_reset) {
    clock = {};
    set_clock(board, kYear2000);
  } else {
    clock.value[Status1] = value & kWritableStatus;
  }
}

// Moves the fields of the time from `first` on. A longer read repeats them; the rest of a longer write is ignored.
void transfer_time(Board &board, Transfer &transfer, TimeField first) {
  size_t count = kTimeFields - first;
  uint8_t fields[kTimeFields];
  read_time(board, fields);
  if (!transfer.write) {
    for (unsigned i = 0; i < transfer.len; ++i) transfer.data[i] = fields[first + i % count];
    return;
  }
  if (transfer.len == 0) return;
  memcpy(fields + first, transfer.data, transfer.len < count ? transfer.len : count);
  write_time(board, fields);
}

void log_time(Board &board, uint32_t before) {
  auto after = static_cast<uint32_t>(clock_seconds(board));
  log_change(board, {.kind = ChangeKind::ClockTime, .before = before, .after = after});
}

// A register of one byte, which a longer read repeats.
void transfer_register(Board &board, Transfer &transfer, unsigned command) {
  uint8_t &value = board.i2c.clock.value[command];
  if (!transfer.write) {
    memset(transfer.data, value, transfer.len);
    return;
  }
  if (transfer.len == 0) return;
  if (command == Status1) {
    write_status(board, transfer.data[0]);
  } else {
    value = transfer.data[0];
  }
}

}  // namespace

// The chip sets the mark of the afternoon in both modes. In 24-hour mode the hour has the 12 hours already.
int64_t clock_reading(const uint8_t *fields) {
  tm time = decoded_time(fields, 23);
  bool afternoon = (fields[Hour] & kPm) != 0 && time.tm_hour < 12;
  if (afternoon) time.tm_hour += 12;
  return timegm(&time);
}

uint8_t weekday_shift(int weekday, const tm &date) { return static_cast<uint8_t>((weekday - date.tm_wday + 7) % 7); }

int clock_weekday(const uint8_t *fields) { return decode(fields[Weekday], 0x07, 0, 6); }

// The chip knows two digits of the year: after 2099 comes 2000.
int64_t clock_seconds(const Board &board) {
  int64_t seconds = wrapping_sum(now_us(board), board.i2c.clock.shift_us) / kMicroseconds - kYear2000;
  return kYear2000 + (seconds % kCentury + kCentury) % kCentury;
}

void set_clock(Board &board, int64_t seconds) {
  board.i2c.clock.shift_us = wrapping_difference(seconds * kMicroseconds, now_us(board));
}

// The chip has no register offset: offset bytes before a read would overwrite the register.
int clock_chip(Board &board, Transfer &transfer) {
  if (!board.i2c.clock_present || transfer.offset_len != 0) return kFail;
  unsigned command = transfer.address >> 1 & 7u;
  int64_t shift_before = board.i2c.clock.shift_us;
  uint32_t before = transfer.write ? static_cast<uint32_t>(clock_seconds(board)) : 0;
  if (command == RealTime) {
    transfer_time(board, transfer, Year);
  } else if (command == TimeOnly) {
    transfer_time(board, transfer, Hour);
  } else {
    transfer_register(board, transfer, command);
  }
  // The seconds do not show it: they also differ if a second ends during the write.
  bool sets_time = transfer.write && board.i2c.clock.shift_us != shift_before;
  if (sets_time) log_time(board, before);
  return 0;
}

}  // namespace zelsim
