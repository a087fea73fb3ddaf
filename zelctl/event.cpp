#include "event.h"

#include <algorithm>
#include <ctime>

std::string Event::line() const {
  const std::string tail = detail.empty() ? "" : " (" + detail + ")";
  return subject + ": " + before + " -> " + now + tail;
}

std::string time_stamp(bool utc) {
  timespec now{};
  std::timespec_get(&now, TIME_UTC);
  const std::tm *parts = utc ? std::gmtime(&now.tv_sec) : std::localtime(&now.tv_sec);
  const auto milliseconds = static_cast<int>(now.tv_nsec / 1000000);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", parts);
  return format("%s.%03d%s", text, milliseconds, utc ? "Z" : "");
}

Json event_record(const Event &event) {
  Json row = record("time", time_stamp(true), "event", event.kind, "subject", event.subject);
  if (!event.label.empty()) {
    const auto number = number_in(event.which, 0, 0xFFFF);
    row[event.label] = number ? Json(*number) : Json(event.which);
  }
  append(row, "old", event.before, "new", event.now);
  if (!event.detail.empty()) row["detail"] = event.detail;
  return row;
}

static std::string capitals(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

Fields fields_of(const Event &event) {
  Fields fields{{"ZELBOARD_EVENT", event.kind},
                {"ZELBOARD_SUBJECT", event.subject},
                {"ZELBOARD_OLD", event.before},
                {"ZELBOARD_NEW", event.now}};
  if (!event.detail.empty()) fields.emplace_back("ZELBOARD_DETAIL", event.detail);
  if (!event.label.empty()) fields.emplace_back("ZELBOARD_" + capitals(event.label), event.which);
  return fields;
}
