#include "pcapng.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "request.h"

namespace zelsim::tool {
namespace {

// Types of blocks.
constexpr uint32_t kSection = 0x0a0d0d0a;
constexpr uint32_t kInterface = 1;
constexpr uint32_t kEnhancedPacket = 6;

// Options of a block.
constexpr uint16_t kNoOption = 0;
constexpr uint16_t kComment = 1;
constexpr uint16_t kInterfaceName = 2;

/** A pcapng file of one interface. It has this machine's byte order, which its magic number shows. */
class PacketFile {
 public:
  PacketFile() {
    begin_section();
    begin_interface();
  }

  void add(int64_t at_us, const std::vector<uint8_t> &packet, const std::string &comment) {
    constexpr uint32_t kFirstInterface = 0;
    auto time = static_cast<uint64_t>(at_us);
    auto size = static_cast<uint32_t>(packet.size());
    begin_block(kEnhancedPacket);
    put(kFirstInterface);
    put(static_cast<uint32_t>(time >> 32));
    put(static_cast<uint32_t>(time));
    put(size);  // captured
    put(size);  // on the bus
    put_padded(packet.data(), packet.size());
    put_option(kComment, comment);
    put_option(kNoOption, "");
    end_block();
  }

  const std::vector<uint8_t> &bytes() const { return bytes_; }

 private:
  void begin_section() {
    constexpr uint32_t kByteOrder = 0x1a2b3c4d;
    constexpr uint32_t kMajorVersion = 1;  // the minor one, in the upper half, is 0
    constexpr uint32_t kUnknownLength = UINT32_MAX;
    begin_block(kSection);
    put(kByteOrder);
    put(kMajorVersion);
    put(kUnknownLength);  // of 64 bits
    put(kUnknownLength);
    end_block();
  }

  void begin_interface() {
    constexpr uint32_t kI2cLinux = 209;  // link type
    constexpr uint32_t kNoLimit = 0;     // packets are whole
    begin_block(kInterface);
    put(kI2cLinux);
    put(kNoLimit);
    put_option(kInterfaceName, "i2c");
    put_option(kNoOption, "");
    end_block();
  }

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
  void begin_block(uint32_t type) {
    constexpr uint32_t kLengthFollows = 0;
    block_at_ = bytes_.size();
    put(type);
    put(kLengthFollows);
  }
  void end_block() {
    size_t length_at = block_at_ + sizeof(uint32_t);
    auto length = static_cast<uint32_t>(bytes_.size() - block_at_ + sizeof(uint32_t));
    std::memcpy(bytes_.data() + length_at, &length, sizeof length);
    put(length);
  }

  std::vector<uint8_t> bytes_;
  size_t block_at_ = 0;  // where the last block begins
};

/** An I2C message: a bus number, four bytes of flags, then the bytes as they are on the bus. */
std::vector<uint8_t> message(uint8_t address, bool reads, std::span<const uint8_t> data) {
  constexpr uint8_t kFirstBus = 0;
  constexpr uint8_t kReadBit = 1;  // in the last byte of the flags, and in the address on the bus
  uint8_t read_bit = reads ? kReadBit : 0;
  auto on_bus = static_cast<uint8_t>(address | read_bit);
  std::vector<uint8_t> bytes = {kFirstBus, 0, 0, 0, read_bit, on_bus};
  bytes.insert(bytes.end(), data.begin(), data.end());
  return bytes;
}

// The offset's bytes on the bus: the highest one first.
std::vector<uint8_t> offset_bytes(std::span<const uint8_t> record) {
  uint32_t offset = 0;
  std::memcpy(&offset, record.data() + kOffset, sizeof offset);
  size_t count = std::min<size_t>(record[kOffsetLen], sizeof offset);
  std::vector<uint8_t> bytes(count);
  for (size_t i = 0; i < count; ++i) {
    bytes[count - 1 - i] = static_cast<uint8_t>(offset);
    offset >>= 8;
  }
  return bytes;
}

// A read with an offset is two messages: the offset, and the data. A read that failed has no data.
void add_transfer(PacketFile &file, const Recording &recording, const RecordedCall &recorded, bool reads) {
  const std::vector<uint8_t> &record = recorded.after();
  std::vector<uint8_t> bytes = offset_bytes(record);
  std::span<const uint8_t> data = std::span(record).first(std::min<size_t>(record[kLen], kMaxTransfer));
  uint8_t address = record[kAddress];
  int64_t began_us = recording.began_us + recorded.at_us;
  int64_t ended_us = began_us + recorded.duration_us;
  if (!reads) {
    bytes.insert(bytes.end(), data.begin(), data.end());
    file.add(began_us, message(address, false, bytes), recorded.text);
    return;
  }
  bool failed = recorded.call.result != 0;
  if (failed) data = {};
  if (!bytes.empty()) file.add(began_us, message(address, false, bytes), recorded.text);
  file.add(ended_us, message(address, true, data), recorded.text);
}

// The request of a call, if it is a transfer; null for any other call.
const Request *transfer_of(const RecordedCall &recorded) {
  const NodeCall &call = recorded.call;
  if (call.kind != CallKind::Request || call.node != Node::I2c) return nullptr;
  if (recorded.given.size() < kTransferSize) return nullptr;
  const Request *request = request_of(call.node, static_cast<uint8_t>(call.number));
  bool is_transfer = request != nullptr && request->shape == Shape::Transfer;
  return is_transfer ? request : nullptr;
}

}  // namespace

std::vector<uint8_t> pcapng_of(const Recording &recording) {
  PacketFile file;
  for (const RecordedCall &recorded : recording.calls) {
    const Request *transfer = transfer_of(recorded);
    if (transfer != nullptr) add_transfer(file, recording, recorded, transfer->fills);
  }
  return file.bytes();
}

}  // namespace zelsim::tool
