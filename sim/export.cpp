#include <map>

#include "arguments.h"
#include "pcapng.h"
#include "recording.h"
#include "tool.h"

// `zelsim trace`: a recording in the formats of other programs.

namespace zelsim::tool {
namespace {

std::string result_of(const RecordedCall &recorded) {
  constexpr std::string_view kEquals = " = ";
  size_t at = recorded.text.rfind(kEquals);
  if (at == std::string::npos) return std::to_string(recorded.call.result);
  return recorded.text.substr(at + kEquals.size());
}

// The lines of `zelsim run --trace-opens`.
void write_text(const Recording &recording) {
  for (const RecordedCall &recorded : recording.calls) std::fprintf(out, "%s\n", recorded.text.c_str());
}

// The word of a call's text that names it in a timeline: `gpio 0x81 GetSystemLed ...`, `debugCmd sgpio_set ...`,
// `flash read ...`, `open gpio ...`.
size_t place_of_name(CallKind kind) {
  switch (kind) {
    case CallKind::Request:
      return 2;
    case CallKind::Command:
    case CallKind::Read:
    case CallKind::Write:
    case CallKind::Seek:
      return 1;
    default:
      return 0;
  }
}

std::string name_of_call(const RecordedCall &recorded) {
  Words words = split(recorded.text, ' ');
  size_t place = place_of_name(recorded.call.kind);
  return words.size() > place ? words[place] : words[0];
}

// What a timeline groups calls by.
std::string category_of(const NodeCall &call) {
  if (call.kind == CallKind::Pause) return "pause";
  if (call.kind == CallKind::Command) return "debugCmd";
  return node_name(call.node);
}

// The names of the programs by process. A process that became another program has the name of the last one.
std::map<uint32_t, std::string> programs_in(const Recording &recording) {
  std::map<uint32_t, std::string> programs;
  for (const RecordedCall &recorded : recording.calls) {
    std::string &program = programs[recorded.process];
    if (program.empty()) program = "process " + std::to_string(recorded.process);
    if (!recorded.program.empty()) program = recorded.program;
  }
  return programs;
}

// The trace event format: an event with its duration for each call, and names of the processes.
void write_perfetto(const Recording &recording) {
  Json events = Json::array();
  for (const auto &[process, program] : programs_in(recording)) {
    Json name = record("name", program);
    events.push_back(record("name", "process_name", "ph", "M", "pid", process, "tid", process, "args", name));
  }
  for (const RecordedCall &recorded : recording.calls) {
    Json details = record("line", recorded.line, "call", recorded.text, "result", result_of(recorded));
    events.push_back(record("name", name_of_call(recorded), "cat", category_of(recorded.call), "ph", "X", "ts",
                            recorded.at_us, "dur", recorded.duration_us, "pid", recorded.process, "tid",
                            recorded.thread, "args", details));
  }
  Json origin = record("began_us", recording.began_us, "source", kRecordingTitle);
  Json all = record("displayTimeUnit", "ms", "otherData", origin, "traceEvents", events);
  std::fprintf(out, "%s\n", all.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
}

void write_pcapng(const Recording &recording) {
  std::vector<uint8_t> bytes = pcapng_of(recording);
  std::fwrite(bytes.data(), 1, bytes.size(), out);
}

struct Format {
  const char *name;
  void (*write)(const Recording &recording);
};
constexpr Format kFormats[] = {{"text", write_text}, {"pcapng", write_pcapng}, {"perfetto", write_perfetto}};

}  // namespace

void export_recording(const CommandLine &line) {
  std::string names;
  for (const Format &format : kFormats) add_item(names, format.name, "|");
  std::string chosen = line.format.empty() ? kFormats[0].name : line.format;
  unsigned index = parse_choice(chosen, "--format", names);
  kFormats[index].write(read_recording(line.words[0]));
}

}  // namespace zelsim::tool
