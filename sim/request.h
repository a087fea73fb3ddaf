#pragma once

#include <cstddef>
#include <span>

#include "board.h"

// The way of a request through a driver: found in the node's table, perhaps struck by a fault, answered, traced.

namespace zelsim {

/** How a request's record is laid out; the trace decodes by it. */
enum class Shape : uint8_t { None, Byte, Pair, Register, Transfer, Rtc, Temperature, Identification };

constexpr size_t kTransferSize = 140;
/** Byte offsets in the transfer record. The data stand before them, from byte 0 on. */
enum TransferField : size_t { kLen = 128, kAddress = 129, kOffset = 132, kOffsetLen = 136 };
constexpr uint8_t kMaxTransfer = 128;

/** The clock record: two bytes of modes, a gap, then the words of a `tm` from its seconds on. */
struct ClockRecord {
  uint8_t mode24;
  uint8_t pm;
  uint16_t gap;
  int32_t second;
  int32_t minute;
  int32_t hour;
  int32_t month_day;
  int32_t month;
  int32_t year;
  int32_t weekday;
  int32_t rest[4];
};
static_assert(sizeof(ClockRecord) == sizeof(I2c::rtc_record));

/** The largest record of all. */
constexpr size_t kMaxRecord = kTransferSize;

/** What the driver does with a request's record: it takes what stands there, or fills it. */
constexpr bool kTakes = false;
constexpr bool kFills = true;

/** The bytes of the state that a request sets or gets. */
struct StateBytes {
  size_t offset = 0;       // in Board
  uint8_t first = 0;       // the lowest selector that a pair accepts
  uint8_t count = 1;       // number of selectors from there on
  uint8_t highest = 0xff;  // the highest value that a set accepts
};

/** A row of a driver's table. */
struct Request {
  uint8_t number;
  const char *name;
  Shape shape;
  bool fills;          // kTakes or kFills
  const char *fields;  // names of a byte's or a pair's fields, for the trace
  // Answers the request. Null: the flash's erase, which needs the descriptor, too.
  int (*handle)(Board &board, const Request &request, uint8_t *record);
  StateBytes state = {};  // for set_or_get_state
};

inline bool erases(const Request &request) { return request.handle == nullptr; }
/** True if the request goes to a chip on the bus, or to a place in the flash. */
inline bool has_address(const Request &request) { return erases(request) || request.shape == Shape::Transfer; }

/** Size of the record in bytes. */
size_t record_size(const Request &request);
/** Names of the record's fields as the trace shows them, joined by blanks. */
const char *fields_of(const Request &request);

using RequestTable = std::span<const Request>;

RequestTable gpio_requests();
RequestTable i2c_requests();
RequestTable flash_requests();
RequestTable requests_of(Node node);
/** The row with this number; null if the driver does not know it. */
const Request *request_of(Node node, uint8_t number);

/** Handles a request that only sets or gets a piece of the driver's state: the whole record, or one byte that a pair's
 *  first byte selects. */
int set_or_get_state(Board &board, const Request &request, uint8_t *record);

/** Rows of such requests: for one byte of the state, for a byte that the record selects, for a whole record. */
constexpr Request sets_byte(uint8_t number, const char *name, const char *field, size_t offset,
                            uint8_t highest = 0xff) {
  return {number, name, Shape::Byte, kTakes, field, set_or_get_state, {offset, 0, 1, highest}};
}
constexpr Request gets_byte(uint8_t number, const char *name, const char *field, size_t offset) {
  return {number, name, Shape::Byte, kFills, field, set_or_get_state, {offset}};
}
constexpr Request sets_pair(uint8_t number, const char *name, const char *fields, const StateBytes &bytes) {
  return {number, name, Shape::Pair, kTakes, fields, set_or_get_state, bytes};
}
constexpr Request gets_pair(uint8_t number, const char *name, const char *fields, const StateBytes &bytes) {
  return {number, name, Shape::Pair, kFills, fields, set_or_get_state, bytes};
}

constexpr Request sets_record(uint8_t number, const char *name, Shape shape, size_t offset) {
  return {number, name, shape, kTakes, "", set_or_get_state, {.offset = offset}};
}
constexpr Request gets_record(uint8_t number, const char *name, Shape shape, size_t offset) {
  return {number, name, shape, kFills, "", set_or_get_state, {.offset = offset}};
}

/** The ioctl code of a request: the lowest byte is the request's number. */
constexpr uint32_t kRequestCode = 0x40012400;
/** True if an ioctl code is the code of a request, whatever the request's number. */
constexpr bool is_request_code(uint64_t code) { return (static_cast<uint32_t>(code) & ~0xffu) == kRequestCode; }

/** True unless the address is in the first page, which is never mapped. Any other wild pointer faults in the caller,
 *  where a kernel would answer EFAULT: asking the kernel about every record would cost more than the request. */
inline bool is_mapped(const void *data) {
  constexpr uintptr_t kFirstMapped = 4096;
  return reinterpret_cast<uintptr_t>(data) >= kFirstMapped;
}

/** Answers a request on an open descriptor, by its number. Returns what ioctl would return, -1 with errno. */
int answer_request(const Attached &attached, Node node, int fd, uint8_t number, void *record);

}  // namespace zelsim
