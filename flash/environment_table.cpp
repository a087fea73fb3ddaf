// The boot environment's table in memory: parsed from a data area, changed, and serialised back. Nothing here goes beyond
// the area's 65532 bytes or the table's 200 slots, whatever the area holds.
#include "flash/environment.h"

env_slot env_data[200] = {};
const uint8_t *env_ptr = nullptr;

static_assert(sizeof(env_slot) == 593 && sizeof env_data == 118600);

namespace zel {
namespace {

constexpr size_t kMaxName = sizeof env_slot::name - 1, kMaxValue = sizeof env_slot::value - 1;
constexpr size_t kListEnd = 1;  // the NUL of the empty entry that closes the list
constexpr int kFill = 0xFF;     // of a slot before it is filled
env_slot *const kTableEnd = env_data + sizeof env_data / sizeof env_data[0];

size_t at_most(size_t length, size_t limit) { return length < limit ? length : limit; }

const uint8_t *find(uint8_t byte, const uint8_t *from, const uint8_t *end) {
  const void *const found = memchr(from, byte, static_cast<size_t>(end - from));
  return found != nullptr ? static_cast<const uint8_t *>(found) : end;
}

struct Entry {
  size_t name, value;  // lengths

  size_t size() const { return name + value + 2; }  // with "=" and NUL
};

/// The name of an entry that had no "=" ends where the slot's fill begins, and its value is empty.
Entry entry_of(const env_slot &slot) {
  const size_t name = strnlen(slot.name, sizeof slot.name);
  if (name < sizeof slot.name) return {name, at_most(strnlen(slot.value, sizeof slot.value), kMaxValue)};
  const void *const fill = memchr(slot.name, kFill, sizeof slot.name);
  return {fill != nullptr ? static_cast<size_t>(static_cast<const char *>(fill) - slot.name) : kMaxName, 0};
}

/// Fills a slot, which holds 0xFF throughout, from the entry [from, end). What exceeds a field is cut; false when a
/// variable lost something by it.
bool fill_slot(env_slot &slot, const uint8_t *from, const uint8_t *end, bool ended_by_nul) {
  const uint8_t *const equals = find('=', from, end);
  const size_t name = at_most(static_cast<size_t>(equals - from), kMaxName);
  memcpy(slot.name, from, name);
  size_t kept = name + 1;
  if (equals != end) {
    const size_t value = at_most(static_cast<size_t>(end - equals) - 1, kMaxValue);
    slot.name[name] = '\0';
    memcpy(slot.value, equals + 1, value);
    slot.value[value] = '\0';
    kept += value;
  } else {
    // Without "=" the NUL goes to the value field, at the name's position: such a name stays unterminated.
    if (ended_by_nul) slot.value[name] = '\0';
    kept = entry_of(slot).name;
  }
  return kept == static_cast<size_t>(end - from) || !is_used(slot);
}

/// Where the list ends.
env_slot *first_unused() {
  env_slot *slot = env_data;
  while (slot != kTableEnd && is_used(*slot)) ++slot;
  return slot;
}

/// Size of the list as it is once `changed`, which may be null, holds an entry of the wanted size.
size_t list_size(const env_slot *changed, size_t wanted) {
  size_t size = kListEnd;
  for (const env_slot &slot : env_data) {
    if (&slot != changed && !is_used(slot)) break;
    size += &slot == changed ? wanted : entry_of(slot).size();
  }
  return size;
}

}  // namespace

env_slot *find_variable(const char *name) {
  for (env_slot &slot : env_data) {
    if (is_used(slot) && holds(slot.name, name)) return &slot;
  }
  return nullptr;
}

bool fits_slot(const char *name, const char *value) { return strlen(name) <= kMaxName && strlen(value) <= kMaxValue; }

bool parse_area(const uint8_t *data) {
  const uint8_t *const end = data + kDataSize;
  const uint8_t *at = data;
  bool whole = true;
  memset(env_data, kFill, sizeof env_data);
  for (env_slot &slot : env_data) {
    const uint8_t *const nul = find('\0', at, end);
    whole &= fill_slot(slot, at, nul, nul != end);
    env_ptr = nul != end ? nul : end - 1;
    at = env_ptr + 1;
    if (at == end || *at == '\0') return whole;
  }
  // What follows the last slot is lost, unless it is but fill.
  while (at != end && *at == kFill) ++at;
  return whole && at == end;
}

bool lists_others(const char *name) {
  for (const env_slot *slot = first_unused(); slot != kTableEnd; ++slot) {
    if (is_used(*slot) && !holds(slot->name, name)) return false;
  }
  return list_size(nullptr, 0) <= kDataSize;
}

}  // namespace zel

uint32_t env_convert(const uint8_t *data) {
  zel::parse_area(data);
  return 0;
}

uint32_t convert_env(uint8_t *data) {
  uint8_t *at = data;
  for (const env_slot *slot = env_data, *const end = zel::first_unused(); slot != end; ++slot) {
    const zel::Entry entry = zel::entry_of(*slot);
    if (entry.size() + zel::kListEnd > static_cast<size_t>(data + zel::kDataSize - at)) break;
    memcpy(at, slot->name, entry.name);
    at[entry.name] = '=';
    memcpy(at + entry.name + 1, slot->value, entry.value);
    at += entry.size();  // the entry's NUL comes from the caller's zero fill
  }
  env_ptr = at;
  return 0;
}

uint32_t env_add(const char *name, const char *value) {
  if (!zel::fits_slot(name, value)) return 0;
  env_slot *const known = zel::find_variable(name);
  env_slot *const slot = known != nullptr ? known : zel::first_unused();
  const zel::Entry wanted{strlen(name), strlen(value)};
  // A list that outgrew the area would lose its last variables when it is written.
  if (slot == zel::kTableEnd || zel::list_size(slot, wanted.size()) > zel::kDataSize) return 0;

  if (known == nullptr) {
    memset(slot->name, 0, sizeof slot->name);
    memcpy(slot->name, name, wanted.name);
  }
  memset(slot->value, 0, sizeof slot->value);
  memcpy(slot->value, value, wanted.value);
  return 0;
}
