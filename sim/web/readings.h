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
  /** What has changed is told only if it is known when: requests that were missed since the reading before may have read it,
   *  too. Then it is told by how much, or not at all if this is more than a second. */
  ToldReading take(const TracedCall &call);
  /** Takes a request that asks what was asked before and has the same answer, which costs little. Nothing has changed then.
   *  @param bytes  the record before the call and after it
   *  @return false for any other request, which is not taken */
  bool take_repeated(const TraceRecord &record, std::string_view bytes);
  /** Some requests after those that were taken are not known. */
  void miss_some() { ++misses_; }

 private:
  struct Last {
    std::vector<ReadValue> values;
    int64_t at_us;
    uint64_t misses;   // until then
    uint64_t changes;  // until then
  };
  /** An answer as it was last. */
  struct Answer {
    std::string bytes;
    Last *last;        // null: the request reads nothing that is known here
    uint64_t misses;   // until then
    uint64_t changes;  // of the reading until then: another question may have changed it
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
