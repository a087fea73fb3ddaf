// The driver request frame: the one way in which a call reaches a kernel driver.
#pragma once

#include <fcntl.h>
#include <stdint.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <bit>

#include "board/requests.h"
#include "zelboard/status.h"

namespace zel {

// Records travel in native byte order, which the drivers define as little-endian.
static_assert(std::endian::native == std::endian::little);

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

/// A driver's node, opened with O_RDWR or as said.
int open_node(Node node, int flags = O_RDWR);

/// Sends a request to its open node: _IOW('$', number, one byte), a size of 1 whatever the length of the record.
inline uint32_t send(const Descriptor &node, Request what, void *record) {
  return static_cast<uint32_t>(ioctl(node.get(), 0x40012400UL | static_cast<uint8_t>(what), record));
}

/// Opens the node, makes the request, closes the node. The lower half is the result, FW_FAIL for a node that did not open;
/// the upper half tells that one from a driver's answer. Both halves come back in registers.
uint64_t make_request(Request what, void *record);
inline constexpr uint64_t kNotMade = uint64_t{1} << 32 | FW_FAIL;

/// The result of a request after which there is nothing to do.
inline uint32_t request(Request what, void *record) { return static_cast<uint32_t>(make_request(what, record)); }

/// Runs `after` once the node is closed again, whatever the request's result; never when the node did not open. There the
/// driver-filled fields go to the caller.
template <typename Record, typename After>
uint32_t request(Request what, Record &record, After after) {
  const uint64_t answer = make_request(what, &record);
  if (answer >> 32 == 0) after();
  return static_cast<uint32_t>(answer);
}

/// A byte that the driver only reads, and one that it fills; alone, or the value of a selected record.
uint32_t send_byte(Request what, uint32_t value);
uint32_t get_byte(Request what, uint8_t *out);
uint32_t get_selected(Request what, uint32_t selector, uint8_t *out);

/// Lets the driver fill the caller's own record, zeroed once the node is open.
template <typename Record>
uint32_t fill_record(Request what, Record *record) {
  const Descriptor node(open_node(node_of(what)));
  if (!node) return FW_FAIL;
  *record = Record{};
  return send(node, what, record);
}

/// The end of a request whose argument is refused, but not before the node was opened: FW_FAIL.
uint32_t refuse_opened(Node node);

/// Reads a driver's debug mode straight into the exported byte and tells the operator. Only FW_FAIL suppresses the line:
/// after a request that the kernel refused it shows the byte as it stood.
uint32_t read_debug_mode(Node node, uint8_t *mode, const char *on, const char *off);

}  // namespace zel
