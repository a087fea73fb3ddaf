// The driver request frame: the one way in which a call reaches a kernel driver.
#pragma once

#include <fcntl.h>
#include <stdint.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <bit>

#include "zelboard/status.h"

namespace zel {

// Records travel in native byte order, which the drivers define as little-endian.
static_assert(std::endian::native == std::endian::little);

inline constexpr char kGpio[] = "/dev/zel_gpio";
inline constexpr char kI2c[] = "/dev/zel_i2c";
inline constexpr char kSpiFlash[] = "/dev/zel_spi_flash";

struct Request {
  const char *node;
  uint8_t number;
};

/// _IOW('$', number, one byte): the size field is 1 whatever the length of the record.
constexpr unsigned long request_code(uint8_t number) { return 0x40012400UL | number; }

/// An open descriptor that ends with its scope. Inlined also where size counts: its call would be the longer code.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  [[gnu::always_inline]] ~Descriptor() { reset(); }

  /// Closes what is open and takes over another descriptor.
  [[gnu::always_inline]] void reset(int fd = -1) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }

 private:
  int fd_;
};

inline uint32_t send(const Descriptor &node, uint8_t number, void *record) {
  return static_cast<uint32_t>(ioctl(node.get(), request_code(number), record));
}

inline constexpr auto kNothing = [] {};

/// The frame with a step of its own between open and request: `prepare(node)` sets up or checks, and false means that the
/// request is not made and the call fails. `deliver` copies the driver-filled fields to the caller, whatever the
/// request's result; it never runs when the node did not open.
template <typename Prepare, typename Deliver>
uint32_t prepared_request(Request what, void *record, Prepare prepare, Deliver deliver) {
  const Descriptor node(open(what.node, O_RDWR));
  if (!node || !prepare(node)) return FW_FAIL;
  const uint32_t result = send(node, what.number, record);
  deliver();
  return result;
}

template <typename Record, typename Deliver>
uint32_t request(Request what, Record &record, Deliver deliver) {
  return prepared_request(
      what, &record, [](const Descriptor &) { return true; }, deliver);
}

template <typename Record>
uint32_t request(Request what, Record &record) {
  return request(what, record, kNothing);
}

/// The frame of the calls that hand out their answer only once the node is closed, or do more work after it.
template <typename Record, typename Deliver>
uint32_t request_then(Request what, Record &record, Deliver deliver) {
  bool made = false;
  const uint32_t result = request(what, record, [&made] { made = true; });
  if (made) deliver();
  return result;
}

inline uint32_t request_no_record(Request what) {
  return prepared_request(
      what, nullptr, [](const Descriptor &) { return true; }, kNothing);
}

/// Sends a byte that the driver only reads.
inline uint32_t send_byte(Request what, uint32_t value) {
  auto record = static_cast<uint8_t>(value);
  return request(what, record);
}

/// Reads a byte that the driver fills.
template <typename Byte>
uint32_t get_byte(Request what, Byte *out) {
  uint8_t record = 0;
  return request(what, record, [&] { *out = record; });
}

/// Reads a driver's debug mode straight into the exported byte and tells the operator. Only FW_FAIL suppresses the line:
/// after a request that the kernel refused it shows the byte as it stood.
uint32_t read_debug_mode(const char *node, uint8_t &mode, const char *on, const char *off);

/// Both numbers are shared by all three drivers.
inline constexpr uint8_t kSetDebugMode = 0xDB;
inline constexpr uint8_t kGetDebugMode = 0xDC;

}  // namespace zel
