#include <cstdlib>
#include <memory>

#include "records.h"

/** A length or checksum in the partition table that was never written. */
constexpr uint32_t kBlank = 0xFFFFFFFF;

/* The library's calls, all with the same arguments. The caller frees the memory that a read returns. */

static uint32_t read_gen(uint8_t **data, uint32_t *length, uint32_t copy) {
  return FW_ReadGenDatabase(data, length, copy);
}
static uint32_t read_custom(uint8_t **data, uint32_t *length, uint32_t copy) {
  *length = FW_CUSTOMIZE_SIZE;  // the whole region: it has no stored length
  return FW_ReadCustomizeDatabase(data, copy);
}
static uint32_t read_shared(uint8_t **data, uint32_t *length, uint32_t) { return FW_ReadSharedDatabase(data, length); }

static uint32_t write_gen(const std::string &, Bytes bytes, uint32_t copy) {
  return FW_WriteGenDatabase(bytes.data(), static_cast<uint32_t>(bytes.size()), copy);
}
static uint32_t write_custom(const std::string &path, Bytes, uint32_t copy) {
  return FW_WriteCustomizeDatabase(path.c_str(), copy);
}
static uint32_t write_shared(const std::string &, Bytes bytes, uint32_t) {
  return FW_WriteSharedDatabase(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

struct Database {
  const char *name;
  const char *what;
  uint32_t copies;
  uint32_t first_region;  // FW_REGION_... of copy 1; copy 2 has the next number
  bool has_entry;         // a store also writes its entry in the partition table
  uint32_t (*read)(uint8_t **data, uint32_t *length, uint32_t copy);
  uint32_t (*write)(const std::string &path, Bytes bytes, uint32_t copy);
};
/** In the order of the partition table's entries. */
constexpr Database kDatabases[] = {
    {"gen", "General configuration database", 2, FW_REGION_GEN_DATABASE_1, true, read_gen, write_gen},
    {"custom", "Customise database", 2, FW_REGION_CUSTOMIZE_1, false, read_custom, write_custom},
    {"shared", "Shared database", 1, FW_REGION_SHARED_DATABASE, true, read_shared, write_shared}};

/** One copy of a database. */
struct Copy {
  const Database &database;
  uint32_t number;  // 1 or 2

  uint32_t region() const { return database.first_region + number - 1; }
  std::string name() const { return format("%s %u", database.name, number); }
  std::string what() const { return format("%s %u", database.what, number); }
};

static std::vector<Copy> all_copies() {
  std::vector<Copy> copies;
  for (const Database &database : kDatabases) {
    for (uint32_t number = 1; number <= database.copies; ++number) copies.push_back({database, number});
  }
  return copies;
}

static_assert(std::size(kDatabases) == 3 &&
              kDatabases[0].copies + kDatabases[1].copies + kDatabases[2].copies == kDatabaseCopies);

std::string database_name(uint32_t row) { return all_copies().at(row).name(); }

/** The entry of a copy in the partition table. */
struct Entry {
  uint32_t length;
  uint32_t checksum;
  bool blank() const { return length == kBlank && checksum == kBlank; }
};

/** Whether the stored bytes agree with the entry. Throws if the flash cannot be read. */
static std::string verdict_of(const Copy &copy, const Entry &entry) {
  const uint32_t start = start_of_selector(copy.region());
  const uint32_t room = length_of_selector(copy.region());
  if (entry.length == 0 || entry.blank()) {
    if (copy.database.has_entry || is_erased(read_flash(start, room))) return "empty";
    return "holds data, no checksum";
  }
  if (entry.length > room) return "damaged";
  const std::vector<uint8_t> bytes = read_flash(start, entry.length);
  return dbChecksum(bytes.data(), entry.length) == entry.checksum ? "valid" : "damaged";
}

constexpr uint32_t kEntryLength = 8;  // two words

std::vector<uint8_t> partition_table() {
  return read_flash(start_of_selector(FW_REGION_PARTITION_TABLE), kDatabaseCopies * kEntryLength);
}

Json database_row(uint32_t row, std::span<const uint8_t> table) {
  const Copy copy = all_copies().at(row);
  const size_t at = size_t{row} * kEntryLength;
  const Entry entry{little_word32_at(table, at), little_word32_at(table, at + 4)};
  const Json length = entry.blank() ? Json() : Json(entry.length);
  const Json checksum = entry.blank() ? Json() : Json(entry.checksum);
  return record("database", copy.name(), "length", length, "checksum", checksum, "verdict", verdict_of(copy, entry));
}

Json databases() {
  const std::vector<uint8_t> table = partition_table();
  Json rows = Json::array();
  for (uint32_t row = 0; row < kDatabaseCopies; ++row) rows.push_back(database_row(row, table));
  return rows;
}

struct DatabaseOptions {
  std::string path;
  uint32_t copy = 1;
  bool allow_empty = false;
};

static void read_database(const Database &database, const DatabaseOptions &options) {
  const Copy copy{database, options.copy};
  // The library's read returns the same if the driver does not answer and if there is no database.
  std::string verdict = "unknown";
  for (const Json &row : databases()) {
    if (row["database"] == copy.name()) verdict = row["verdict"];
  }
  uint8_t *data = nullptr;
  uint32_t length = 0;
  const uint32_t status = database.read(&data, &length, copy.number);
  if (status == FW_FAIL && verdict != "valid") throw Failure{"FW_FAIL: " + copy.what() + ": " + verdict, status};
  require(status, copy.what());
  const std::unique_ptr<uint8_t, decltype(&std::free)> owner(data, std::free);
  write_file(options.path, {data, length});
  show(record("file", options.path, "length", length, "checksum", dbChecksum(data, length)));
}

static void write_database(const Database &database, const DatabaseOptions &options) {
  const Copy copy{database, options.copy};
  const std::vector<uint8_t> bytes = read_file(options.path, length_of_selector(copy.region()));
  require_bytes(options.path, bytes.size(), options.allow_empty);
  start_change();  // a signal waits until the end: half a database is useless
  const uint32_t status = database.write(options.path, bytes, copy.number);
  if (status != 0) {
    const std::string line = ": " + copy.what() + " was not stored whole: see zelctl db table";
    throw Failure{status_name(status) + line, status};
  }
  const auto length = static_cast<uint32_t>(bytes.size());
  if (read_flash(start_of_selector(copy.region()), length, kUnverified) != bytes)
    throw Failure{copy.what() + " was stored, but the flash does not hold it"};
}

static void add_reader(App &kind, const Database &database) {
  const auto options = std::make_shared<DatabaseOptions>();
  App *app = command(kind, "read", "Writes the database into a file", "db gen read gen.bin --partition 1",
                     tells_if_interrupted([&database, options] { read_database(database, *options); }));
  add_output_file(app, options->path);
  if (database.copies > 1) add_number(app, "--partition", options->copy, "Copy (1)", 1, database.copies);
}

static void add_writer(App &kind, const Database &database) {
  const auto options = std::make_shared<DatabaseOptions>();
  App *app = command(kind, "write", "Stores a file as the database", "db gen write gen.bin --partition 1",
                     tells_if_interrupted([&database, options] { write_database(database, *options); }));
  add_input_file(app, options->path, "File to store");
  add_allow_empty_option(app, options->allow_empty);
  if (database.copies > 1) add_number(app, "--partition", options->copy, "Copy (1)", 1, database.copies);
}

void add_database_commands(App &app) {
  App *family = command(app, "db", "Configuration databases", "db table");
  command(*family, "table", "Lengths, checksums and verdicts", "db table --json", [] { show(databases()); });
  for (const Database &database : kDatabases) {
    App *kind = command(*family, database.name, database.what, "db gen read gen.bin --partition 1");
    add_reader(*kind, database);
    add_writer(*kind, database);
  }
}
