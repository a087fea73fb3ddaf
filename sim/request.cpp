#include "request.h"

#include <errno.h>
#include <string.h>

#include "changes.h"
#include "flash.h"
#include "rules.h"
#include "system_calls.h"
#include "trace.h"

namespace zelsim {
namespace {

struct Layout {
  size_t size;
  const char *fields;  // null: the request names its own
};

Layout layout_of(Shape shape) {
  switch (shape) {
    case Shape::None:
      break;
    case Shape::Byte:
      return {1, nullptr};
    case Shape::Pair:
      return {2, nullptr};
    case Shape::Register:
      return {2 * sizeof(uint32_t), "address value"};
    case Shape::Transfer:
      return {kTransferSize, "addr offset offset_len len data"};
    case Shape::Rtc:
      return {sizeof(ClockRecord), "mode24 pm sec min hour mday mon year wday"};
    case Shape::Temperature:
      return {sizeof(float), "temperature"};
    case Shape::Identification:
      return {sizeof kJedecId, "id"};
  }
  return {0, ""};
}

// The selection of a cage is not logged: every read of a module moves it. Whole records are not logged either: every poll
// hands one to the driver.
bool is_logged(size_t offset, size_t size) { return size == 1 && offset != offsetof(Board, gpio.selected_cage); }

FaultCall fault_call(const RequestEvent &event) {
  FaultCall call = {};
  call.node = event.node;
  call.kind = Call::Request;
  call.request = event.number;
  call.has_address = has_address(*event.request);
  if (event.request->shape == Shape::Transfer) {
    call.first_address = event.before[kAddress];
    call.last_address = event.before[kAddress];
  } else {
    call.first_address = event.address - event.address % kSectorSize;
    call.last_address = call.first_address + kSectorSize - 1;
  }
  return call;
}

void fail_with(RequestEvent &event, int error) {
  event.result = -1;
  event.error = error;
}

// The driver works on a copy of the record, so that no fault of the caller's memory strikes while the lock is held.
void let_driver_answer(const Attached &attached, RequestEvent &event, void *record) {
  const Request &request = *event.request;
  {
    Guard guard(*attached.board, request.fills ? Intent::Look : Intent::Change);
    event.result = request.handle(*attached.board, request, event.after);
  }
  if (request.fills) memcpy(record, event.after, record_size(request));
}

void answer(const Attached &attached, int fd, RequestEvent &event, void *record) {
  if (event.request == nullptr) {
    fail_with(event, ENOTTY);
    return;
  }
  const Request &request = *event.request;
  size_t size = record_size(request);
  if (size > 0 && !is_mapped(record)) {
    fail_with(event, EFAULT);
    return;
  }
  if (size > 0) {
    memcpy(event.before, record, size);
    memcpy(event.after, record, size);
  }
  if (erases(request)) event.address = static_cast<uint32_t>(sys::lseek(fd, 0, SEEK_CUR));
  Fault fault = take_fault(*attached.board, fault_call(event));
  if (fault.strikes) {
    event.fault = fault.rule;
    event.result = fault.result;
    event.error = fault.error;
  } else if (erases(request)) {
    event.result = flash_erase(attached, fd, event.address);
    if (event.result < 0) event.error = errno;
  } else {
    let_driver_answer(attached, event, record);
  }
}

}  // namespace

RequestTable requests_of(Node node) {
  switch (node) {
    case Node::Gpio:
      return gpio_requests();
    case Node::I2c:
      return i2c_requests();
    case Node::Flash:
      return flash_requests();
    default:
      return {};
  }
}

const Request *request_of(Node node, uint8_t number) {
  for (const Request &request : requests_of(node)) {
    if (request.number == number) return &request;
  }
  return nullptr;
}

size_t record_size(const Request &request) { return layout_of(request.shape).size; }

const char *fields_of(const Request &request) {
  const char *fields = layout_of(request.shape).fields;
  return fields != nullptr ? fields : request.fields;
}

int set_or_get_state(Board &board, const Request &request, uint8_t *record) {
  const StateBytes &bytes = request.state;
  uint8_t *value = record;
  size_t size = record_size(request);
  int index = 0;
  if (request.shape == Shape::Pair) {
    index = record[0] - bytes.first;
    value = record + 1;
    size = 1;
  }
  if (index < 0 || index >= bytes.count) return kFail;
  size_t offset = bytes.offset + static_cast<size_t>(index);
  uint8_t *state = reinterpret_cast<uint8_t *>(&board) + offset;
  if (request.fills) {
    memcpy(value, state, size);
    return 0;
  }
  if (*value > bytes.highest) return kFail;
  if (is_logged(offset, size)) {
    change_byte(board, *state, *value);
  } else {
    memcpy(state, value, size);
  }
  return 0;
}

int answer_request(const Attached &attached, Node node, int fd, uint8_t number, void *record) {
  RequestEvent event = {};
  event.node = node;
  event.number = number;
  event.request = request_of(node, number);
  event.began_us = trace_clock();
  count_request(*attached.board);
  answer(attached, fd, event, record);
  if (event.result < 0) errno = event.error;
  trace_request(event);
  return event.result;
}

}  // namespace zelsim
