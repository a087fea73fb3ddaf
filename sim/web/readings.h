#pragma once

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "request_entry.h"

// What a request that reads tells of the board, and what in it has changed since the same program read it before.

namespace zelsim::web {

/** A value that a request reads: a signal of a port, a supply, a field. */
struct ReadValue {
  std::string name;
  std::string value;
};

struct Reading {
  std::string what = {};  // such as "signals of slot 1"; empty: nothing that is known here
  std::vector<ReadValue> values = {};
  bool is_of_world = false;  // what happens to the board shows in it
};

/** @param selected  the port of the module on the bus; kNoCage: unknown */
Reading reading_of(const RequestEvent &event, uint8_t selected);

/** A reading as a page shows it. */
struct ToldReading {
  std::string what;
  std::string values;
  std::string changed;  // "port 5: signal → no light"; empty: nothing has
  bool is_of_world;
};

/** The readings of all programs, each as it was last. */
class Readings {
 public:
  /** Tells what a request has read, and what in it has changed since the reading before. If requests were missed in between,
   *  one of them may have read the change already: then the change is told with the span of time in which it may have
   *  happened, or not at all if that is more than a second. */
  ToldReading take(const TracedCall &call);
  /** Takes a request that repeats an earlier one and has the same answer. This costs little: nothing has changed.
   *  @param bytes  the record before the call and after it
   *  @return false for any other request, which is not taken */
  bool take_repeated(const TraceRecord &record, std::string_view bytes);
  /** Some requests after those that were taken are not known. */
  void miss_some() { ++misses_; }

 private:
  struct Last {
    std::vector<ReadValue> values;
    int64_t at_us;
    uint64_t misses;   // misses_ at that time
    uint64_t changes;  // how often it has changed until then
  };
  /** An answer as it was last. */
  struct Answer {
    std::string bytes;
    Last *last;        // null: the request reads nothing that is known here
    uint64_t misses;   // misses_ at that time
    uint64_t changes;  // last->changes at that time: another question may have changed the reading since
  };
  std::string question_of(const TraceRecord &record, std::string_view before) const;
  void remember_answer(const TracedCall &call, Last *last);
  std::string changes_since(const Last &last, const TracedCall &call, const std::vector<ReadValue> &values) const;

  std::map<std::string, Last> last_ = {};  // by program and request
  std::unordered_map<std::string, Answer> answers_ = {};
  uint64_t misses_ = 0;
  uint8_t selected_ = kNoCage;
};

}  // namespace zelsim::web
