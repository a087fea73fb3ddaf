#include <stdarg.h>
#include <sys/ioctl.h>

#include "preload.h"
#include "request.h"

// Requests to the drivers.

namespace {

using namespace zelsim;

int control_node(Node node, int fd, unsigned long request, void *record) {
  const Attached *attached = environment_board();
  if (attached == nullptr) return failed(ENXIO);
  if (!is_request_code(request)) return failed(ENOTTY);
  return answer_request(*attached, node, fd, static_cast<uint8_t>(request), record);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void *record = va_arg(arguments, void *);
  va_end(arguments);
  Node node = node_of(fd);
  if (node == Node::None) return behind<ioctl>("ioctl")(fd, request, record);
  return control_node(node, fd, request, record);
}

}  // extern "C"
#pragma GCC visibility pop
