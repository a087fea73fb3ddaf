#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "board.h"
#include "devices.h"
#include "request.h"

// The platform's command tool on the virtual board: what no driver reaches.

namespace {

using namespace zelsim;

constexpr unsigned kPhyPorts = 26;
constexpr uint32_t kAny = 0xffffffff;

struct Command {
  const char *name;
  RegisterSpace space;  // Free: the serial-GPIO chain
  bool sets;
  int count, decimals;  // of arguments; the first so many are decimal, the others hexadecimal
  uint32_t highest[3];
};

constexpr Command kCommands[] = {
    {"sgpio_set", RegisterSpace::Free, true, 3, 3, {kChainGroups - 1, kChainBits - 1, 2}},
    {"sw_register_get", RegisterSpace::SwitchChip, false, 1, 0, {kAny}},
    {"sw_register_set", RegisterSpace::SwitchChip, true, 2, 0, {kAny, kAny}},
    {"phy_register_get", RegisterSpace::Phy, false, 2, 1, {kPhyPorts - 1, kAny}},
    {"phy_register_set", RegisterSpace::Phy, true, 3, 1, {kPhyPorts - 1, kAny, 0xffff}},
};

int usage() {
  constexpr char kText[] =
      "usage: debugCmd sgpio_set GROUP BIT VALUE | sw_register_get HEX | sw_register_set HEX HEX |\n"
      "       phy_register_get PORT HEX | phy_register_set PORT HEX HEX\n";
  fputs(kText, stderr);
  return 2;
}

bool parse(const Command &command, char **words, uint32_t *number) {
  for (int i = 0; i < command.count; ++i) {
    char *end;
    errno = 0;
    unsigned long value = strtoul(words[i], &end, i < command.decimals ? 10 : 16);
    if (!isxdigit(static_cast<unsigned char>(words[i][0])) || *end != '\0' || errno != 0) return false;
    if (value > command.highest[i]) return false;
    number[i] = static_cast<uint32_t>(value);
  }
  return true;
}

int run(Board &board, const Command &command, const uint32_t *number) {
  Guard guard(board);
  if (command.space == RegisterSpace::Free) {
    board.chain[number[0]][number[1]] = static_cast<uint8_t>(number[2]);
    return 0;
  }
  bool is_phy = command.space == RegisterSpace::Phy;
  auto port = static_cast<uint8_t>(is_phy ? number[0] : 0);
  uint32_t address = number[is_phy ? 1 : 0];
  if (!command.sets) {
    uint32_t value = read_register(board, command.space, port, address);
    return printf(is_phy ? "PHY register 0x%x = 0x%04x\n" : "register 0x%08x = 0x%08x\n", address, value) < 0;
  }
  if (write_register(board, command.space, port, address, number[command.count - 1])) return 0;
  fputs("debugCmd: the board's register table is full\n", stderr);
  return 1;
}

}  // namespace

int main(int argc, char **argv) {
  const Command *command = nullptr;
  for (const Command &row : kCommands) {
    if (argc == row.count + 2 && strcmp(row.name, argv[1]) == 0) command = &row;
  }
  uint32_t number[3] = {};
  if (command == nullptr || !parse(*command, argv + 2, number)) return usage();
  const Attached *attached = environment_board();
  if (attached == nullptr && errno == 0) fputs("debugCmd: no board: run it under zelsim run\n", stderr);
  if (attached == nullptr) return 1;
  const char *second = argc > 3 ? argv[3] : "", *third = argc > 4 ? argv[4] : "";
  trace(kNoResult, "debugCmd %s %s%s%s%s%s", argv[1], argv[2], argc > 3 ? " " : "", second, argc > 4 ? " " : "", third);
  return run(*attached->board, *command, number);
}
