#include "board/request.h"

#include <stdio.h>

namespace zel {

int open_node(Node node, int flags) {
  // In the order of Node.
  static constexpr char kPaths[][32] = {"/dev/zel_gpio", "/dev/zel_i2c", "/dev/zel_spi_flash"};
  return open(kPaths[static_cast<uint8_t>(node)], flags);
}

Answer request(Request what, void *record) {
  const Descriptor node(open_node(node_of(what)));
  if (!node) return {.made = false, .result = FW_FAIL};
  return {.made = true, .result = send(node, what, record)};
}

uint32_t send_byte(Request what, uint32_t value) {
  auto record = static_cast<uint8_t>(value);
  return request(what, &record).result;
}

uint32_t get_byte(Request what, uint8_t *out) {
  uint8_t record = 0;
  const Answer answer = request(what, &record);
  return answer.hand_out(out, record);
}

uint32_t get_selected(Request what, uint32_t selector, uint8_t *out) {
  SelectedRecord record{static_cast<uint8_t>(selector), 0};
  const Answer answer = request(what, &record);
  return answer.hand_out(out, record.value);
}

uint32_t send_selected(Request what, uint32_t selector, uint32_t value) {
  SelectedRecord record{static_cast<uint8_t>(selector), static_cast<uint8_t>(value)};
  return request(what, &record).result;
}

uint32_t open_and_fail(Node node) {
  const Descriptor opened(open_node(node));
  return FW_FAIL;
}

uint32_t read_debug_mode(Node node, uint8_t *mode, const char *on, const char *off) {
  const uint32_t result = request(get_debug_mode(node), mode).result;
  if (result != FW_FAIL) puts(*mode != 0 ? on : off);
  return result;
}

}  // namespace zel
