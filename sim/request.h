#pragma once

#include <sys/types.h>

#include <cstddef>
#include <limits>
#include <span>

#include "board.h"

// The way of a request through a driver: found in the node's table, perhaps struck by a fault, answered, traced.

namespace zelsim {

/** How a request's record is laid out; the trace decodes by it. */
enum class Shape : uint8_t { None, Byte, Pair, Register, Transfer, Rtc, Temperature, Identification };

constexpr size_t kTransferSize = 140;
/** Byte offsets in the transfer record. */
enum TransferField : size_t { kLen = 128, kAddress = 129, kOffset = 132, kOffsetLen = 136 };
constexpr uint8_t kMaxTransfer = 128;

struct Request {
  uint8_t number;
  const char *name;
  Shape shape;
  bool fills;          // the driver writes the record back
  const char *fields;  // names of a byte's or a pair's fields, for the trace
  int (*handle)(Board &board, const Request &request, uint8_t *record);  // null: the flash's erase
  // For requests that only set or get a piece of the state:
  size_t state = 0;              // offset in Board
  uint8_t first = 0, count = 1;  // selectors that a pair accepts, in a row
  uint8_t highest = 0xff;        // value that a set accepts
};

inline bool erases(const Request &request) { return request.handle == nullptr; }

using RequestTable = std::span<const Request>;

RequestTable gpio_requests();
RequestTable i2c_requests();
RequestTable flash_requests();

/** Names of the record's fields as the trace shows them, joined by blanks. */
const char *fields_of(const Request &request);
/** It is about a chip on the bus, or about a place in the flash. */
inline bool has_address(const Request &request) { return erases(request) || request.shape == Shape::Transfer; }

RequestTable requests_of(Node node);
const char *node_name(Node node);

/** Handles a request that only sets or gets a piece of the driver's state: the whole record, or one byte that a pair's
 *  first byte selects. */
int plain(Board &board, const Request &request, uint8_t *record);

/** Answers request number `number` on an open descriptor; -1 with errno as the kernel would. */
int answer_request(const Attached &attached, Node node, int fd, uint8_t number, void *record);

/** Ends a line of the trace where there is nothing to say about a result. */
constexpr long kNoResult = std::numeric_limits<long>::min();

/** One line of the trace, with the result, or -1 and errno's name, at its end; nothing when the trace is off. */
__attribute__((format(printf, 2, 3))) void trace(long result, const char *format, ...);

struct Fault {
  bool strikes;
  bool short_count;  // of a read or write: let it move `result` bytes at most
  int result, error;
};

/** Finds the first rule for this call and uses it up by one. A rule that kills does not return. */
Fault take_fault(Board &board, const FaultCall &call);
bool matches(const FaultCall &on, const FaultCall &call);
/** The rule as it stands in the table, with its number; null when that is full. */
const FaultRule *add_rule(Board &board, const FaultRule &rule);
/** Clears the rule with this number, or all for 0. */
void heal(Board &board, uint32_t number = 0);
/** Sets the count of rules in use, which a process that died with the lock may have left wrong. */
void count_rules(Board &board);

/** read, write, lseek and erase of the flash node; the descriptor is one of the image file and keeps the position. */
ssize_t flash_read(const Attached &attached, int fd, void *data, size_t size, off_t at);
ssize_t flash_write(const Attached &attached, int fd, const void *data, size_t size, off_t at);
off_t flash_seek(const Attached &attached, int fd, off_t offset, int whence);
int flash_erase(const Attached &attached, int fd, uint32_t address);

/** Stands for the descriptor's own position in flash_read and flash_write. */
constexpr off_t kAtPosition = std::numeric_limits<off_t>::min();

}  // namespace zelsim
