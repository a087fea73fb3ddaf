#include <cstdlib>
#include <memory>

#include "records.h"

namespace zelctl {

namespace {

constexpr uint32_t kPartitionTable = 13, kBlank = 0xFFFFFFFF;

std::string path;
uint32_t partition = 1;

struct Database {
  const char *name;
  const char *what;
  uint32_t selectors[2];  // map selectors of the copies; 0 = no second one
  bool checked;           // every store writes length and checksum into the table
  uint32_t (*read)(uint8_t **data, uint32_t *length);
  uint32_t (*write)(const std::vector<uint8_t> &bytes);
};
/** In the order of the table's slots. */
constexpr Database kDatabases[] = {
    {"gen",
     "General configuration database",
     {8, 9},
     true,
     [](uint8_t **data, uint32_t *length) { return FW_ReadGenDatabase(data, length, partition); },
     [](const std::vector<uint8_t> &bytes) {
       return FW_WriteGenDatabase(bytes.data(), static_cast<uint32_t>(bytes.size()), partition);
     }},
    {"custom",
     "Customise database",
     {10, 11},
     false,
     [](uint8_t **data, uint32_t *) { return FW_ReadCustomizeDatabase(data, partition); },
     [](const std::vector<uint8_t> &) { return FW_WriteCustomizeDatabase(path.c_str(), partition); }},
    {"shared",
     "Shared database",
     {12, 0},
     true,
     FW_ReadSharedDatabase,
     [](const std::vector<uint8_t> &bytes) {
       return FW_WriteSharedDatabase(bytes.data(), static_cast<uint32_t>(bytes.size()));
     }},
};

uint32_t roomOf(const Database &database) {
  const uint32_t room = FW_SpiFlash_GetMapLen(database.selectors[0]);
  if (room == FW_REFUSED) requireBoard();
  return room;
}

void read(const Database &database) {
  uint8_t *data = nullptr;
  uint32_t length = roomOf(database);
  const uint32_t status = database.read(&data, &length);
  if (status == FW_FAIL) throw Failure{format("FW_FAIL: %s: empty, damaged or unreadable", database.what), status};
  require(status, database.what);
  const std::unique_ptr<uint8_t, decltype(&std::free)> owner(data, std::free);
  writeFile(path, {data, length});
  show(record("file", path, "length", length, "checksum", dbChecksum(data, length)));
}

void write(const Database &database) { require(database.write(readFile(path, roomOf(database))), database.what); }

std::string verdict(const Database &database, uint32_t selector, uint32_t length, uint32_t checksum) {
  const uint32_t start = FW_SpiFlash_GetMapAddr(selector), room = roomOf(database);
  if (length == 0 || (length == kBlank && checksum == kBlank))
    return database.checked || isErased(readFlash(start, room)) ? "empty" : "holds data, no checksum";
  if (length > room) return "damaged";
  return dbChecksum(readFlash(start, length).data(), length) == checksum ? "valid" : "damaged";
}

}  // namespace

Json databases() {
  const uint32_t start = FW_SpiFlash_GetMapAddr(kPartitionTable);
  if (start == FW_REFUSED) requireBoard();
  const std::vector<uint8_t> table = readFlash(start, 40);
  auto next = table.begin();
  const auto word = [&next] {
    uint32_t value = 0;
    for (int shift = 0; shift < 32; shift += 8) value |= uint32_t{*next++} << shift;
    return value;
  };
  Json rows = Json::array();
  for (const Database &database : kDatabases) {
    for (const uint32_t selector : database.selectors) {
      if (selector == 0) continue;
      const uint32_t length = word(), checksum = word();
      const bool blank = length == kBlank && checksum == kBlank;
      rows.push_back(record("database", format("%s %u", database.name, selector - database.selectors[0] + 1), "length",
                            blank ? Json() : Json(length), "checksum", blank ? Json() : Json(checksum), "verdict",
                            verdict(database, selector, length, checksum)));
    }
  }
  return rows;
}

void addDatabaseCommands(CLI::App &app) {
  CLI::App *family = command(app, "db", "Configuration databases", "db table");
  command(*family, "table", "Lengths, checksums and verdicts", "db table --json", [] { show(databases()); });
  for (const Database &database : kDatabases) {
    CLI::App *kind = command(*family, database.name, database.what, "db gen read gen.bin --partition 1");
    CLI::App *reader = command(*kind, "read", "Writes the database into a file", "db gen read gen.bin --partition 1",
                               [&database] { read(database); });
    CLI::App *writer = command(*kind, "write", "Stores a file as the database", "db gen write gen.bin --partition 1",
                               [&database] { write(database); });
    outputFile(reader, path);
    inputFile(writer, path);
    if (database.selectors[1] == 0) continue;
    for (CLI::App *leaf : {reader, writer}) number(leaf, "--partition", partition, "Copy (1)", 1, 2);
  }
}

}  // namespace zelctl
