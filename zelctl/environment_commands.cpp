#include <algorithm>
#include <cstring>
#include <memory>

#include "environment_region.h"
#include "records.h"

/** The text in a field of the library's table. It ends at a NUL, or at the table's fill: an entry without "=" has no NUL. */
template <size_t Size>
static std::string text_of(const char (&field)[Size]) {
  const std::string text(field, strnlen(field, Size));
  return text.substr(0, text.find(static_cast<char>(kErased)));
}

static std::string state_of(Bytes region) {
  if (is_erased(region)) return "erased";
  return environment_crc_holds(region) ? "valid" : "damaged";
}

static bool is_unused(const env_slot &slot) { return static_cast<uint8_t>(slot.name[0]) == kErased; }

static Json row_of(const env_slot &slot) { return record("name", text_of(slot.name), "value", text_of(slot.value)); }

Json environment_in(Bytes region) {
  const std::string state = state_of(region);
  Json variables = Json::array();
  if (state == "erased") return record("state", state, "variables", variables);
  env_convert(region.data() + kEnvironmentCrcLength);
  for (const env_slot &slot : env_data) {
    if (is_unused(slot)) break;
    variables.push_back(row_of(slot));
  }
  return record("state", state, "variables", variables);
}

static Json read_environment(const char *if_interrupted) {
  return environment_in(read_flash(start_of_selector(FW_REGION_ENVIRONMENT), FW_ENV_SIZE, if_interrupted));
}

Json environment() { return read_environment(kUnchanged); }

uint32_t ask_environment(const std::function<uint32_t()> &question) {
  // The library moves this pointer when it parses the region. If it stays null, the region was not read.
  env_ptr = nullptr;
  const uint32_t answer = question();
  if (env_ptr == nullptr) require(FW_FAIL, "boot environment");
  return answer;
}

static void list_variables() {
  const Json known = environment();
  if (settings.json) {
    show(known);
    return;
  }
  for (const Json &row : known["variables"]) {
    const std::string name = cell("name", row["name"]);
    const std::string value = cell("value", row["value"]);
    std::fprintf(out, "%s=%s\n", name.c_str(), value.c_str());
  }
  if (known["state"] != "valid") complain("the environment is " + cell("", known["state"]), 0);
}

[[noreturn]] static void fail_without_variable(const std::string &name) {
  throw Failure{"no variable '" + name + "' in the boot environment"};
}

/** The variable in the library's table, or null. As for the library, an entry without "=" sets no variable. */
static const env_slot *find_variable(const std::string &name) {
  for (const env_slot &slot : env_data) {
    const bool had_equals = std::memchr(slot.name, '\0', sizeof slot.name) != nullptr;
    if (had_equals && name == slot.name) return &slot;
  }
  return nullptr;
}

static void show_variable(const std::string &name) {
  const bool is_erased = environment()["state"] == "erased";
  const env_slot *const variable = is_erased ? nullptr : find_variable(name);
  if (variable == nullptr) fail_without_variable(name);
  const Json row = row_of(*variable);
  if (settings.json) {
    show(row);
    return;
  }
  std::fprintf(out, "%s\n", cell("value", row["value"]).c_str());
}

/** Refuses what the region cannot hold. */
static void require_variable(const std::string &name, const std::string &value) {
  constexpr size_t kNameLimit = sizeof env_slot::name - 1;
  constexpr size_t kValueLimit = sizeof env_slot::value - 1;
  const bool good_name = !name.empty() && name.size() <= kNameLimit && name.find_first_of("=\xFF") == std::string::npos;
  if (!good_name) refuse_argument("NAME", format("1 to %zu bytes, '=' and the byte 0xFF not among them", kNameLimit));
  const bool good_value = !value.empty() && value.size() <= kValueLimit && value.find('\xFF') == std::string::npos;
  if (!good_value) refuse_argument("VALUE", format("1 to %zu bytes, the byte 0xFF not among them", kValueLimit));
}

static void set_variable(const std::string &name, const std::string &value) {
  require_variable(name, value);
  start_change();
  require(FW_SpiFlash_EnvAdd(name.c_str(), value.c_str()), "boot environment");
  const Json known = read_environment(kUnverified);
  for (const Json &row : known["variables"]) {
    if (row["name"] == name && row["value"] == value) return;
  }
  throw Failure{"boot environment: " + name + " does not read back"};
}

/** Parses a region into the library's table. Throws if the table could not hold all of the region. */
static void load_table(const std::vector<uint8_t> &region) {
  std::vector<uint8_t> again(region.size());
  env_convert(region.data() + kEnvironmentCrcLength);
  convert_env(again.data() + kEnvironmentCrcLength);  // env_ptr then points to the end of the list
  const uint8_t *const first = again.data() + kEnvironmentCrcLength;
  const uint8_t *const end = env_ptr + 1;  // behind the NUL that ends the list
  const bool is_same = std::equal(first, end, region.data() + kEnvironmentCrcLength);
  if (!is_same) throw Failure{"the boot environment holds what would be lost: nothing was changed"};
}

/** The table as a region, with its checksum. */
static std::vector<uint8_t> region_of_table() {
  std::vector<uint8_t> region(FW_ENV_SIZE);
  convert_env(region.data() + kEnvironmentCrcLength);
  store_environment_crc(region, environment_crc(region));
  return region;
}

/** The library has no call for this. So its table is loaded, the variable is taken out, and the table is written back. */
static void unset_variable(const std::string &name) {
  if (name.empty()) fail_without_variable(name);  // the name of an unused slot is empty, too
  if (environment()["state"] != "valid") throw Failure{"the boot environment is not valid: nothing is taken out of it"};
  std::vector<uint8_t> region(FW_ENV_SIZE);
  require(FW_SpiFlashEnvRead(region.data()), "boot environment");
  load_table(region);
  env_slot *const table_end = std::end(env_data);
  env_slot *const kept_end =
      std::remove_if(env_data, table_end, [&](const env_slot &slot) { return text_of(slot.name) == name; });
  if (kept_end == table_end) fail_without_variable(name);
  std::memset(kept_end, kErased, static_cast<size_t>(table_end - kept_end) * sizeof *kept_end);
  region = region_of_table();
  start_change();
  require(FW_SpiFlashEnvWrite(region.data()), "boot environment");
  std::vector<uint8_t> again(FW_ENV_SIZE);
  require(FW_SpiFlashEnvRead(again.data()), "boot environment");
  if (again != region) throw Failure{"boot environment: what was written does not read back"};
}

struct VariableOptions {
  std::string name;
  std::string value;
};

void add_environment_commands(App &app) {
  const auto options = std::make_shared<VariableOptions>();
  App *family = group(app, "env", "Boot environment variables", "env set pwrmode pwr2ac", "list", list_variables);
  App *get = command(*family, "get", "One variable", "env get pwrmode", [options] { show_variable(options->name); });
  App *set = command(*family, "set", "Sets a variable, verified", "env set pwrmode pwr2ac",
                     tells_if_interrupted([options] { set_variable(options->name, options->value); }));
  App *unset = command(*family, "unset", "Takes a variable out, verified", "env unset pwrmode",
                       tells_if_interrupted([options] { unset_variable(options->name); }));
  for (App *leaf : {get, set, unset}) add_text(leaf, "NAME", options->name, "Variable, up to 80 bytes");
  add_text(set, "VALUE", options->value, "Value, up to 511 bytes");
}
