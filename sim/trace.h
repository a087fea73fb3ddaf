#pragma once

#include <limits>

#include "request.h"

// Lines about the calls that programs make on the nodes. They go into the file that ZELSIM_TRACE names, and to those who
// watch the board. Nothing is written when nobody reads it.

namespace zelsim {

/** A request on its way through the driver. */
struct RequestEvent {
  Node node;
  uint8_t number;
  const Request *request;  // null: the driver does not know the number
  uint8_t before[kMaxRecord];
  uint8_t after[kMaxRecord];
  int result;
  int error;         // errno of a negative result
  uint32_t address;  // of an erase
  int64_t began_us;  // as trace_clock() has it
  uint32_t fault;    // number of the rule that struck, or 0
};

void trace_request(const RequestEvent &event);
/** The line of a request without its result. Returns its length. */
size_t request_line(const RequestEvent &event, char *text, size_t size);

/** The time at which a call begins, in microseconds, for its duration; 0 while nobody watches the board. */
int64_t trace_clock();
/** The clock of the records: microseconds since 1970. */
int64_t host_time_us();

/** Counts a call of a program. */
void count_request(Board &board);

/** The result of a line that has none. */
constexpr long kNoResult = std::numeric_limits<long>::min();

/** The end of a line: the result, or -1 and errno's name. Returns its length. */
size_t result_text(long result, int error, char *text, size_t size);

/** Writes one line, which ends with the result, or with -1 and errno's name. errno stays. */
__attribute__((format(printf, 2, 3))) void trace(long result, const char *format, ...);

/** An access to the flash: when it began, and the number of the fault that struck it. */
struct TracedAccess {
  int64_t began_us;
  uint32_t fault = 0;
};
/** An access that begins now. */
inline TracedAccess begin_access() { return {.began_us = trace_clock()}; }
/** Writes the line of an access to the flash. */
__attribute__((format(printf, 3, 4))) void trace(const TracedAccess &access, long result, const char *format, ...);

}  // namespace zelsim
