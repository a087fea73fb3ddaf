// The boot environment region: parsed, asked, changed and written back, whatever it holds.
#include <string.h>

#include <set>
#include <string>

#include "fake_board.h"
#include "flash/environment.h"
#include "flash/map.h"

namespace {

using fake::require;

std::vector<uint8_t> serialised() {
  std::vector<uint8_t> area(zel::kDataSize);
  convert_env(area.data());
  require(env_ptr >= area.data() && env_ptr <= area.data() + area.size());
  return area;
}

/// What was serialised once parses back to the same list.
void check_round_trip(const std::vector<uint8_t> &area) {
  env_convert(area.data());
  require(env_ptr >= area.data() && env_ptr < area.data() + area.size());
  const std::vector<uint8_t> first = serialised();
  env_convert(first.data());
  require(serialised() == first);
}

std::string text(fake::Input &input) {
  const std::vector<uint8_t> bytes = input.bytes(input.word() % 600);
  return {bytes.begin(), bytes.end()};
}

void check_stored(const fake::Board &board, const char *name) {
  const uint8_t *const region = &board.flash[flash_def[FW_FLASH_ENVIRONMENT]];
  uint32_t stored = 0;
  memcpy(&stored, region, sizeof stored);
  require(stored == FW_crc32(region + zel::kCrcSize, zel::kDataSize));
  env_convert(region + zel::kCrcSize);
  require(strchr(name, '=') != nullptr || zel::find_variable(name) != nullptr);
}

/// The entries of a data area that are variables, as an update writes them: each with "=".
std::set<std::string> variables(const uint8_t *area) {
  std::set<std::string> found;
  const auto *at = reinterpret_cast<const char *>(area);
  const char *const end = at + zel::kDataSize;
  for (;;) {
    std::string entry(at, strnlen(at, static_cast<size_t>(end - at)));
    at += entry.size() + 1;
    const bool is_variable = !entry.empty() && entry[0] != '\xFF';
    if (is_variable && entry.find('=') == std::string::npos) entry += '=';
    if (is_variable) found.insert(entry);
    if (at >= end || *at == '\0') return found;
  }
}

/// An update keeps every other variable whole.
void check_nothing_lost(const std::vector<uint8_t> &before, const fake::Board &board, const std::string &name) {
  const std::set<std::string> after = variables(&board.flash[flash_def[FW_FLASH_ENVIRONMENT] + zel::kCrcSize]);
  for (const std::string &variable : variables(before.data())) {
    require(after.count(variable) != 0 || variable.substr(0, variable.find('=')) == name);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fake::Input input(data, size);
  fake::Board &board = fake::reset();
  board.failing_call = input.byte();
  const uint8_t fill = input.byte();
  const uint32_t repeats = 1 + input.byte();  // so that a short input fills all slots or the whole area
  const std::string name = text(input);
  const std::string value = text(input);
  const std::vector<uint8_t> entry = input.rest();
  std::vector<uint8_t> area;
  for (uint32_t made = 0; made < repeats; ++made) area.insert(area.end(), entry.begin(), entry.end());
  area.resize(zel::kDataSize, fill);

  check_round_trip(area);
  fake::store(flash_def[FW_FLASH_ENVIRONMENT] + zel::kCrcSize, area);
  FW_Wdt_Flag();
  require(FW_Pwr_Flag() <= 5);
  env_add(name.c_str(), value.c_str());
  serialised();
  const uint32_t result = FW_SpiFlash_EnvAdd(name.c_str(), value.c_str());
  if (result == 0 && board.failing_call == 0) {
    check_stored(board, name.c_str());
    check_nothing_lost(area, board, name);
  }
  fake::check_released();
  return 0;
}
