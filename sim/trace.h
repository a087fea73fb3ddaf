#pragma once

#include <limits>

#include "request.h"

// Lines that tell what programs ask the nodes for. They go into the file that ZELSIM_TRACE names, and to those who
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
};

void trace_request(const RequestEvent &event);

/** The result of a line that has none to tell. */
constexpr long kNoResult = std::numeric_limits<long>::min();

/** Writes one line. Behind it stands the result, or -1 and errno's name. errno stays. */
__attribute__((format(printf, 2, 3))) void trace(long result, const char *format, ...);

}  // namespace zelsim
