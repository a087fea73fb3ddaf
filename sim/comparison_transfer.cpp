#include "comparison_transfer.h"

#include <algorithm>

#include "byte_order.h"
#include "phy.h"
#include "request.h"
#include "tool.h"

// How the bytes of a chip differ: in the words of the chip, where it has some.

namespace zelsim::tool {
namespace {

// IEEE 802.3 clause 22: the low byte of register 10 counts idle errors. Register 21 counts receive errors on common PHYs.
unsigned compared_bits(unsigned number) {
  constexpr unsigned kReceiveErrors = 21;
  if (number == kReceiveErrors) return 0;
  return number == phy::GigabitStatus ? 0xff00 : 0xffff;
}

std::string bit_text(uint8_t byte, unsigned bit) { return (byte >> bit & 1u) != 0 ? "1" : "0"; }

class TransferComparison {
 public:
  TransferComparison(std::span<const uint8_t> recorded, std::span<const uint8_t> model, std::optional<unsigned> port,
                     Findings &found)
      : recorded_(recorded), model_(model), port_(port), found_(found) {}

  void compare() {
    uint8_t address = recorded_[kAddress];
    size_t len = std::min<size_t>(recorded_[kLen], kMaxTransfer);
    bool starts_at_zero = recorded_[kOffsetLen] > 0 && first_offset() == 0;
    bool is_time = address == kClockTimeAddress && len == kClockTimeBytes;
    bool is_temperature = address == kSensorAddress && starts_at_zero && len == sizeof(uint16_t);
    if (is_time) {
      compare_chip_time();
    } else if (is_temperature) {
      compare_sensor();
    } else if (address == kModulePhyAddress) {
      compare_phy(len);
    } else if (is_expander(address)) {
      compare_expander(address, len);
    } else {
      compare_bytes(address, len);
    }
  }

 private:
  void compare_bytes(uint8_t address, size_t len) {
    for (size_t i = 0; i < len; ++i) {
      if (recorded_[i] == model_[i]) continue;
      found_.add(place(address, i), format("%02x", recorded_[i]), format("%02x", model_[i]));
    }
  }

  // Names the cage and the signal of each line that differs.
  void compare_expander(uint8_t address, size_t len) {
    uint32_t first = first_offset();
    for (size_t i = 0; i < len; ++i) {
      unsigned changed = recorded_[i] ^ model_[i];
      for (unsigned bit = 0; bit < 8; ++bit) {
        if ((changed >> bit & 1u) == 0) continue;
        std::string field = line_text(address, expander_register(address, first, static_cast<unsigned>(i)), bit);
        found_.add(field, bit_text(recorded_[i], bit), bit_text(model_[i], bit));
      }
    }
  }

  static std::string line_text(uint8_t address, ExpanderPort chip, unsigned bit) {
    constexpr const char *kKindNames[] = {"", " output", " polarity", " configuration"};
    ExpanderLine line = expander_line(address, chip.port, bit);
    if (line.signal == nullptr)
      return format("addr=0x%02x port_of_chip=%u bit=%u%s", address, chip.port, bit, kKindNames[chip.kind]);
    return format("addr=0x%02x port=%u %s%s", address, line.port, line.signal, kKindNames[chip.kind]);
  }

  void compare_chip_time() {
    int64_t recorded = clock_reading(recorded_.data());
    int64_t model = clock_reading(model_.data());
    found_.add_clock("addr=0x64 clock", recorded, model);
  }

  void compare_sensor() {
    double recorded = degrees_of(big_word16_at(recorded_.data(), 0));
    double model = degrees_of(big_word16_at(model_.data(), 0));
    found_.add_degrees("addr=0x9e temperature", recorded, model);
  }

  // The high byte of a register comes first. A low byte that was not read counts as zero.
  static unsigned register_at(std::span<const uint8_t> bytes, size_t at, size_t len) {
    bool has_low_byte = at + 1 < len;
    return has_low_byte ? big_word16_at(bytes.data(), at) : unsigned{bytes[at]} << 8;
  }

  void compare_phy(size_t len) {
    uint32_t first = first_offset();
    for (size_t i = 0; i < len; i += 2) {
      unsigned number = first + static_cast<unsigned>(i / 2);
      unsigned recorded = register_at(recorded_, i, len);
      unsigned model = register_at(model_, i, len);
      if (recorded == model) continue;
      bool counts_only = ((recorded ^ model) & compared_bits(number)) == 0;
      if (counts_only) {
        found_.tolerate(kPhyCounterValue);
        continue;
      }
      std::string field = format("addr=0xac%s register=%u", port_text().c_str(), number);
      found_.add(field, format("0x%04x", recorded), format("0x%04x", model));
    }
  }

  uint32_t first_offset() const { return recorded_[kOffsetLen] > 0 ? host_word32_at(recorded_.data(), kOffset) : 0; }

  std::string port_text() const { return port_ ? format(" port=%u", *port_) : ""; }

  // The addresses of modules belong to the selected one.
  std::string place(uint8_t address, size_t i) const {
    std::string port = address >= kModuleAddress ? port_text() : "";
    return format("addr=0x%02x%s byte=0x%02x", address, port.c_str(), first_offset() + static_cast<unsigned>(i));
  }

  std::span<const uint8_t> recorded_;
  std::span<const uint8_t> model_;
  std::optional<unsigned> port_;
  Findings &found_;
};

}  // namespace

void compare_transfer(std::span<const uint8_t> recorded, std::span<const uint8_t> model, std::optional<unsigned> port,
                      Findings &found) {
  TransferComparison(recorded, model, port, found).compare();
}

}  // namespace zelsim::tool
