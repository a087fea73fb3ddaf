#include "recorder_compare.h"

#include <fcntl.h>
#include <string.h>

// Whether a program makes the call that was recorded.

namespace zelsim {
namespace {

// Compares a part of two records. If a record is too short for the part, the records must be the same as a whole.
bool is_same_part(CallBytes one, CallBytes other, size_t from, size_t size) {
  bool reaches = one.size >= from + size && other.size >= from + size;
  if (!reaches) return is_same_bytes(one, other);
  return memcmp(one.data + from, other.data + from, size) == 0;
}

bool is_same_transfer(bool reads, CallBytes asked, CallBytes recorded) {
  if (!is_same_part(asked, recorded, kLen, 1)) return false;
  if (!is_same_part(asked, recorded, kAddress, 1)) return false;
  if (!is_same_part(asked, recorded, kOffsetLen, 1)) return false;
  if (asked.size < kTransferSize) return true;
  bool has_offset = asked.data[kOffsetLen] > 0;
  if (has_offset && !is_same_part(asked, recorded, kOffset, sizeof(uint32_t))) return false;
  if (reads) return true;
  uint8_t len = asked.data[kLen] < kMaxTransfer ? asked.data[kLen] : kMaxTransfer;
  return is_same_part(asked, recorded, 0, len);
}

// The two modes, and the words behind the gap.
bool is_same_clock(CallBytes asked, CallBytes recorded) {
  constexpr size_t kModes = offsetof(ClockRecord, gap);
  constexpr size_t kFirstWord = offsetof(ClockRecord, second);
  constexpr size_t kWords = offsetof(ClockRecord, rest) - kFirstWord;
  return is_same_part(asked, recorded, 0, kModes) && is_same_part(asked, recorded, kFirstWord, kWords);
}

bool is_same_record(const Request *request, CallBytes asked, CallBytes recorded) {
  constexpr size_t kAddressSize = sizeof(uint32_t);
  if (request == nullptr) return is_same_bytes(asked, recorded);
  bool fills = request->fills;
  switch (request->shape) {
    case Shape::Byte:
      return fills || is_same_part(asked, recorded, 0, 1);
    case Shape::Pair:
      return is_same_part(asked, recorded, 0, fills ? 1 : 2);
    case Shape::Register:
      return is_same_part(asked, recorded, 0, fills ? kAddressSize : 2 * kAddressSize);
    case Shape::Transfer:
      return is_same_transfer(fills, asked, recorded);
    case Shape::Rtc:
      return fills || is_same_clock(asked, recorded);
    case Shape::Temperature:
      return fills || is_same_part(asked, recorded, 0, sizeof(float));
    case Shape::Identification:
    case Shape::None:
      return true;
  }
  return false;
}

}  // namespace

bool is_same_bytes(CallBytes one, CallBytes other) {
  if (one.size != other.size) return false;
  return one.size == 0 || memcmp(one.data, other.data, one.size) == 0;
}

bool is_same_call(const NodeCall &asked, const NodeCall &recorded, CallBytes given) {
  if (asked.kind != recorded.kind || asked.node != recorded.node) return false;
  switch (asked.kind) {
    case CallKind::Open:
      return (asked.flags & O_ACCMODE) == (recorded.flags & O_ACCMODE);
    case CallKind::Request:
      if (asked.number != recorded.number) return false;
      return is_same_record(request_of(asked.node, static_cast<uint8_t>(asked.number)), asked.given, given);
    case CallKind::Read:
      return asked.at == recorded.at && asked.argument == recorded.argument;
    case CallKind::Write:
      return asked.at == recorded.at && is_same_bytes(asked.given, given);
    case CallKind::Seek:
      return asked.argument == recorded.argument && asked.whence == recorded.whence;
    case CallKind::Command:
      return is_tool_run(asked) == is_tool_run(recorded) && is_same_bytes(asked.given, given);
    case CallKind::Close:
    case CallKind::Pause:
      return true;
  }
  return false;
}

}  // namespace zelsim
