#pragma once

#include <map>
#include <string>
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
  ToldReading take(const TracedCall &call);

 private:
  std::map<std::string, std::vector<ReadValue>> last_ = {};  // by program and request
  uint8_t selected_ = kNoCage;
};

}  // namespace zelsim::web
