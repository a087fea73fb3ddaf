#include "records.h"

namespace zelctl {

namespace {

constexpr uint32_t kFitted = 4;  // no --variant: the one that is fitted

std::string text;
uint32_t variant = kFitted, byte;

/** The library prints the stored names as "Custom Name For LABEL: [NAME]". */
Json storedNames() {
  const Printed printed = printedBy(FW_SpiFlash_ShowCustomName);
  require(printed.status, "custom names");
  Json names = Json::array();
  for (size_t line = 0, end; (end = printed.text.find('\n', line)) != std::string::npos; line = end + 1) {
    constexpr std::string_view kLead = "Custom Name For ";
    const std::string row = printed.text.substr(line, end - line);
    const size_t label_end = row.find_first_of(" :", kLead.size()), open = row.find('['), close = row.rfind(']');
    if (!row.starts_with(kLead) || open == std::string::npos || close == std::string::npos) continue;
    names.push_back(record("variant", row.substr(kLead.size(), label_end - kLead.size()), "name",
                           row.substr(open + 1, close - open - 1)));
  }
  return names;
}

void setName() {
  if (text.size() > 31) refuseArgument("NAME", "at most 31 characters");
  const bool fitted = variant == kFitted;
  require(fitted ? FW_SpiFlash_SetCustomName(text.c_str()) : FW_SpiFlash_WriteCustomName(text.c_str(), variant),
          "model name");
}

void describe() {
  if (text.size() > 255) refuseArgument("TEXT", "at most 255 characters");
  require(FW_SpiFlash_SetCustomDesc(text.c_str()), "description");
}

void setPowerByte() {
  const auto mode = static_cast<uint8_t>(byte);
  require(FW_SpiFlash_SetCustomPwrMode(&mode), "power-mode byte");
}

}  // namespace

Json identity() {
  char model[36] = "", description[256] = "";
  require(FW_SpiFlash_GetCustomName(model), "model name");
  const uint32_t status = FW_SpiFlash_GetCustomDesc(description);
  if (status != FW_NOT_SET) require(status, "description");
  return record("model", model, "description", status == FW_NOT_SET ? Json() : Json(description), "power_byte",
 byteOf(FW_SpiFlash_GetCustomPwrMode, "power-mode byte"),
                "names", storedNames());
}

void addIdentityCommands(CLI::App &app) {
  const auto list = [] { show(identity()); };
  CLI::App *family = command(app, "identity", "Model name, description, power-mode byte", "identity", list);
  command(*family, "show", "What is stored", "identity show --json", list);
  CLI::App *name = command(*family, "name", "Stores a model name", "identity name EDGE-1 --variant 2", setName);
  name->add_option("NAME", text, "Name, up to 31 characters")->required();
  number(name, "--variant", variant, "For this number of copper boards, not for those fitted", 0, 3);
  command(*family, "describe", "Stores the description", "identity describe 'Hall 3, rack 7'", describe)
      ->add_option("TEXT", text, "Description, up to 255 characters")
      ->required();
  number(command(*family, "power-byte", "Stores the power-mode byte", "identity power-byte 3", setPowerByte), "VALUE",
         byte, "Value", 0, 255);
}

}  // namespace zelctl
