#include <cstdlib>
#include <cstring>
#include <memory>

#include "records.h"

constexpr uint32_t kBlank = 0xFFFFFFFF;

static std::string path;
static uint32_t partition = 1;

struct Database {
  const char *name;
  const char *what;
  uint32_t selectors[2];  // map selectors of the copies; 0 = no second one
};
/** In the order of the table's slots. A customise store leaves its slot alone. */
constexpr Database kDatabases[] = {
    {"gen", "General configuration database", {FW_REGION_GEN_DATABASE_1, FW_REGION_GEN_DATABASE_2}},
    {"custom", "Customise database", {FW_REGION_CUSTOMIZE_1, FW_REGION_CUSTOMIZE_2}},
    {"shared", "Shared database", {FW_REGION_SHARED_DATABASE, 0}}};
constexpr const Database *kGen = &kDatabases[0], *kCustom = &kDatabases[1];

/** What the table and the stored bytes say of a copy; throws when the flash cannot be read. */
static std::string verdict_of(const Database &database) {
  for (const Json &row : databases())
    if (row["database"] == format("%s %u", database.name, partition)) return row["verdict"];
  return "unknown";
}

static void read(const Database &database) {
  uint8_t *data = nullptr;
  uint32_t length = region_length(database.selectors[0]);
  const std::string verdict =
      verdict_of(database);  // the read itself does not tell a driver that is silent from no database
  const uint32_t status = &database == kGen      ? FW_ReadGenDatabase(&data, &length, partition)
                          : &database == kCustom ? FW_ReadCustomizeDatabase(&data, partition)
                                                 : FW_ReadSharedDatabase(&data, &length);
  const std::string what = format("%s %u", database.what, partition);
  if (status == FW_FAIL && verdict != "valid") throw Failure{"FW_FAIL: " + what + ": " + verdict, status};
  require(status, what);
  const std::unique_ptr<uint8_t, decltype(&std::free)> owner(data, std::free);
  write_file(path, {data, length});
  show(record("file", path, "length", length, "checksum", dbChecksum(data, length)));
}

static void write(const Database &database) {
  const std::vector<uint8_t> bytes = read_file(path, region_length(database.selectors[0]));
  refuse_empty(path, bytes.size());
  const auto length = static_cast<uint32_t>(bytes.size());
  start_change();  // one piece of work: a database that is cut short is none
  const uint32_t status = &database == kGen      ? FW_WriteGenDatabase(bytes.data(), length, partition)
                          : &database == kCustom ? FW_WriteCustomizeDatabase(path.c_str(), partition)
                                                 : FW_WriteSharedDatabase(bytes.data(), length);
  const std::string what = format("%s %u", database.what, partition);
  if (status != 0)
    throw Failure{status_name(status) + ": " + what + " was not stored whole: see zelctl db table", status};
  if (read_flash(region_start(database.selectors[partition - 1]), length, kUnverified) != bytes)
    throw Failure{what + " was stored, but the flash does not hold it"};
}

static std::string verdict(const Database &database, uint32_t selector, uint32_t length, uint32_t checksum) {
  const uint32_t start = region_start(selector), room = region_length(selector);
  if (length == 0 || (length == kBlank && checksum == kBlank))
    return &database != kCustom || is_erased(read_flash(start, room)) ? "empty" : "holds data, no checksum";
  if (length > room) return "damaged";
  return dbChecksum(read_flash(start, length).data(), length) == checksum ? "valid" : "damaged";
}

constexpr uint32_t kAsFitted = 4;  // no --variant

static std::string text;
static uint32_t variant = kAsFitted, byte;

/** The library prints the stored names as "Custom Name For LABEL: [NAME]". */
static Json stored_names() {
  const Printed printed = printed_by(FW_SpiFlash_ShowCustomName);
  require(printed.status, "custom names");
  Json names = Json::array();
  for (size_t line = 0, end; (end = printed.text.find('\n', line)) != std::string::npos; line = end + 1) {
    constexpr std::string_view kLead = "Custom Name For ";
    const std::string row = printed.text.substr(line, end - line);
    const size_t label_end = row.find_first_of(" :", kLead.size()), open = row.find('['), close = row.rfind(']');
    if (!row.starts_with(kLead) || open == std::string::npos || close == std::string::npos) continue;
    names.push_back(record("variant", row.substr(kLead.size(), label_end - kLead.size()), "name",
                           row.substr(open + 1, close - open - 1)));
  }
  return names;
}

static void set_name() {
  if (text.size() >= FW_NAME_SIZE) refuse_argument("NAME", "at most 31 characters");
  if (variant == kAsFitted) variant = copper_boards();
  hold_signals();
  require(FW_SpiFlash_WriteCustomName(text.c_str(), variant), "model name");
}

static void describe() {
  if (text.size() >= FW_DESCRIPTION_SIZE) refuse_argument("TEXT", "at most 255 characters");
  hold_signals();
  require(FW_SpiFlash_SetCustomDesc(text.c_str()), "description");
}

static void set_power_byte() {
  const auto mode = static_cast<uint8_t>(byte);
  hold_signals();
  require(FW_SpiFlash_SetCustomPwrMode(&mode), "power-mode byte");
}

Json databases() {
  const std::vector<uint8_t> table = read_flash(region_start(FW_REGION_PARTITION_TABLE), 40);
  size_t slot = 0;
  Json rows = Json::array();
  for (const Database &database : kDatabases) {
    for (const uint32_t selector : database.selectors) {
      if (selector == 0) continue;
      const uint32_t length = word_at(table, slot), checksum = word_at(table, slot + 4);
      slot += 8;
      const bool blank = length == kBlank && checksum == kBlank;
      rows.push_back(record("database", format("%s %u", database.name, selector - database.selectors[0] + 1), "length",
                            blank ? Json() : Json(length), "checksum", blank ? Json() : Json(checksum), "verdict",
                            verdict(database, selector, length, checksum)));
    }
  }
  return rows;
}

void add_database_commands(App &app) {
  App *family = command(app, "db", "Configuration databases", "db table");
  command(*family, "table", "Lengths, checksums and verdicts", "db table --json", [] { show(databases()); });
  for (const Database &database : kDatabases) {
    App *kind = command(*family, database.name, database.what, "db gen read gen.bin --partition 1");
    App *reader = command(*kind, "read", "Writes the database into a file", "db gen read gen.bin --partition 1",
                          [&database] { read(database); });
    App *writer = command(*kind, "write", "Stores a file as the database", "db gen write gen.bin --partition 1",
                          [&database] { write(database); });
    output_file(reader, path);
    input_file(writer, path, "File to store");
    takes_empty(writer);
    if (database.selectors[1] == 0) continue;
    for (App *leaf : {reader, writer}) number(leaf, "--partition", partition, "Copy (1)", 1, 2);
  }
}

Json identity() {
  char model[FW_MODEL_SIZE] = "", again[FW_MODEL_SIZE] = "", description[FW_DESCRIPTION_SIZE] = "";
  // The name is composed of what may fail without a word: the boards and the power mode.
  copper_boards();
  power();
  for (char *name : {model, again}) require(FW_SpiFlash_GetCustomName(name), "model name");
  if (std::strcmp(model, again) != 0) throw Failure{"model name: two questions, two answers"};
  const uint32_t status = FW_SpiFlash_GetCustomDesc(description);
  if (status != FW_NOT_SET) require(status, "description");
  return record("model", model, "description", status == FW_NOT_SET ? Json() : Json(description), "power_byte",
                byte_of(FW_SpiFlash_GetCustomPwrMode, "power-mode byte"), "names", stored_names());
}

void add_identity_commands(App &app) {
  App *family = group(app, "identity", "Model name, description, power-mode byte", "identity name EDGE-1", "show",
                      [] { show(identity()); });
  App *name = command(*family, "name", "Stores a model name", "identity name EDGE-1 --variant 2", set_name);
  any_text(name, "NAME", text, "Name, up to 31 characters");
  number(name, "--variant", variant, "For this number of copper boards, not for those fitted", 0, 3);
  App *describer =
      command(*family, "describe", "Stores the description", "identity describe 'Hall 3, rack 7'", describe);
  any_text(describer, "TEXT", text, "Description, up to 255 characters");
  number(command(*family, "power-byte", "Stores the power-mode byte", "identity power-byte 3", set_power_byte), "VALUE",
         byte, "Value", 0, 255);
}
