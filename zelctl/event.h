/** @file
 *  What has changed on the board: one event, as people, the journal and an alarm script get it. */
#ifndef ZELCTL_EVENT_H
#define ZELCTL_EVENT_H

#include <string>
#include <utility>
#include <vector>

#include "../cli/output.h"

struct Event {
  std::string kind;     // "supply", "port-module": the same for all supplies, all ports
  std::string subject;  // "supply 2"
  std::string label;    // "supply", and which one it is; empty where there is one only
  std::string which;
  std::string before, now;
  std::string detail;    // "81.5 degrees", or why there is no answer
  bool trouble = false;  // somebody should look

  /** "supply 2: ac -> none", with the detail behind it. */
  std::string line() const;
};

/** Now, to the millisecond: local time, or UTC with a Z. */
std::string time_stamp(bool utc);
Json event_record(const Event &event);

/** Names and values in capitals, as environment variables and the journal's fields have them. */
using Fields = std::vector<std::pair<std::string, std::string>>;
/** ZELBOARD_EVENT (the kind), _SUBJECT, _OLD, _NEW; _DETAIL and _PORT, _SUPPLY ... where there are such. */
Fields fields_of(const Event &event);

#endif
