// The boot environment's table in memory: parsed from a data area, changed, and serialised back. Nothing here goes
// beyond the area's 65532 bytes or the table's 200 slots, whatever the area holds.
#include "flash/environment.h"

env_slot env_data[200] = {};
const uint8_t *env_ptr = nullptr;

static_assert(sizeof(env_slot) == 593);
static_assert(sizeof env_data == 118600);

namespace zel {
namespace {

constexpr size_t kMaxName = sizeof env_slot::name - 1;
constexpr size_t kMaxValue = sizeof env_slot::value - 1;
constexpr size_t kListEnd = 1;   // the NUL of the empty entry that closes the list
constexpr uint8_t kFill = 0xFF;  // of a slot before it is filled
env_slot *const kTableEnd = env_data + sizeof env_data / sizeof env_data[0];

size_t at_most(size_t length, size_t limit) { return length < limit ? length : limit; }

const uint8_t *find(uint8_t byte, const uint8_t *from, const uint8_t *end) {
  const void *const found = memchr(from, byte, static_cast<size_t>(end - from));
  return found != nullptr ? static_cast<const uint8_t *>(found) : end;
}

size_t distance(const uint8_t *from, const uint8_t *to) { return static_cast<size_t>(to - from); }

/// Lengths of an entry's parts.
struct Entry {
  size_t name;
  size_t value;

  size_t size() const { return name + value + 2; }  // with "=" and NUL
};

/// The lengths of a slot's entry in the list. A name without a NUL had no "=": it ends where the slot's fill begins, and
/// its value is empty.
Entry entry_of(const env_slot &slot) {
  const size_t name = strnlen(slot.name, sizeof slot.name);
  if (name < sizeof slot.name) {
    const size_t value = strnlen(slot.value, sizeof slot.value);
    return {name, at_most(value, kMaxValue)};
  }
  const auto *const bytes = reinterpret_cast<const uint8_t *>(slot.name);
  const uint8_t *const fill = find(kFill, bytes, bytes + kMaxName);
  return {distance(bytes, fill), 0};
}

/// Fills a slot from an entry with "="; false when a field was too short for it.
bool fill_from_variable(env_slot &slot, const uint8_t *from, const uint8_t *equals, const uint8_t *end) {
  const size_t name = distance(from, equals);
  const size_t kept_name = at_most(name, kMaxName);
  memcpy(slot.name, from, kept_name);
  slot.name[kept_name] = '\0';

  const size_t value = distance(equals + 1, end);
  const size_t kept_value = at_most(value, kMaxValue);
  memcpy(slot.value, equals + 1, kept_value);
  slot.value[kept_value] = '\0';
  return kept_name == name && kept_value == value;
}

/// Fills a slot from an entry without "=". Callers rely on an oddity: the name gets no NUL, and value[length of the
/// name] gets it instead. Returns false if the slot holds less than the entry.
bool fill_from_name(env_slot &slot, const uint8_t *from, const uint8_t *end, bool ended_by_nul) {
  const size_t name = distance(from, end);
  const size_t kept = at_most(name, kMaxName);
  memcpy(slot.name, from, kept);
  if (ended_by_nul) slot.value[kept] = '\0';
  return entry_of(slot).name == name;
}

/// Fills a slot, which holds 0xFF throughout, from the entry [from, end). False when a variable lost something. An
/// unused slot holds no variable.
bool fill_slot(env_slot &slot, const uint8_t *from, const uint8_t *end, bool ended_by_nul) {
  const uint8_t *const equals = find('=', from, end);
  bool whole = false;
  if (equals != end) {
    whole = fill_from_variable(slot, from, equals, end);
  } else {
    whole = fill_from_name(slot, from, end, ended_by_nul);
  }
  if (!is_used(slot)) return true;
  return whole;
}

/// Where the list ends.
env_slot *first_unused() {
  env_slot *slot = env_data;
  while (slot != kTableEnd && is_used(*slot)) ++slot;
  return slot;
}

/// Size of the list if the slot `changed` has an entry of the wanted size. If `changed` is the first unused slot, the
/// used slots behind it belong to the list, too.
size_t list_size_with(const env_slot *changed, size_t wanted) {
  size_t size = kListEnd;
  for (const env_slot &slot : env_data) {
    if (&slot == changed) {
      size += wanted;
      continue;
    }
    if (!is_used(slot)) break;
    size += entry_of(slot).size();
  }
  return size;
}

/// Size of the list as it is.
size_t list_size() { return list_size_with(nullptr, 0); }

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
    const bool ended_by_nul = nul != end;
    if (!fill_slot(slot, at, nul, ended_by_nul)) whole = false;
    env_ptr = ended_by_nul ? nul : end - 1;
    at = env_ptr + 1;
    if (at == end || *at == '\0') return whole;
  }
  // What follows the last slot is lost. Bytes of an erased flash are no loss.
  while (at != end && *at == kFill) ++at;
  return whole && at == end;
}

bool keeps_all_others(const char *name) {
  for (const env_slot *slot = first_unused(); slot != kTableEnd; ++slot) {
    if (is_used(*slot) && !holds(slot->name, name)) return false;
  }
  return list_size() <= kDataSize;
}

}  // namespace zel

uint32_t env_convert(const uint8_t *data) {
  zel::parse_area(data);
  return 0;
}

uint32_t convert_env(uint8_t *data) {
  const env_slot *const list_end = zel::first_unused();
  uint8_t *at = data;
  for (const env_slot *slot = env_data; slot != list_end; ++slot) {
    const zel::Entry entry = zel::entry_of(*slot);
    const size_t room = zel::distance(at, data + zel::kDataSize);
    if (entry.size() + zel::kListEnd > room) break;
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
  if (slot == zel::kTableEnd) return 0;
  if (zel::list_size_with(slot, wanted.size()) > zel::kDataSize) return 0;  // writing it would lose the last variables

  if (known == nullptr) {
    memset(slot->name, 0, sizeof slot->name);
    memcpy(slot->name, name, wanted.name);
  }
  memset(slot->value, 0, sizeof slot->value);
  memcpy(slot->value, value, wanted.value);
  return 0;
}
