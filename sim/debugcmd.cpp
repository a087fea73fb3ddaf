#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <iterator>

#include "trace.h"

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

constexpr char kUsage[] =
    "usage: debugCmd sgpio_set GROUP BIT VALUE | sw_register_get HEX | sw_register_set HEX HEX |\n"
    "       phy_register_get PORT HEX | phy_register_set PORT HEX HEX\n";

bool parse(const Command &command, char **words, uint32_t *number) {
  for (int i = 0; i < command.count; ++i) {
    char *end;
    errno = 0;
    unsigned long value = strtoul(words[i], &end, i < command.decimals ? 10 : 16);
    bool digits = isxdigit(static_cast<unsigned char>(words[i][0])) && *end == '\0' && errno == 0;
    if (!digits || value > command.highest[i]) return false;
    number[i] = static_cast<uint32_t>(value);
  }
  return true;
}

int fail(int status, const char *text) {
  fputs(text, stderr);
  return status;
}

int run(Board &board, const Command &command, const uint32_t *number) {
  Guard guard(board);
  bool is_phy = command.space == RegisterSpace::Phy;
  auto port = static_cast<uint8_t>(is_phy ? number[0] : 0);
  uint32_t address = number[is_phy ? 1 : 0], last = number[command.count - 1];
  if (command.space == RegisterSpace::Free) {
    board.chain[number[0]][number[1]] = static_cast<uint8_t>(last);
  } else if (!command.sets) {
    uint32_t value = read_register(board, command.space, port, address);
    return printf(is_phy ? "PHY register 0x%x = 0x%04x\n" : "register 0x%08x = 0x%08x\n", address, value) < 0;
  } else if (!write_register(board, command.space, port, address, last)) {
    return fail(1, "debugCmd: the board's register table is full\n");
  }
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  const Command *command = nullptr;
  for (const Command &row : kCommands) {
    if (argc == row.count + 2 && strcmp(row.name, argv[1]) == 0) command = &row;
  }
  uint32_t number[3] = {};
  if (command == nullptr || !parse(*command, argv + 2, number)) return fail(2, kUsage);
  const Attached *attached = environment_board();
  if (attached == nullptr) return fail(1, errno == 0 ? "debugCmd: no board: run it under zelsim run\n" : "");
  char line[128] = "debugCmd", *end = line + 8;
  for (int i = 1; i < argc; ++i) end += snprintf(end, static_cast<size_t>(std::end(line) - end), " %s", argv[i]);
  trace(kNoResult, "%s", line);
  return run(*attached->board, *command, number);
}
