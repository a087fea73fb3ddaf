#include "board_changes.h"

#include <algorithm>

#include "optics.h"

/* The event that somebody has begun or ceased to answer. */
constexpr const char *kAnswerKind = "answer";
constexpr const char *kAnswers = "answers";
constexpr const char *kSilent = "does not answer";

/** "port-module" for the subject "port %s module". */
static std::string kind_of(const Watched &what) {
  const std::string placeholder = " %s";
  std::string kind = what.subject;
  const size_t place = kind.find(placeholder);
  if (place != std::string::npos) kind.erase(place, placeholder.size());
  std::replace(kind.begin(), kind.end(), ' ', '-');
  return kind;
}

void BoardChanges::look() {
  before_ = std::exchange(now_, {});
  Round round;
  std::vector<Reading> readings = read_board(round, false);
  for (Reading &reading : readings) {
    if (reading.what->has_threshold && reading.value) put_threshold(reading);
  }
  add_optics(round, readings);
  for (const Reading &reading : readings) {
    if (!reading.what->makes_events) continue;
    if (reading.value)
      compare(reading);
    else
      keep(reading);
  }
  const bool no_board = !round.up[Gpio] && !round.up[I2c];
  if (first_ && no_board) require_board();
  compare_answers(readings);
  first_ = false;
}

/** A hot board is hot until it is some degrees cooler. */
void BoardChanges::put_threshold(Reading &reading) const {
  constexpr double kHysteresis = 5;
  const double degrees = *reading.value;
  const std::string normal = reading.states[0];
  const std::string hot = reading.states[1];
  reading.settled = [this, degrees, normal, hot](const std::string &before) {
    const double limit = before == hot ? hot_ - kHysteresis : hot_;
    return degrees >= limit ? hot : normal;
  };
  reading.detail = format("%.1f degrees", degrees);
}

void BoardChanges::compare(const Reading &reading) {
  Event event;
  event.kind = kind_of(*reading.what);
  event.subject = reading.subject;
  event.label = reading.label;
  event.which = reading.which;
  event.now = reading.settled ? reading.settled(state_before(reading.subject)) : reading.state();
  event.detail = reading.detail;
  event.trouble = index_in(reading.what->trouble, event.now).has_value();
  const std::string usual = reading.states.empty() ? event.now : reading.states[0];
  note(reading.subject, event, usual);
}

/** Empty if there was none. */
std::string BoardChanges::state_before(const std::string &subject) const {
  const auto found = before_.find(subject);
  return found != before_.end() ? found->second : "";
}

/** A thing that does not answer keeps its last known state. */
void BoardChanges::keep(const Reading &reading) {
  if (first_) {
    now_[reading.subject] = "";
    return;
  }
  const auto found = before_.find(reading.subject);
  if (found != before_.end()) now_[reading.subject] = found->second;
}

/** Tells who has begun or ceased to answer. A source answers when all of its readings have a value. */
void BoardChanges::compare_answers(const std::vector<Reading> &readings) {
  struct Answers {
    Source source;
    std::string silence;  // why a reading has no value; empty = all have one
  };
  std::map<std::string, Answers> sources;
  for (const Reading &reading : readings) {
    Answers &answers = sources[reading.source.name];
    answers.source = reading.source;
    if (answers.silence.empty()) answers.silence = reading.silence;
  }
  for (const auto &[name, answers] : sources) {
    const auto &[source, silence] = answers;
    Event event;
    event.kind = kAnswerKind;
    event.subject = name;
    event.label = source.label;
    event.which = source.which;
    event.now = silence.empty() ? kAnswers : kSilent;
    event.detail = silence;
    event.trouble = !silence.empty();
    // A reading may have the same name, such as "relay".
    const std::string key = name + "?";
    note(key, event, kAnswers);
  }
}

/** Tells the event if the state has changed. A new thing, such as the light of a module that was plugged, is told only
 *  if its state is not the usual one. The first answer of a thing that was silent until now is not told. */
void BoardChanges::note(const std::string &key, Event &event, const std::string &usual) {
  now_[key] = event.now;
  if (first_) {
    note_first(event);
    return;
  }
  const auto found = before_.find(key);
  const bool is_new = found == before_.end();
  event.before = is_new ? "absent" : found->second;
  const bool was_silent = event.before.empty();
  const std::string expected = is_new ? usual : event.before;
  if (!was_silent && event.now != expected) tell_(event);
}

/** In the first round a thing that does not answer is always told. */
void BoardChanges::note_first(Event &event) {
  event.before = "unknown";
  bool is_wanted = tell_first_;
  if (event.kind == kAnswerKind) is_wanted = event.now == kSilent;
  if (is_wanted) tell_(event);
}
