#include "fault_words.h"

#include <cstdlib>

#include "arguments.h"
#include "callables.h"
#include "faults.h"

namespace zelsim::tool {
namespace {

/** A text that is divided at a separator. */
struct DividedText {
  std::string before;
  std::optional<std::string> behind;  // none: the separator is not there
};

DividedText divided(const std::string &text, char separator) {
  size_t place = text.find(separator);
  if (place == std::string::npos) return {text, std::nullopt};
  return {text.substr(0, place), text.substr(place + 1)};
}

bool begins_with_digit(const std::string &text) { return text.find_first_of("0123456789") == 0; }

void parse_request(FaultCall &target, const std::string &text) {
  if (begins_with_digit(text)) {
    target.kind = Call::Request;
    target.request = static_cast<uint8_t>(parse_number(text, "REQUEST", 0, 255));
    return;
  }
  for (const Callable &callable : callables()) {
    if (callable.name != text || !is_on_node(target, callable)) continue;
    target.kind = callable.call.kind;
    target.request = callable.call.request;
    return;
  }
  throw Usage("REQUEST: '" + text + "' is neither a number nor a request of this node (zelsim fail --requests)");
}

Node parse_node(const std::string &text) {
  constexpr Node kNodesInOrder[] = {Node::Gpio, Node::I2c, Node::Flash, Node::DebugCmd, Node::Any};
  std::string names;
  for (Node node : kNodesInOrder) add_item(names, node_name(node), "|");
  return kNodesInOrder[parse_choice(text, "NODE", names)];
}

void parse_addresses(FaultCall &target, const std::string &text) {
  auto [first, last] = divided(text, '-');
  target.has_address = true;
  target.first_address = parse_number(first, "ADDRESS", 0, UINT32_MAX);
  target.last_address = target.first_address;
  if (last) target.last_address = parse_number(*last, "ADDRESS", target.first_address, UINT32_MAX);
}

FaultCall parse_target(const std::string &text) {
  auto [call, addresses] = divided(text, '@');
  if (addresses && addresses->find('@') != std::string::npos)
    throw Usage("NODE: '" + text + "' is not like NODE[:REQUEST][@ADDRESS[-ADDRESS]]");
  auto [node, request] = divided(call, ':');
  FaultCall target = {};
  target.node = parse_node(node);
  if (request) parse_request(target, *request);
  if (addresses) parse_addresses(target, *addresses);
  return target;
}

Effect parse_effect(const std::string &text) {
  unsigned index = parse_choice(text, "--result", effect_names());
  return kNamedEffects[index].effect;
}

// Without --result a request returns the driver's failure. An open, read, write or seek fails as the kernel fails it.
Effect default_effect(Call kind) {
  switch (kind) {
    case Call::AllButOpen:
    case Call::Request:
      return Effect::Value;
    case Call::Open:
      return Effect::Closed;
    default:
      return Effect::Refused;
  }
}

/** What `--result` says. */
struct Result {
  Effect effect;
  uint32_t value;
};

Result parse_result(const FaultCall &target, const std::string &text) {
  bool is_program = target.node == Node::DebugCmd;  // its result is an exit status
  const uint32_t failed = is_program ? 0xff : 0xffff;
  const uint32_t highest = is_program ? 0xff : 0x7fffffff;
  if (text.empty()) return {default_effect(target.kind), failed};
  if (!begins_with_digit(text)) return {parse_effect(text), failed};
  uint32_t value = parse_number(text, "--result", 0, highest);
  bool takes_numbers = target.kind != Call::Open && target.kind != Call::Seek;
  if (!takes_numbers) throw Usage("--result: a number is for a request, a read or a write");
  return {Effect::Value, value};
}

void check_effect(Effect effect, const FaultCall &target, const std::string &text) {
  bool is_of_program = effect == Effect::Hangs || effect == Effect::Nonsense;
  if (is_of_program && target.node != Node::DebugCmd) throw Usage("--result: '" + text + "' is for debugCmd");
  if (effect == Effect::Closed && target.kind != Call::Open)
    throw Usage("--result: 'closed' is for an open, not for a request");
}

// Without a probability a rule strikes every call.
double parse_probability(const std::string &text) {
  if (text.empty()) return 0;
  char *end = nullptr;
  double probability = std::strtod(text.c_str(), &end);
  bool in_range = probability > 0 && probability <= 1;
  if (*end != '\0' || !in_range) throw Usage("--probability: '" + text + "' is not a number above 0, up to 1");
  return probability;
}

}  // namespace

FaultRule rule_of(const CommandLine &line) {
  FaultRule rule = {};
  rule.target = parse_target(line.words[0]);
  Result result = parse_result(rule.target, line.result);
  rule.effect = result.effect;
  rule.value = result.value;
  // `--result closed` without a request means: the node cannot be opened.
  bool closes_node = rule.effect == Effect::Closed && rule.target.kind == Call::AllButOpen;
  if (closes_node) rule.target.kind = Call::Open;
  check_effect(rule.effect, rule.target, line.result);
  if (!line.count.empty()) rule.count = parse_number(line.count, "--count", 1, UINT32_MAX);
  rule.skip = parse_number(line.skip, "--skip", 0, UINT32_MAX);
  rule.seed = parse_number(line.seed, "--seed", 0, UINT32_MAX);
  rule.random = rule.seed;
  rule.probability = parse_probability(line.probability);
  return rule;
}

}  // namespace zelsim::tool
