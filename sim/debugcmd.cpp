#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "changes.h"
#include "debug_caller.h"
#include "debug_commands.h"
#include "rules.h"
#include "trace.h"

// The platform's command tool on the virtual board. It reaches what no driver reaches.

namespace {

using namespace zelsim;

constexpr char kUsage[] =
    "usage: debugCmd sgpio_set GROUP BIT VALUE | sw_register_get HEX | sw_register_set HEX HEX |\n"
    "       phy_register_get PORT HEX | phy_register_set PORT HEX HEX\n";

bool parse_number(const char *word, int base, uint32_t highest, uint32_t *number) {
  char *end;
  errno = 0;
  unsigned long value = strtoul(word, &end, base);
  bool digits = isxdigit(static_cast<unsigned char>(word[0])) && *end == '\0' && errno == 0;
  *number = static_cast<uint32_t>(value);
  return digits && value <= highest;
}

bool parse(const DebugCommand &command, char **words, uint32_t *numbers) {
  for (int i = 0; i < command.count; ++i) {
    int base = i < command.decimal_arguments ? 10 : 16;
    if (!parse_number(words[i], base, command.highest[i], &numbers[i])) return false;
  }
  return true;
}

int end_with(int status, const char *text) {
  fputs(text, stderr);
  return status;
}

int set_chain(Board &board, const uint32_t *numbers) {
  uint32_t group = numbers[0];
  uint32_t bit = numbers[1];
  change_byte(board, board.chain[group][bit], static_cast<uint8_t>(numbers[2]));
  return 0;
}

// The numbers are a PHY register's port, then the address, then the value of a set.
int access_register(Board &board, const DebugCommand &command, const uint32_t *numbers) {
  bool is_phy = command.space == RegisterSpace::Phy;
  auto port = static_cast<uint8_t>(is_phy ? numbers[0] : 0);
  uint32_t address = is_phy ? numbers[1] : numbers[0];
  if (command.sets) {
    uint32_t value = numbers[command.count - 1];
    if (change_register(board, command.space, port, address, value)) return 0;
    return end_with(1, "debugCmd: the board's register table is full\n");
  }
  uint32_t value = read_register(board, command.space, port, address);
  const char *format = is_phy ? "PHY register 0x%x = 0x%04x\n" : "register 0x%08x = 0x%08x\n";
  printf(format, address, value);
  return 0;
}

int run_on_board(Board &board, const DebugCommand &command, const uint32_t *numbers) {
  Guard guard(board, command.sets ? Intent::Change : Intent::Look);
  if (command.space == kChain) return set_chain(board, numbers);
  return access_register(board, command, numbers);
}

const DebugCommand *find_command(int argc, char **argv) {
  for (const DebugCommand &row : kDebugCommands) {
    if (argc == row.count + 2 && strcmp(row.name, argv[1]) == 0) return &row;
  }
  return nullptr;
}

void trace_words(int argc, char **argv) {
  char text[128] = "debugCmd";
  size_t size = strlen(text);
  for (int i = 1; i < argc; ++i) {
    int written = snprintf(text + size, sizeof text - size, " %s", argv[i]);
    size += static_cast<size_t>(written);
    if (size >= sizeof text) break;
  }
  trace(kNoResult, "%s", text);
}

Fault fault_for(Board &board, const DebugCommand &command) {
  FaultCall call = {};
  call.node = Node::DebugCmd;
  call.kind = Call::Request;
  call.request = command_number(command);
  return take_fault(board, call);
}

int act_out(const Fault &fault) {
  switch (fault.effect) {
    case Effect::Hangs:
      for (;;) pause();
    case Effect::Nonsense:
      fputs("\x02#!~ 0xZZ\n", stdout);
      return 0;
    case Effect::Value:
      return end_with(fault.result, "debugCmd: failed\n");
    default:
      return end_with(1, "debugCmd: failed\n");
  }
}

}  // namespace

int main(int argc, char **argv) {
  const DebugCommand *command = find_command(argc, argv);
  uint32_t numbers[kMostDebugArguments] = {};
  if (command == nullptr || !parse(*command, argv + 2, numbers)) return end_with(2, kUsage);
  const Attached *attached = environment_board();
  if (attached == nullptr) return end_with(1, errno == 0 ? "debugCmd: no board: run it under zelsim run\n" : "");
  trace_words(argc, argv);
  const Fault fault = fault_for(*attached->board, *command);
  if (fault.strikes) return act_out(fault);
  sign_for_caller();
  return run_on_board(*attached->board, *command, numbers);
}
