// The driver request frame: the one way in which a call reaches a kernel driver.
#pragma once

#include <fcntl.h>
#include <stdint.h>
#include <sys/ioctl.h>

#include <bit>

#include "board/descriptor.h"
#include "board/requests.h"
#include "zelboard/status.h"

namespace zel {

// Records travel in native byte order, which the drivers define as little-endian.
static_assert(std::endian::native == std::endian::little);

/// A driver's node, opened with O_RDWR or with the given flags.
int open_node(Node node, int flags = O_RDWR);

/// Sends a request to its open node. The code is _IOW('$', number, uint8_t): its size field is 1 for every record.
inline uint32_t send(const Descriptor &node, Request what, void *record) {
  return static_cast<uint32_t>(ioctl(node.get(), 0x40012400UL | static_cast<uint8_t>(what), record));
}

/// Whether a request was made, and its result.
struct Answer {
  bool made;        // false: the node did not open, and the driver saw nothing
  uint32_t result;  // the driver's; FW_FAIL for a request that was not made

  /// Writes `value` to an out-parameter if the request was made, even if it failed. Returns the result.
  template <typename Value>
  uint32_t hand_out(Value *out, Value value) const {
    if (made) *out = value;
    return result;
  }
};

/// Opens the node, makes the request and closes the node. The driver fills its fields of the record in place.
Answer request(Request what, void *record);

/// Requests with a record of one byte, or of a selector and a byte. Each returns the result.
uint32_t send_byte(Request what, uint32_t value);
uint32_t get_byte(Request what, uint8_t *out);
uint32_t get_selected(Request what, uint32_t selector, uint8_t *out);
uint32_t send_selected(Request what, uint32_t selector, uint32_t value);

/// Lets the driver fill the caller's own record, zeroed once the node is open.
template <typename Record>
uint32_t fill_record(Request what, Record *record) {
  const Descriptor node(open_node(node_of(what)));
  if (!node) return FW_FAIL;
  *record = Record{};
  return send(node, what, record);
}

/// Opens and closes the node; returns FW_FAIL. For functions that open their node before they refuse an argument.
uint32_t open_and_fail(Node node);

/// Reads a driver's debug mode straight into the exported byte and prints it. Returns the request's result. If that is
/// FW_FAIL, prints nothing. If the kernel refuses the request, prints the byte as it was before.
uint32_t read_debug_mode(Node node, uint8_t *mode, const char *on, const char *off);

}  // namespace zel
