#include "request.h"

#include <errno.h>
#include <string.h>

#include "board.h"
#include "devices.h"
#include "system_calls.h"

namespace zelsim {
namespace {

RequestTable table(Node node) {
  if (node == Node::Gpio) return gpio_requests();
  if (node == Node::I2c) return i2c_requests();
  return node == Node::Flash ? flash_requests() : RequestTable{};
}

void copy_filled(const Request &request, const uint8_t *from, void *to) {
  size_t at = 0, size = record_size(request.shape);
  if (request.shape == Shape::Pair) at = 1;
  if (request.shape == Shape::Register) at = 4;
  if (request.shape == Shape::Transfer) size = from[kLen] < kMaxTransfer ? from[kLen] : kMaxTransfer;
  memcpy(static_cast<uint8_t *>(to) + at, from + at, size - at);
}

// The first page is never mapped. Any other wild pointer faults in the caller, where a kernel would answer EFAULT:
// asking the kernel about every record would cost more than the request.
bool is_mapped(const void *record) { return reinterpret_cast<uintptr_t>(record) >= 4096; }

FaultCall fault_call(const RequestEvent &event) {
  bool transfers = event.request->shape == Shape::Transfer;
  uint32_t first = transfers ? event.before[kAddress] : event.address & ~(kSectorSize - 1);
  uint32_t last = transfers ? first : first + kSectorSize - 1;
  return {event.node, Call::Request, event.number, transfers || erases(*event.request), first, last};
}

void answer(const Attached &attached, int fd, RequestEvent &event) {
  Fault fault = take_fault(*attached.board, fault_call(event));
  event.error = 0;
  if (fault.strikes) {
    event.result = fault.result;
    event.error = fault.error;
  } else if (erases(*event.request)) {
    event.result = flash_erase(attached, fd, event.address);
    event.error = errno;
  } else {
    Guard guard(*attached.board);
    event.result = event.request->handle(*attached.board, *event.request, event.after);
    event.answered = true;
  }
}

}  // namespace

const Request *find_request(Node node, uint8_t number) {
  for (const Request &request : table(node)) {
    if (request.number == number) return &request;
  }
  return nullptr;
}

bool request_by_name(Node node, const char *name, uint8_t *number) {
  for (const Request &request : table(node)) {
    if (strcmp(request.name, name) != 0) continue;
    *number = request.number;
    return true;
  }
  return false;
}

const char *node_name(Node node) {
  constexpr const char *kNames[] = {"none", "gpio", "i2c", "flash", "any"};
  return kNames[static_cast<unsigned>(node)];
}

size_t record_size(Shape shape) {
  constexpr size_t kSizes[] = {0, 1, 2, 8, kTransferSize, 48, 4, 3};
  return kSizes[static_cast<unsigned>(shape)];
}

int plain(Board &board, const Request &request, uint8_t *record) {
  bool pair = request.shape == Shape::Pair;
  auto index = static_cast<uint8_t>(pair ? record[0] - request.first : 0);
  uint8_t *value = record + pair, *state = reinterpret_cast<uint8_t *>(&board) + request.state + index;
  if (index >= request.count || (!request.fills && *value > request.highest)) return kFail;
  memcpy(request.fills ? value : state, request.fills ? state : value, record_size(request.shape) - pair);
  return 0;
}

int answer_request(const Attached &attached, Node node, int fd, uint8_t number, void *record) {
  const Request *request = find_request(node, number);
  size_t size = request != nullptr ? record_size(request->shape) : 0;
  bool sound = size == 0 || is_mapped(record);
  RequestEvent event{node, number, request, {}, {}, -1, request == nullptr ? ENOTTY : EFAULT, 0, false};
  if (request != nullptr && sound) {
    // The driver works on a copy, so that no fault of the caller's memory strikes while the lock is held.
    memcpy(event.before, record, size);
    memcpy(event.after, record, size);
    if (erases(*request)) event.address = static_cast<uint32_t>(sys::lseek(fd, 0, SEEK_CUR));
    answer(attached, fd, event);
    if (request->fills && event.answered) copy_filled(*request, event.after, record);
  }
  if (event.result < 0) errno = event.error;
  trace_request(event);
  return event.result;
}

}  // namespace zelsim
