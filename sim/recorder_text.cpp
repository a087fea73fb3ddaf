#include <ctype.h>
#include <errno.h>
#include <string.h>

#include "call_names.h"
#include "recorder.h"
#include "trace_line.h"

// The part of a recorded line that a trace has, too.

namespace zelsim {
namespace {

size_t request_text(const NodeCall &call, char *text, size_t size) {
  CallBytes after = call.taken.size > 0 ? call.taken : call.given;
  RequestEvent event = {};
  event.node = call.node;
  event.number = static_cast<uint8_t>(call.number);
  if (is_request_code(call.number)) event.request = request_of(call.node, event.number);
  event.result = static_cast<int>(call.result);
  event.error = call.result < 0 ? call.error : 0;
  event.address = static_cast<uint32_t>(call.at);
  if (call.given.size > 0) memcpy(event.before, call.given.data, call.given.size);
  if (after.size > 0) memcpy(event.after, after.data, after.size);
  bool is_short = event.request != nullptr && call.given.size < record_size(*event.request);
  if (is_short) event.error = EFAULT;  // its record cannot be shown
  return request_line(event, text, size);
}

// The line of a command, without the white space at its end. A control byte becomes '?': a newline would end the
// recorded line.
size_t command_text(const NodeCall &call, char *text, size_t size) {
  constexpr char kTool[] = "debugCmd ";
  const char *command = reinterpret_cast<const char *>(call.given.data);
  bool is_tool = call.given.size >= strlen(kTool) && strncmp(command, kTool, strlen(kTool)) == 0;
  size_t length =
      print_into(text, size, "%s%.*s", is_tool ? "" : "system ", static_cast<int>(call.given.size), command);
  while (length > 0 && isspace(static_cast<unsigned char>(text[length - 1]))) --length;
  for (size_t i = 0; i < length; ++i) {
    if (static_cast<unsigned char>(text[i]) < ' ') text[i] = '?';
  }
  return length;
}

}  // namespace

size_t call_text(const NodeCall &call, char *text, size_t size) {
  auto at = static_cast<unsigned long long>(call.at);
  auto argument = static_cast<unsigned long long>(call.argument);
  const char *node = node_name(call.node);
  switch (call.kind) {
    case CallKind::Open:
      return print_into(text, size, "open %s %s", node, access_name(call.flags));
    case CallKind::Close:
      return print_into(text, size, "close %s", node);
    case CallKind::Request:
      return request_text(call, text, size);
    case CallKind::Read:
      return print_into(text, size, "%s read 0x%08llx+0x%llx", node, at, argument);
    case CallKind::Write:
      return print_into(text, size, "%s write 0x%08llx+0x%llx", node, at, argument);
    case CallKind::Seek:
      return print_into(text, size, "%s lseek %s0x%08llx", node, origin_name(call.whence), argument);
    case CallKind::Pause:
      return print_into(text, size, "pause %lluus", argument);
    case CallKind::Command:
      return command_text(call, text, size);
  }
  return 0;
}

size_t asked_text(const NodeCall &asked, char *text, size_t size) {
  constexpr char kAnswer[] = " -> ";
  size_t length = call_text(asked, text, size);
  const void *answer = memmem(text, length, kAnswer, strlen(kAnswer));
  return answer != nullptr ? static_cast<size_t>(static_cast<const char *>(answer) - text) : length;
}

}  // namespace zelsim
