#include <array>
#include <map>

#include "comparison.h"
#include "request.h"
#include "tool.h"

// `zelsim verify`: which recorded calls the virtual switch answers otherwise.

namespace zelsim::tool {
namespace {

const char *request_name(const NodeCall &call) {
  switch (call.kind) {
    case CallKind::Open:
      return "open";
    case CallKind::Read:
      return "read";
    case CallKind::Write:
      return "write";
    case CallKind::Seek:
      return "lseek";
    case CallKind::Command:
      return "debugCmd";
    default:
      return "";
  }
}

std::string request_label(const NodeCall &call) {
  if (call.kind != CallKind::Request) return request_name(call);
  const Request *request = request_of(call.node, static_cast<uint8_t>(call.number));
  return request != nullptr ? request->name : format("0x%02X", call.number & 0xff);
}

/** Differences of the same node, request and field. */
struct Group {
  Json row;
  unsigned count = 0;
  Json lines = Json::array();  // numbers of the first ones in the recording
};

class DifferenceTable {
 public:
  void add(const RecordedCall &recorded, const Differences &differences) {
    constexpr size_t kLines = 5;
    if (!differences.empty()) ++differing_;
    for (const Difference &difference : differences) {
      std::string node = recorded.call.node == Node::None ? "-" : node_name(recorded.call.node);
      std::string request = request_label(recorded.call);
      Group &group = group_of(node, request, difference);
      ++group.count;
      if (group.lines.size() < kLines) group.lines.push_back(recorded.line);
    }
  }

  unsigned differing() const { return differing_; }

  Json rows() const {
    Json all = Json::array();
    for (const Group &group : groups_) {
      Json row = group.row;
      row["count"] = group.count;
      row["lines"] = group.lines;
      all.push_back(row);
    }
    return all;
  }

 private:
  Group &group_of(const std::string &node, const std::string &request, const Difference &difference) {
    auto [place, is_new] = places_.try_emplace({node, request, difference.field}, groups_.size());
    if (is_new) {
      Json row = record("node", node, "request", request, "field", difference.field, "recorded", difference.recorded,
                        "model", difference.model);
      groups_.push_back({row});
    }
    return groups_[place->second];
  }

  std::vector<Group> groups_;
  std::map<std::array<std::string, 3>, size_t> places_;
  unsigned differing_ = 0;
};

// A command line that is more than one plain run of debugCmd.
Json row_of_skipped(const RecordedCall &recorded) {
  return record("line", recorded.line, "call", recorded.text, "why", "not one plain run of debugCmd");
}

Json tolerances_of(const Tolerated &tolerated) {
  Json rows = Json::array();
  for (unsigned i = 0; i < kVolatileValues; ++i) {
    const VolatileText &text = kVolatileTexts[i];
    rows.push_back(record("field", text.field, "tolerance", text.tolerance, "used", tolerated[i]));
  }
  return rows;
}

constexpr char kHint[] =
    "; the recording was made on this board, and the board may have changed since: 'zelsim save' its state before a "
    "recording, and 'zelsim load' it before verify";

}  // namespace

void verify_model(const CommandLine &line) {
  const Recording recording = read_recording(line.words[0]);
  std::filesystem::path folder = look_at(line.board).folder;
  Model model(line.board, recording);
  DifferenceTable table;
  Tolerated tolerated = {};
  unsigned compared = 0;
  Json skipped = Json::array();
  for (const RecordedCall &recorded : recording.calls) {
    std::optional<Answer> answer = model.answer(recorded);
    if (!answer && recorded.call.kind == CallKind::Command) skipped.push_back(row_of_skipped(recorded));
    if (!answer) continue;
    ++compared;
    table.add(recorded, compare(recorded, *answer, model.selected_port(), tolerated));
  }
  print(record("recording", line.words[0], "board", folder.filename().native(), "calls", recording.calls.size(),
               "compared", compared, "differing", table.differing(), "tolerances", tolerances_of(tolerated),
               "differences", table.rows(), "skipped", skipped),
        line.json);
  if (table.differing() == 0) return;
  std::string result = format("the model answers %u of %u calls otherwise", table.differing(), compared);
  bool is_recorded_one = escaped(folder) == recording.board;
  if (is_recorded_one) result += kHint;
  throw Failure(result);
}

}  // namespace zelsim::tool
