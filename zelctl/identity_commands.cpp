#include <cstring>
#include <memory>

#include "records.h"

/** The text between two characters of a line; nothing if one of them is missing. */
static std::optional<std::string> between(const std::string &line, char open, char close) {
  const size_t start = line.find(open);
  const size_t end = line.rfind(close);
  if (start == std::string::npos || end == std::string::npos || end < start) return std::nullopt;
  return line.substr(start + 1, end - start - 1);
}

/** The library prints the stored names, a line each: "Custom Name For LABEL: [NAME]". */
static Json stored_names() {
  const std::string lead = "Custom Name For ";
  const Printed printed = printed_by(FW_SpiFlash_ShowCustomName);
  require(printed.status, "custom names");
  Json names = Json::array();
  for (const std::string &line : split(printed.text, '\n')) {
    const auto name = between(line, '[', ']');
    if (!line.starts_with(lead) || !name) continue;
    const std::string rest = line.substr(lead.size());
    names.push_back(record("variant", rest.substr(0, rest.find_first_of(" :")), "name", *name));
  }
  return names;
}

static std::string model_name() {
  char model[FW_MODEL_SIZE] = "";
  require(FW_SpiFlash_GetCustomName(model), "model name");
  return model;
}

/** The library composes the model name from the boards and the power mode, and does not say if it cannot read them.
 *  Throws if they cannot be read. */
static void require_parts_of_model_name() {
  copper_boards();
  power();
}

/** Asks twice, since boards and power mode may change, or fail, between the questions. */
static Json settled_model_name() {
  require_parts_of_model_name();
  const std::string model = model_name();
  if (model_name() != model) throw Failure{"model name: two questions, two answers"};
  return model;
}

static Json description() {
  char text[FW_DESCRIPTION_SIZE] = "";
  const uint32_t status = FW_SpiFlash_GetCustomDesc(text);
  if (status == FW_NOT_SET) return {};
  require(status, "description");
  return text;
}

static Json power_byte() { return byte_of(FW_SpiFlash_GetCustomPwrMode, "power-mode byte"); }

std::span<const Part> identity_parts() {
  static constexpr Part kParts[] = {{"model", "model name", settled_model_name},
                                    {"description", "description", description},
                                    {"power_byte", "power-mode byte", power_byte},
                                    {"names", "custom names", stored_names}};
  return kParts;
}

Json whole(std::span<const Part> parts) {
  Json all = Json::object();
  for (const Part &part : parts) all[part.key] = part.ask();
  return all;
}

Json identity() { return whole(identity_parts()); }

constexpr uint32_t kAsFitted = 0xFFFFFFFF;  // no --variant

struct NameOptions {
  std::string name;
  uint32_t variant = kAsFitted;
};

static void store_name(const NameOptions &options) {
  if (options.name.size() >= FW_NAME_SIZE) refuse_argument("NAME", format("at most %u characters", FW_NAME_SIZE - 1));
  const uint32_t variant = options.variant == kAsFitted ? copper_boards() : options.variant;
  hold_signals();
  require(FW_SpiFlash_WriteCustomName(options.name.c_str(), variant), "model name");
}

static void store_description(const std::string &text) {
  if (text.size() >= FW_DESCRIPTION_SIZE)
    refuse_argument("TEXT", format("at most %u characters", FW_DESCRIPTION_SIZE - 1));
  hold_signals();
  require(FW_SpiFlash_SetCustomDesc(text.c_str()), "description");
}

static void store_power_byte(uint32_t value) {
  const auto mode = static_cast<uint8_t>(value);
  hold_signals();
  require(FW_SpiFlash_SetCustomPwrMode(&mode), "power-mode byte");
}

static void add_name(App &family) {
  const auto options = std::make_shared<NameOptions>();
  App *app = command(family, "name", "Stores a model name", "identity name EDGE-1 --variant 2",
                     tells_if_interrupted([options] { store_name(*options); }));
  add_text(app, "NAME", options->name, "Name, up to 31 characters");
  add_number(app, "--variant", options->variant, "For this number of copper boards (default: as fitted)", 0,
             FW_SLOT_LAST);
}

static void add_description(App &family) {
  const auto text = std::make_shared<std::string>();
  App *app = command(family, "describe", "Stores the description", "identity describe 'Hall 3, rack 7'",
                     tells_if_interrupted([text] { store_description(*text); }));
  add_text(app, "TEXT", *text, "Description, up to 255 characters");
}

static void add_power_byte(App &family) {
  const auto value = std::make_shared<uint32_t>();
  App *app = command(family, "power-byte", "Stores the power-mode byte", "identity power-byte 3",
                     tells_if_interrupted([value] { store_power_byte(*value); }));
  add_number(app, "BYTE", *value, "Value", 0, 255);
}

void add_identity_commands(App &app) {
  App *family = group(app, "identity", "Model name, description, power-mode byte", "identity name EDGE-1", "show",
                      [] { show(identity()); });
  add_name(*family);
  add_description(*family);
  add_power_byte(*family);
}
