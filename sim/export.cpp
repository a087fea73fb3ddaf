#include <algorithm>
#include <cstring>
#include <set>

#include "arguments.h"
#include "recording.h"
#include "request.h"
#include "tool.h"

// `zelsim trace`: a recording for other programs to read.

namespace zelsim::tool {
namespace {

std::string result_of(const RecordedCall &recorded) {
  size_t at = recorded.text.rfind(" = ");
  return at == std::string::npos ? std::to_string(recorded.call.result) : recorded.text.substr(at + 3);
}

// The lines of `zelsim run --trace-opens`.
void write_text(const Recording &recording) {
  for (const RecordedCall &recorded : recording.calls) std::fprintf(out, "%s\n", recorded.text.c_str());
}

// What a call is named in a timeline, and what it is grouped by.
std::string name_of_call(const RecordedCall &recorded) {
  const NodeCall &call = recorded.call;
  Words words = split(recorded.text, ' ');
  switch (call.kind) {
    case CallKind::Request:
    case CallKind::Command: {
      size_t name_at = call.kind == CallKind::Request ? 2 : 1;
      return words.size() > name_at ? words[name_at] : words[0];
    }
    case CallKind::Read:
    case CallKind::Write:
    case CallKind::Seek:
      return words[1];
    default:
      return words[0];
  }
}

std::string category_of(const NodeCall &call) {
  if (call.kind == CallKind::Pause) return "pause";
  if (call.kind == CallKind::Command) return "debugCmd";
  return node_name(call.node);
}

// The trace event format: an event with its duration for each call, and names of the processes.
void write_perfetto(const Recording &recording) {
  Json events = Json::array();
  std::set<uint32_t> named;
  for (const RecordedCall &recorded : recording.calls) {
    if (named.insert(recorded.process).second) {
      Json name = record("name", "process " + std::to_string(recorded.process));
      events.push_back(
          record("name", "process_name", "ph", "M", "pid", recorded.process, "tid", recorded.thread, "args", name));
    }
    Json details = record("line", recorded.line, "call", recorded.text, "result", result_of(recorded));
    events.push_back(record("name", name_of_call(recorded), "cat", category_of(recorded.call), "ph", "X", "ts",
                            recorded.at_us, "dur", recorded.duration_us, "pid", recorded.process, "tid",
                            recorded.thread, "args", details));
  }
  Json origin = record("began_us", recording.began_us, "source", kRecordingTitle);
  Json all = record("displayTimeUnit", "ms", "otherData", origin, "traceEvents", events);
  std::fprintf(out, "%s\n", all.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
}

/** Blocks of a pcapng file, in this machine's byte order: their magic number tells it. */
class PacketFile {
 public:
  PacketFile() {
    constexpr uint32_t kSection = 0x0a0d0d0a, kInterface = 1;
    constexpr uint32_t kByteOrder = 0x1a2b3c4d, kMajorVersion = 1, kUnknownLength = UINT32_MAX;
    constexpr uint32_t kI2cLinux = 209;  // link type
    begin(kSection);
    put(kByteOrder);
    put(kMajorVersion);  // with a minor version of 0 in the upper half
    put(kUnknownLength);
    put(kUnknownLength);
    end();
    begin(kInterface);
    put(kI2cLinux);
    put(0);  // packets are kept whole
    put_option(kInterfaceName, "i2c");
    put_option(kNoOption, "");
    end();
  }

  void add(int64_t at_us, const std::vector<uint8_t> &packet, const std::string &comment) {
    constexpr uint32_t kEnhancedPacket = 6, kFirstInterface = 0;
    auto time = static_cast<uint64_t>(at_us);
    auto size = static_cast<uint32_t>(packet.size());
    begin(kEnhancedPacket);
    put(kFirstInterface);
    put(static_cast<uint32_t>(time >> 32));
    put(static_cast<uint32_t>(time));
    put(size);  // captured
    put(size);  // on the bus
    put_padded(packet.data(), packet.size());
    put_option(kComment, comment);
    put_option(kNoOption, "");
    end();
  }

  const std::vector<uint8_t> &bytes() const { return bytes_; }

 private:
  static constexpr uint16_t kNoOption = 0, kComment = 1, kInterfaceName = 2;

  void put_bytes(const void *data, size_t size) {
    const auto *first = static_cast<const uint8_t *>(data);
    bytes_.insert(bytes_.end(), first, first + size);
  }
  void put(uint32_t word) { put_bytes(&word, sizeof word); }
  void put_padded(const void *data, size_t size) {
    constexpr size_t kWord = 4;
    put_bytes(data, size);
    bytes_.resize((bytes_.size() + kWord - 1) / kWord * kWord);
  }
  void put_option(uint16_t code, const std::string &text) {
    auto size = static_cast<uint16_t>(text.size());
    put_bytes(&code, sizeof code);
    put_bytes(&size, sizeof size);
    put_padded(text.data(), text.size());
  }
  // A block's length stands behind its type and at its end.
  void begin(uint32_t type) {
    begins_at_ = bytes_.size();
    put(type);
    put(0);
  }
  void end() {
    auto length = static_cast<uint32_t>(bytes_.size() - begins_at_ + sizeof(uint32_t));
    std::memcpy(bytes_.data() + begins_at_ + sizeof(uint32_t), &length, sizeof length);
    put(length);
  }

  std::vector<uint8_t> bytes_;
  size_t begins_at_ = 0;
};

/** An I2C message: a bus number, flags with the highest byte first, then the bytes as they are on the bus. */
std::vector<uint8_t> message(uint8_t address, bool reads, std::span<const uint8_t> data) {
  constexpr uint8_t kFirstBus = 0, kReads = 1;
  auto on_bus = static_cast<uint8_t>(reads ? address | 1 : address);
  std::vector<uint8_t> bytes = {kFirstBus, 0, 0, 0, reads ? kReads : uint8_t{0}, on_bus};
  bytes.insert(bytes.end(), data.begin(), data.end());
  return bytes;
}

std::vector<uint8_t> offset_bytes(std::span<const uint8_t> record) {
  uint32_t offset = 0;
  std::memcpy(&offset, record.data() + kOffset, sizeof offset);
  std::vector<uint8_t> bytes;
  for (unsigned left = std::min<unsigned>(record[kOffsetLen], sizeof offset); left > 0; --left)
    bytes.push_back(static_cast<uint8_t>(offset >> 8 * (left - 1)));
  return bytes;
}

// A read with an offset is two messages: the offset, and the data. Of a read that failed no data came.
void add_transfer(PacketFile &file, const Recording &recording, const RecordedCall &recorded, bool reads) {
  const std::vector<uint8_t> &record = recorded.after();
  std::vector<uint8_t> bytes = offset_bytes(record);
  std::span data = std::span(record).first(std::min<size_t>(record[kLen], kMaxTransfer));
  uint8_t address = record[kAddress];
  int64_t began_us = recording.began_us + recorded.at_us;
  int64_t ended_us = began_us + recorded.duration_us;
  bool failed = recorded.call.result != 0;
  if (!reads) {
    bytes.insert(bytes.end(), data.begin(), data.end());
    file.add(began_us, message(address, false, bytes), recorded.text);
    return;
  }
  if (!bytes.empty()) file.add(began_us, message(address, false, bytes), recorded.text);
  file.add(ended_us, message(address, true, failed ? std::span<const uint8_t>() : data), recorded.text);
}

void write_pcapng(const Recording &recording) {
  PacketFile file;
  for (const RecordedCall &recorded : recording.calls) {
    const NodeCall &call = recorded.call;
    bool is_request = call.kind == CallKind::Request && call.node == Node::I2c;
    const Request *request = is_request ? request_of(call.node, static_cast<uint8_t>(call.number)) : nullptr;
    bool is_transfer = request != nullptr && request->shape == Shape::Transfer;
    if (is_transfer && recorded.given.size() >= kTransferSize) add_transfer(file, recording, recorded, request->fills);
  }
  std::fwrite(file.bytes().data(), 1, file.bytes().size(), out);
}

}  // namespace

void export_recording(const CommandLine &line) {
  constexpr char kFormats[] = "text|pcapng|perfetto";
  using Writer = void(const Recording &recording);
  constexpr Writer *kWriters[] = {write_text, write_pcapng, write_perfetto};
  unsigned chosen = parse_choice(line.format.empty() ? "text" : line.format, "--format", kFormats);
  kWriters[chosen](read_recording(line.words[0]));
}

}  // namespace zelsim::tool
