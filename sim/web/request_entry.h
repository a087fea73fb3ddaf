#pragma once

#include <string>
#include <vector>

#include "trace.h"

namespace zelsim::web {

/** A call that a program has made, as the trace hands it over. */
struct TracedCall {
  TraceRecord record = {};
  std::string text = {};    // of a call that is no request
  RequestEvent event = {};  // of a request
};

/** The call with this record. `bytes` stand behind the record: of a request its bytes before and after, else a text. */
TracedCall traced_call(const TraceRecord &record, const std::string &bytes);

struct ToldReading;

/** A call as JSON, for the pages' list.
 *  @param number  of the call among those that were listed */
std::string entry_of(const TracedCall &call, const ToldReading &reading, uint64_t number);

}  // namespace zelsim::web
