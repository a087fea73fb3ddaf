/** @file
 *  What has changed on the board: one event, as people, the journal and an alarm script get it. */
#ifndef ZELCTL_EVENT_H
#define ZELCTL_EVENT_H

#include <string>
#include <utility>
#include <vector>

#include "../cli/output.h"

struct Event {
  std::string kind;     // "port-module": the same for all ports
  std::string subject;  // "port 3 module"
  std::string label;    // "port"; empty for a thing of which there is only one
  std::string which;    // "3"; empty like the label
  std::string before;
  std::string now;
  std::string detail;    // "81.5 degrees", or why there is no answer
  bool trouble = false;  // somebody should look

  /** "supply 2: ac -> none", then the detail in brackets. */
  std::string line() const;
};

/** The present time with milliseconds: local time, or UTC with a Z. */
std::string time_stamp(bool utc);
Json event_record(const Event &event);

/** Names and values for environment variables and for fields of the journal. The names are in capitals. */
using Fields = std::vector<std::pair<std::string, std::string>>;
/** ZELBOARD_EVENT (the kind), ZELBOARD_SUBJECT, ZELBOARD_OLD and ZELBOARD_NEW; ZELBOARD_DETAIL if there is a detail, and
 *  ZELBOARD_PORT, ZELBOARD_SUPPLY and so on if there is a label. */
Fields fields_of(const Event &event);

#endif
