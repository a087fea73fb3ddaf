// The virtual switch on a damaged state file: it either refuses the board or works on it, whatever the file holds.
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>

#include "fake_board.h"
#include "flash.h"
#include "request.h"
#include "tool.h"

namespace {

using namespace zelsim;
using StateFile = std::vector<uint8_t>;

// The seeds overwrite these members. A member that has moved needs its new place in its seed.
static_assert(offsetof(Board, gpio) + offsetof(Gpio, selected_cage) == 0x4B);  // selected_cage: 32 bytes from 0x38 on
static_assert(offsetof(Board, i2c) + offsetof(I2c, clock) + offsetof(Clock, shift_us) == 0x128);  // clock_far_off
static_assert(offsetof(Board, rules) == 0x6388);                                                  // rules
static_assert(offsetof(Board, paused_us) == 0x6B88);                                              // paused_for_ever

std::vector<std::pair<void *, size_t>> g_mappings;

// Whoever attaches to a board by itself keeps it as long as the process lives; thousands of inputs must not.
void unmap_all() {
  const auto left = g_mappings;
  for (const auto &[memory, size] : left) munmap(memory, size);
}

std::string folder() { return tool::boards_root() / "fuzz"; }

StateFile sound_state() {
  tool::create_board({.board = "fuzz", .slots = "sfp,copper,sfp"});
  for (const uint32_t port : {0U, kFirstMainPort}) {
    tool::plug_module({.board = "fuzz", .words = {"", "copper"}, .values = {port, 0}});
  }
  StateFile bytes(sizeof(Board));
  memcpy(bytes.data(), &*tool::open_board("fuzz"), bytes.size());  // the board stays open up to here
  unmap_all();
  return bytes;
}

/// Patches of up to 255 bytes at two-byte offsets; a length of 0 ends them.
void damage(fake::Input &input, StateFile &state) {
  for (;;) {
    const uint8_t length = input.byte();
    if (length == 0) return;
    size_t at = input.word();
    for (const uint8_t byte : input.bytes(length)) {
      state[at % state.size()] = byte;
      ++at;
    }
  }
}

void ask(const Attached &attached, Node node, RequestTable table, int fd, uint8_t *record) {
  for (const Request &request : table) answer_request(attached, node, fd, request.number, record);
}

void use(const Attached &attached, fake::Input &input) {
  // A rule may kill the caller; that is what it is for.
  for (FaultRule &rule : attached.board->rules) {
    if (rule.effect == Effect::Killed) rule.effect = Effect::Refused;
  }
  const int fd = open((folder() + kFlashFile).c_str(), O_RDWR);
  uint8_t record[kTransferSize] = {};
  for (uint8_t &byte : record) byte = input.byte();
  ask(attached, Node::Gpio, gpio_requests(), fd, record);
  ask(attached, Node::Flash, flash_requests(), fd, record);
  for (unsigned address = kFirstWideAddress; address <= kModulePhyAddress + 2U; address += 2) {
    record[kLen] = kMaxTransfer;
    record[kAddress] = static_cast<uint8_t>(address);
    ask(attached, Node::I2c, i2c_requests(), fd, record);
  }
  flash_write(attached, fd, record, sizeof record, input.word() << 9);
  flash_read(attached, fd, record, sizeof record, kAtPosition);
  close(fd);
}

}  // namespace

extern "C" void *mmap(void *wanted, size_t size, int protection, int flags, int fd, off_t offset) {
  void *const memory = reinterpret_cast<void *>(syscall(SYS_mmap, wanted, size, protection, flags, fd, offset));
  if (memory != MAP_FAILED && fd >= 0 && (flags & MAP_SHARED) != 0) g_mappings.emplace_back(memory, size);
  return memory;
}

// What is unmapped already may be somebody else's memory by now.
extern "C" int munmap(void *memory, size_t size) {
  std::erase_if(g_mappings, [&](const auto &mapping) { return mapping.first == memory; });
  return static_cast<int>(syscall(SYS_munmap, memory, size));
}

// The name that a complaint begins with.
const char *const kProgram = "fuzz_board_state";

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const StateFile sound = sound_state();
  fake::Input input(data, size);
  StateFile state = sound;
  const uint8_t choices = input.byte();
  const bool cuts = (choices & 1) != 0;
  const bool as_json = (choices & 2) != 0;
  damage(input, state);
  if (cuts) state.resize(input.word());
  std::ofstream(folder() + kStateFile).write(reinterpret_cast<char *>(state.data()), std::ssize(state));
  if (!cuts) std::filesystem::resize_file(folder() + kStateFile, kStateFileSize);

  Attached attached;
  char error[2 * kPathMax] = {};
  if (attach(folder().c_str(), &attached, error, sizeof error)) {
    use(attached, input);
    const tool::CommandLine line{.board = "fuzz", .svg = "-", .json = as_json};
    for (tool::Document *shown : {tool::board_document, tool::flash_document, tool::faults_document}) {
      print(shown(line), line.json);
    }
    tool::draw_panel(line);
  } else {
    fake::require(error[0] != '\0' && strchr(error, '\n') == nullptr);
  }
  unmap_all();
  return 0;
}
