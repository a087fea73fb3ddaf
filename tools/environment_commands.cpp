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
  throw Failure{"no variable " + name + " in the boot environment"};
}

static void set() {
  constexpr size_t kNameLimit = sizeof env_slot::name - 1, kValueLimit = sizeof env_slot::value - 1;
  if (name.empty() || name.size() > kNameLimit || name.find('=') != std::string::npos)
    refuseArgument("NAME", format("1 to %zu characters without '='", kNameLimit));
  if (value.empty() || value.size() > kValueLimit) refuseArgument("VALUE", format("1 to %zu characters", kValueLimit));
  require(FW_SpiFlash_EnvAdd(name.c_str(), value.c_str()), "boot environment");
}

/** The 17 bytes are kept as they are; the usual text form of an address has just that length. */
static void setMac() {
  std::string bytes = value;
  if (value.size() == 2 * kMacLength && value.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos) {
    for (size_t i = 0; i < kMacLength; ++i)
      bytes[i] = static_cast<char>(std::stoi(value.substr(2 * i, 2), nullptr, 16));
    bytes.resize(kMacLength);
  }
  if (bytes.size() != kMacLength)
    refuseArgument("MAC", "'" + value + "' is neither 17 characters (00:11:22:33:44:55) nor 34 hexadecimal digits");
  require(FW_SpiFlash_BackupMacSet(reinterpret_cast<const uint8_t *>(bytes.data())), "MAC backup");
}

Json environment() {
  std::vector<uint8_t> region(0x10000);
  require(FW_SpiFlashEnvRead(region.data()), "boot environment");
  const bool erased = isErased(region);
  const uint8_t *data = region.data() + kCrcLength;
  const uint32_t crc = FW_crc32(data, static_cast<uint32_t>(region.size() - kCrcLength));
  Json variables = Json::array();
  if (!erased) env_convert(data);
  for (const env_slot &slot : env_data) {
    if (erased || static_cast<uint8_t>(slot.name[0]) == 0xFF) break;
    variables.push_back(record("name", text(slot.name), "value", text(slot.value)));
  }
  return record("state", erased ? "erased" : crc == wordAt(region, 0) ? "valid" : "damaged", "variables", variables);
}

Json macBackup() {
  uint8_t mac[kMacLength] = {}, index = 0xFF;
  require(FW_FlashGetIndex(&index), "flash driver");
  if (index != 0) throw Failure{format("chip index %u is not supported", index)};  // the read itself cannot tell
  require(FW_SpiFlash_BackupMacGet(mac), "MAC backup");
  return record("stored", !isErased(mac), "text", printable({mac, mac + kMacLength}), "bytes", hexText(mac));
}

void addEnvironmentCommands(App &app) {
  App *family = group(app, "env", "Boot environment variables", "env set pwrmode pwr2ac", "list", list);
  App *getter = command(*family, "get", "One variable", "env get pwrmode", get);
  App *setter = command(*family, "set", "Sets a variable, verified", "env set pwrmode pwr2ac", set);
  for (App *leaf : {getter, setter}) leaf->add_option("NAME", name, "Variable")->required();
  setter->add_option("VALUE", value, "Value")->required();

  family = group(app, "mac-backup", "MAC address backup", "mac-backup set 00:11:22:33:44:55", "get",
                 [] { show(macBackup()); });
  setter = command(*family, "set", "Stores 17 bytes", "mac-backup set 00:11:22:33:44:55", setMac);
  setter->add_option("MAC", value, "17 characters, or 34 hexadecimal digits")->required();
}
