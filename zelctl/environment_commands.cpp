#include <algorithm>
#include <cstring>

#include "records.h"

constexpr size_t kCrcLength = 4, kMacLength = FW_MAC_BACKUP_SIZE;

static std::string name, value;

/** A field up to its NUL; a name that an entry without "=" left open ends at the table's fill. */
template <size_t Size>
static std::string text(const char (&field)[Size]) {
  const std::string all(field, strnlen(field, Size));
  return all.substr(0, all.find('\xFF'));
}

Json environment_in(std::span<const uint8_t> region) {
  const bool erased = is_erased(region);
  const uint8_t *data = region.data() + kCrcLength;
  const uint32_t crc = FW_crc32(data, static_cast<uint32_t>(region.size() - kCrcLength));
  Json variables = Json::array();
  if (!erased) env_convert(data);
  for (const env_slot &slot : env_data) {
    if (erased || static_cast<uint8_t>(slot.name[0]) == 0xFF) break;
    variables.push_back(record("name", text(slot.name), "value", text(slot.value)));
  }
  return record("state", erased ? "erased" : crc == word_at(region, 0) ? "valid" : "damaged", "variables", variables);
}

static Json read_environment(const char *left) {
  return environment_in(read_flash(region_start(FW_REGION_ENVIRONMENT), FW_ENV_SIZE, left));
}

Json environment() { return read_environment(kUnchanged); }

static void list() {
  const Json known = environment();
  if (settings.json) return show(known);
  for (const Json &row : known["variables"])
    std::fprintf(out, "%s=%s\n", cell("name", row["name"]).c_str(), cell("value", row["value"]).c_str());
  if (known["state"] != "valid")
    std::fprintf(stderr, "zelctl: the environment is %s\n", cell("", known["state"]).c_str());
}

static void get() {
  const Json known = environment();
  for (const Json &row : known["variables"]) {
    if (row["name"] != name) continue;
    if (settings.json) return show(row);
    std::fprintf(out, "%s\n", cell("value", row["value"]).c_str());
    return;
  }
  throw Failure{"no variable '" + name + "' in the boot environment"};
}

static void set() {
  constexpr size_t kNameLimit = sizeof env_slot::name - 1, kValueLimit = sizeof env_slot::value - 1;
  if (name.empty() || name.size() > kNameLimit || name.find_first_of("=\xFF") != std::string::npos)
    refuse_argument("NAME", format("1 to %zu characters, '=' and the byte 0xFF not among them", kNameLimit));
  if (value.empty() || value.size() > kValueLimit || value.find('\xFF') != std::string::npos)
    refuse_argument("VALUE", format("1 to %zu characters, the byte 0xFF not among them", kValueLimit));
  start_change();
  require(FW_SpiFlash_EnvAdd(name.c_str(), value.c_str()), "boot environment");
  const Json known = read_environment(kUnverified);
  for (const Json &row : known["variables"])
    if (row["name"] == name && row["value"] == value) return;
  throw Failure{"boot environment: " + name + " does not read back"};
}

/** By the library's table: parsed, the slot taken out, serialised and read back. */
static void unset() {
  std::vector<uint8_t> region(FW_ENV_SIZE), again(FW_ENV_SIZE);
  if (environment()["state"] != "valid") throw Failure{"the boot environment is not valid: nothing is taken out of it"};
  require(FW_SpiFlashEnvRead(region.data()), "boot environment");
  env_convert(region.data() + kCrcLength);
  convert_env(again.data() + kCrcLength);
  // Everything up to the end of the list must have found room in the table.
  const auto *end = env_ptr + 1;
  if (!std::equal<const uint8_t *>(again.data() + kCrcLength, end, region.data() + kCrcLength))
    throw Failure{"the boot environment holds what would be lost: nothing was changed"};
  env_slot *const last = std::end(env_data);
  env_slot *const left = std::remove_if(env_data, last, [](const env_slot &slot) { return text(slot.name) == name; });
  if (left == last) throw Failure{"no variable '" + name + "' in the boot environment"};
  std::memset(left, 0xFF, static_cast<size_t>(last - left) * sizeof *left);
  std::fill(region.begin(), region.end(), uint8_t{0});
  convert_env(region.data() + kCrcLength);
  const uint32_t crc = FW_crc32(region.data() + kCrcLength, FW_ENV_SIZE - kCrcLength);
  for (size_t i = 0; i < kCrcLength; ++i) region[i] = static_cast<uint8_t>(crc >> 8 * i);
  start_change();
  require(FW_SpiFlashEnvWrite(region.data()), "boot environment");
  require(FW_SpiFlashEnvRead(again.data()), "boot environment");
  if (again != region) throw Failure{"boot environment: what was written does not read back"};
}

/** The 17 bytes are kept as they are: those of an address in its usual text form, or any, as hexadecimal digits. */
static void set_mac() {
  constexpr const char *kDigits = "0123456789abcdefABCDEF";
  std::string bytes = value;
  bool good = value.size() == 2 * kMacLength && value.find_first_not_of(kDigits) == std::string::npos;
  if (good) {
    for (size_t i = 0; i < kMacLength; ++i)
      bytes[i] = static_cast<char>(std::stoi(value.substr(2 * i, 2), nullptr, 16));
    bytes.resize(kMacLength);
  } else if (value.size() == kMacLength) {
    good = true;
    for (size_t i = 0; i < kMacLength; ++i)
      good = good && (i % 3 == 2 ? value[i] == ':' || value[i] == '-' : std::strchr(kDigits, value[i]) != nullptr);
  }
  if (!good) refuse_argument("MAC", "'" + value + "' is neither like 00:11:22:33:44:55 nor 34 hexadecimal digits");
  byte_of(FW_FlashGetIndex, "flash driver");
  hold_signals();
  require(FW_SpiFlash_BackupMacSet(reinterpret_cast<const uint8_t *>(bytes.data())), "MAC backup");
}

uint32_t ask_environment(const std::function<uint32_t()> &question) {
  env_ptr = nullptr;
  const uint32_t answer = question();
  if (env_ptr == nullptr) require(FW_FAIL, "boot environment");
  return answer;
}

Json mac_backup() {
  uint8_t mac[kMacLength] = {}, index = 0xFF;
  require(FW_FlashGetIndex(&index), "flash driver");
  if (index != 0) throw Failure{format("chip index %u is not supported", index)};  // the read itself cannot tell
  require(FW_SpiFlash_BackupMacGet(mac), "MAC backup");
  return record("stored", !is_erased(mac), "text", printable({mac, mac + kMacLength}), "bytes", hex_text(mac));
}

void add_environment_commands(App &app) {
  App *family = group(app, "env", "Boot environment variables", "env set pwrmode pwr2ac", "list", list);
  App *getter = command(*family, "get", "One variable", "env get pwrmode", get);
  App *setter = command(*family, "set", "Sets a variable, verified", "env set pwrmode pwr2ac", set);
  App *unsetter = command(*family, "unset", "Takes a variable out, verified", "env unset pwrmode", unset);
  for (App *leaf : {getter, setter, unsetter}) any_text(leaf, "NAME", name, "Variable, up to 80 characters");
  any_text(setter, "VALUE", value, "Value, up to 511 characters");

  family = group(app, "mac-backup", "MAC address backup", "mac-backup set 00:11:22:33:44:55", "get",
                 [] { show(mac_backup()); });
  setter = command(*family, "set", "Stores 17 bytes", "mac-backup set 00:11:22:33:44:55", set_mac);
  any_text(setter, "MAC", value, "As 00:11:22:33:44:55, or any 17 bytes as 34 hexadecimal digits");
}
