#include <algorithm>
#include <cstdlib>
#include <memory>

#include "records.h"

constexpr uint32_t kAnyWord = 0xFFFFFFFF;

/** The last word that is a hexadecimal number, with or without 0x; nothing if there is none. */
static std::optional<uint64_t> last_number(const std::string &text) {
  constexpr const char *kLetters = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  constexpr int kHexadecimal = 16;
  std::optional<uint64_t> last;
  size_t start = text.find_first_of(kLetters);
  while (start != std::string::npos) {
    const size_t end = std::min(text.find_first_not_of(kLetters, start), text.size());
    std::string word = text.substr(start, end - start);
    if (word.starts_with("0x") || word.starts_with("0X")) word.erase(0, 2);
    const bool is_number = !word.empty() && word.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    if (is_number) last = std::strtoull(word.c_str(), nullptr, kHexadecimal);
    start = text.find_first_of(kLetters, end);
  }
  return last;
}

/** What debugCmd printed, without the line that the library prints before it. That line comes last if it was buffered. */
static std::string answer_of(const std::string &printed, const std::string &what) {
  std::string text;
  for (const std::string &line : split(printed, '\n')) {
    if (!line.starts_with("reg_mode=")) text += line + "\n";
  }
  text.erase(text.find_last_not_of('\n') + 1);
  if (text.empty()) throw Failure{what + ": debugCmd printed no value"};
  if (!last_number(text)) throw Failure{what + ": debugCmd printed no number: '" + escaped(text) + "'"};
  return text;
}

static void get_register(uint32_t address) {
  require_board();
  const std::string what = format("register 0x%X", address);
  uint32_t value = 0;
  const Printed printed = printed_by([&] { return FW_GetSpecialRegister(address, &value); });
  require_debug_command(what);
  if (CheckSpecialReg(address) == FW_REGISTER_SWITCH) {
    show(record("address", address, "class", "switch-chip", "debugCmd", answer_of(printed.text, what)));
    return;
  }
  require(printed.status, what);
  show(record("address", address, "class", "soc", "value", value));
}

static void set_register(uint32_t address, uint32_t value) {
  require_board();
  const std::string what = format("register 0x%X", address);
  require(FW_SetSpecialRegister(address, value), what);
  require_debug_command(what, "the register may be set");
}

Json phy_register(uint32_t port, uint32_t number) {
  require_board();
  const std::string what = format("PHY of port %u", port);
  const Printed printed = printed_by([=] { return FW_ShowPhyRegister(port, number); });
  require_debug_command(what);
  const std::string answer = answer_of(printed.text, what);
  return record("port", port, "register", number, "debugCmd", answer);
}

struct RegisterOptions {
  uint32_t address = 0;
  uint32_t value = 0;
};

static void add_registers(App &app) {
  const auto options = std::make_shared<RegisterOptions>();
  App *family = command(app, "register", "SoC and switch-chip registers", "register get 0x20300");
  App *get = command(*family, "get", "Reads a register", "register get 0x5000010",
                     [options] { get_register(options->address); });
  add_number(get, "ADDRESS", options->address, "Register address", 0, kAnyWord);
  App *set = command(*family, "set", "Writes a register", "register set 0x5000010 0xab",
                     holding_signals([options] { set_register(options->address, options->value); }));
  add_number(set, "ADDRESS", options->address, "Register address", 0, kAnyWord);
  add_number(set, "VALUE", options->value, "Value", 0, kAnyWord);
}

struct PhyOptions {
  uint32_t port = 0;
  uint32_t number = 0;
  uint32_t value = 0;
};

/** debugCmd does not say whether it has written. Some registers have bits that clear themselves, so another value is
 *  reported but is no failure. */
static void set_phy_register(const PhyOptions &options) {
  require_board();
  const std::string what = format("PHY of port %u", options.port);
  FW_SetPhyRegister(options.port, options.number, options.value);
  require_debug_command(what, "the register may be set");
  std::string answer;
  try {
    answer = phy_register(options.port, options.number)["debugCmd"];
  } catch (const Failure &failure) {
    throw Failure{failure.what() + format("; 0x%X was sent, but not read back", options.value)};
  }
  if (last_number(answer) == options.value) return;
  complain(format("%s: 0x%X was written; read back: '%s'", what.c_str(), options.value, escaped(answer).c_str()), 0);
}

static void add_phys(App &app) {
  const auto options = std::make_shared<PhyOptions>();
  App *family = command(app, "phy", "Registers of the switch ports' PHYs", "phy get 3 1");
  App *get = command(*family, "get", "Reads a PHY register", "phy get 3 1",
                     [options] { show(phy_register(options->port, options->number)); });
  App *set = command(*family, "set", "Writes a PHY register, and reads it back", "phy set 3 0x16 0x1",
                     holding_signals([options] { set_phy_register(*options); }));
  for (App *leaf : {get, set}) {
    add_number(leaf, "PORT", options->port, "Switch port", 0, FW_PHY_PORT_LAST);
    add_number(leaf, "REGISTER", options->number, "PHY register", 0, 31);
  }
  add_number(set, "VALUE", options->value, "Value", 0, 0xFFFF);
}

void add_register_commands(App &app) {
  add_registers(app);
  add_phys(app);
}
