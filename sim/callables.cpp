#include "callables.h"

#include "../cli/text.h"
#include "debug_commands.h"
#include "nodes.h"
#include "request.h"

namespace zelsim::tool {
namespace {

constexpr uint32_t kLastBusAddress = 0xff;

Callable open_callable(Node node) {
  FaultCall call = {};
  call.node = node;
  call.kind = Call::Open;
  return {"open", call, {}};
}

Callable request_callable(Node node, const Request &request) {
  FaultCall call = {};
  call.node = node;
  call.kind = Call::Request;
  call.request = request.number;
  call.has_address = has_address(request);
  call.last_address = node == Node::I2c ? kLastBusAddress : kFlashSize - 1;
  return {request.name, call, split(fields_of(request), ' ')};
}

Callable file_callable(const char *name, Call kind) {
  FaultCall call = {};
  call.node = Node::Flash;
  call.kind = kind;
  call.has_address = true;
  call.last_address = kFlashSize - 1;
  return {name, call, {}};
}

Callable debug_callable(uint8_t number) {
  FaultCall call = {};
  call.node = Node::DebugCmd;
  call.kind = Call::Request;
  call.request = number;
  return {kDebugCommands[number].name, call, {}};
}

}  // namespace

std::vector<Callable> callables() {
  std::vector<Callable> all;
  for (const NodeDescription &node : kNodes) {
    for (const Request &request : requests_of(node.node)) all.push_back(request_callable(node.node, request));
    all.push_back(open_callable(node.node));
  }
  all.push_back(file_callable("read", Call::Read));
  all.push_back(file_callable("write", Call::Write));
  all.push_back(file_callable("lseek", Call::Seek));
  for (size_t number = 0; number < std::size(kDebugCommands); ++number) {
    all.push_back(debug_callable(static_cast<uint8_t>(number)));
  }
  return all;
}

bool is_on_node(const FaultCall &target, const Callable &callable) {
  return target.node == Node::Any || target.node == callable.call.node;
}

}  // namespace zelsim::tool
