// The partition table and the configuration databases.
#include <sys/stat.h>

#include <cstring>

#include "board_test.h"
#include "pattern.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint32_t>;

class Database : public BoardTest {
 protected:
  const Bytes data_ = pattern(300);
  uint8_t *loaded_ = nullptr;
  uint32_t length_ = 7, result_ = 2;

  static Words table() {
    Words words(10);
    memcpy(words.data(), flash(0x140000, 40).data(), 40);
    return words;
  }

  /// The bytes that a successful read handed out.
  Bytes take(uint32_t length) {
    const Bytes bytes(loaded_, loaded_ + length);
    free(loaded_);
    return bytes;
  }
};

/// Of the read, and of the load that made it.
const std::string kResets = "flash dd = 0\nflash dd = 0\n";

/// The table as the operator sees it.
std::string shown(const std::string &title, const Words &words) {
  std::string text = "\nFW_PartitionInfo " + title + "\n";
  const char *slot = "config1:config2:cust1  :cust2  :Share  :";
  for (size_t n = 0; n < words.size(); n += 2, slot += 8) {
    char line[60];
    snprintf(line, sizeof line, "%.8slen=[0x%08x] checksun=[0x%08x]\n", slot, words[n], words[n + 1]);
    text += line;
  }
  return text;
}

/// What the operator sees after the table's slots.
std::string after_table(const std::string &output) { return output.substr(output.rfind("Share  :len") + 47); }

/// Output without the number of the source line that makes a report.
std::string without_number(const std::string &output) { return replaced(output, "[0-9]+\\) ", ") "); }

TEST_F(Database, TableModes) {
  const char *const names[] = {"Config database 1", "Config database 2", "Customize database 1", "Customize database 2",
                               "Shared database"};
  const std::string read = "seek 140000\nread flash 28 = 28\nflash dd = 0\n";
  const std::string write = "seek 140000\nflash d1 = 0\nflash dd = 0\nseek 140000\nwrite flash 28 = 28\nflash dd = 0\n";
  for (uint32_t mode = 0; mode <= 11; ++mode) {
    const bool reads = mode % 2 == 1 && mode < 10, writes = mode % 2 == 0 && mode != 0;
    FW_N25Q256A_SectorErase(0x140000);
    for (const bool blank : {true, false}) {
      uint32_t length = 100, sum = 200;
      spiflash_debug_mode = 1;
      const auto call = [&] { return FW_N25Q256A_PartitionInfo(&length, &sum, mode); };
      EXPECT_EQ(trace(call, &result_, {"open", "close", "pause", "print", "puts"}),
                blank || writes ? read + write : read);
      EXPECT_EQ(std::tuple(result_, length, sum),
                std::tuple(blank && reads ? FW_FAIL : 0, reads ? 0 : 100, reads ? 0 : 200));
      Words expected(10);
      if (writes) expected[mode - 2] = 100, expected[mode - 1] = 200;
      EXPECT_EQ(wire::output(), shown("read", blank ? Words(10, ~0U) : expected) +
                                    (blank || writes ? shown("write", expected) : "") +
                                    (blank && reads ? names[mode / 2] + std::string(" is empty\n") : ""));
      EXPECT_EQ(table(), expected) << mode;
    }
  }
  spiflash_debug_mode = 0;
  FW_N25Q256A_SectorErase(0x140000);
  program(0x140000, Bytes(8, 1));
  EXPECT_EQ(FW_PartitionInfo(&length_, &length_, 1), FW_FAIL) << "another slot is blank";
  EXPECT_EQ(length_, 0x01010101U);
}

TEST_F(Database, GenSizes) {
  const std::string marks = "gpio d5 00 = 0\ngpio d8 01 = 0\n", end = "gpio d8 00 = 0\nflash dd = 0\n";
  flash_def[30] = 0xF0000;  // a sector less than the largest database
  for (const uint32_t length : {300U, 0x10000U, 0x10001U, 0x100000U, 0x100001U, 0U}) {
    const Bytes data = pattern(length, length);
    const auto call = [&] { return FW_N25Q256A_WriteGenDatabase(data.data(), length, 2); };
    const std::string events = trace(call, &result_, {"open", "close"});
    std::string start = marks;
    for (uint32_t at = 0; at < std::min(length, 0xF0000U); at += 0x10000) {
      start += "seek 1e" + std::string(1, "0123456789abcdef"[at >> 16]) + "0000\nflash d1 = 0\npause 2\nflash dd = 0\n";
    }
    start += "seek 1e00000\nwrite";
    EXPECT_EQ(std::pair(result_, events.empty()), length > 0x100000 ? std::pair(FW_FAIL, true) : std::pair(0U, false));
    if (length > 0x100000) continue;
    EXPECT_TRUE(events.starts_with(start) && events.ends_with(end)) << start;
    EXPECT_EQ(table(), (Words{0, 0, length, dbChecksum(data.data(), length), 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(FW_ReadGenDatabase(&loaded_, &length_, 2), length != 0 ? 0 : FW_FAIL) << length;
    EXPECT_TRUE(length == 0 || take(length_) == data) << length;
  }
  flash_def[30] = 0x100000;
  for (const uint32_t partition : {0U, 3U}) {
    const auto write = [&] { return FW_N25Q256A_WriteGenDatabase(data_.data(), 300, partition); };
    const auto read = [&] { return FW_N25Q256A_ReadGenDatabase(&loaded_, &length_, partition); };
    const auto read_file = [&] { return FW_N25Q256A_ReadCustomizeDatabase(&loaded_, partition); };
    const std::string complaint = "puts Partition Number must be 1 or 2\n";
    EXPECT_EQ(trace(write, nullptr, {"open", "close"}), marks + complaint + "gpio d8 00 = 0\n");
    EXPECT_EQ(trace(read) + trace(read_file), complaint);
    EXPECT_TRUE(result_of(write) == FW_FAIL && result_of(read) == FW_FAIL && result_of(read_file) == FW_FAIL);
  }
}

TEST_F(Database, DamagedDatabases) {
  using Read = uint32_t (*)(uint8_t **, uint32_t *);
  const Read strict = FW_ReadSharedDatabase, lenient = FW_ReadSharedDatabase1;
  const Read gen = [](uint8_t **data, uint32_t *length) { return FW_ReadGenDatabase(data, length, 1); };
  const Read gen2 = [](uint8_t **data, uint32_t *length) { return FW_ReadGenDatabase(data, length, 2); };
  const struct {
    Read read;
    uint32_t stored, sum_off, result, length;
    std::string line;
  } cases[] = {{strict, 300, 0, 0, 300, ""},
               {strict, 0, 0, FW_FAIL, 7, "Shared database is emtpy\n"},
               {strict, 300, 1, FW_FAIL, 300, "FW_ReadSharedDatabase() checksum fail\n"},
               {strict, 0x80001, 0, FW_FAIL, 0x80001, "FW_ReadSharedDatabase() shareData is NULL\n"},
               {lenient, 0, 0, 0, 0, "FW_ReadSharedDatabase() checksum fail\n"},
               {lenient, 300, 1, 0, 300, "FW_ReadSharedDatabase() checksum fail\n"},
               {lenient, 0x80001, 0, FW_FAIL, 0x80001, ""},
               {gen, 0, 0, FW_FAIL, 7, "Config database 1 is emtpy\n"},
               {gen2, 0, 0, FW_FAIL, 7, "config database 2 is emtpy\n"},
               {gen, 300, 0, 0, 300, ""},
               {gen, 300, 1, FW_FAIL, 300, ""},
               {gen, 0xFFFFFFFF, 0, FW_FAIL, 0xFFFFFFFF, ""}};
  EXPECT_EQ(FW_WriteGenDatabase(Bytes(300).data(), 300, 1), 0U);
  wire::fail_call("read", 2);
  EXPECT_EQ(result_of([&] { return gen(&loaded_, &length_); }), FW_FAIL) << "though zeros have the right sum";
  EXPECT_EQ(FW_WriteSharedDatabase(data_.data(), 300) | FW_WriteGenDatabase(data_.data(), 300, 1), 0U);
  spiflash_debug_mode = 1;
  for (const Read read : {strict, lenient}) {
    for (const char *const line : {"(FW_N25Q256A_api-) error \n", "FW_ReadSharedDatabase() FW_ReadFlash fail\n"}) {
      wire::fail_call("read", *line == '(' ? 1 : 2);  // of the table, of the data
      EXPECT_EQ(result_of([&] { return read(&loaded_, &length_); }), FW_FAIL);
      EXPECT_TRUE(without_number(wire::output()).ends_with(line)) << wire::output();
    }
  }
  wire::reset();
  spiflash_debug_mode = 0;
  for (const auto &c : cases) {
    uint32_t stored = c.stored, sum = dbChecksum(data_.data(), 300) + c.sum_off;
    FW_PartitionInfo(&stored, &sum, c.read == gen ? 2 : c.read == gen2 ? 4 : 10);
    spiflash_debug_mode = 1;
    length_ = 7;
    const std::string events = trace([&] { return c.read(&loaded_, &length_); }, &result_, {"open", "close", "puts"});
    EXPECT_TRUE(result_ != 0 || events.ends_with(kResets)) << events;
    spiflash_debug_mode = 0;
    EXPECT_EQ(std::tuple(result_, length_, after_table(wire::output())), std::tuple(c.result, c.length, c.line));
    EXPECT_TRUE(result_ != 0 || take(length_) == Bytes(data_.begin(), data_.begin() + c.length)) << c.line;
  }
  const Bytes large = pattern(0x80001);
  EXPECT_EQ(trace([&] { return FW_N25Q256A_WriteSharedDatabase(large.data(), 0x80001); }, &result_), "");
  EXPECT_EQ(std::pair(result_, FW_WriteSharedDatabase(large.data(), 0x80000)), std::pair(FW_FAIL, 0U));
  EXPECT_EQ(FW_ReadSharedDatabase(&loaded_, &length_), 0U);
  EXPECT_EQ(take(length_), Bytes(large.begin(), large.end() - 1));
  EXPECT_EQ(FW_WriteSharedDatabase(large.data(), 1), 0U);
  EXPECT_EQ(flash(0xF80001, 0x7FFFF), Bytes(0x7FFFF, 0xFF));
}

TEST_F(Database, CustomiseFiles) {
  mkfifo(path("fifo").c_str(), 0600);
  const auto check = [&](const std::string &name, uint32_t partition, uint32_t result, const std::string &output) {
    const auto call = [&] { return FW_WriteCustomizeDatabase(path(name).c_str(), partition); };
    for (const uint8_t mode : std::array<uint8_t, 3>{0, 2, 1}) {
      spiflash_debug_mode = mode;
      EXPECT_EQ(result_of(call), result) << name;
      const std::string expected = mode == 1 || partition == 3 ? output : "";
      EXPECT_TRUE(matches(wire::output(), expected)) << wire::output();
    }
    const auto load = [&] { return FW_ReadCustomizeDatabase(&loaded_, 2); };
    wire::reset();
    EXPECT_TRUE(trace(load, &result_, {"open", "close"}).ends_with(kResets) && result_ == 0);
    return take(0x40000);
  };
  const Bytes full = pattern(0x40000);
  file("full", full), file("large", pattern(0x40001)), file("none", {});
  EXPECT_EQ(check("full", 2, 0, ""), full);
  EXPECT_EQ(check("large", 2, FW_FAIL, "file size = 262145 is too big\n"), full);
  EXPECT_EQ(check("missing", 2, FW_FAIL, "open <.*missing> error ...\n"), full);
  EXPECT_EQ(check("full", 3, FW_FAIL, "Partition Number must be 1 or 2\n"), full);
  EXPECT_EQ(check("fifo", 2, FW_FAIL, "open <.*fifo> error ...\n"), full);
  EXPECT_EQ(check(".", 2, FW_FAIL, "open <.*> error ...\n"), full);
  EXPECT_EQ(check("none", 2, 0, ""), Bytes(0x40000, 0xFF));
  check("full", 2, 0, "");
  wire::fail_call("fstat", 1);
  EXPECT_EQ(check("full", 2, FW_FAIL, ""), full) << "not erased";
  wire::fail_call("read", 1);
  EXPECT_EQ(check("full", 2, FW_FAIL, "read <.*full> error ...\n"), Bytes(0x40000, 0xFF)) << "erased";
}

TEST_F(Database, FlagsAndFailingStores) {
  const std::string stored = file("file", data_), line = "(FW_N25Q256A_api-) error \n";
  const struct {
    std::function<uint32_t()> write;
    uint32_t other_erase_failure;  // one that is not FW_FAIL
    std::string failing_erase, failing_write;
  } cases[] = {
      {[&] { return FW_WriteGenDatabase(data_.data(), 300, 1); }, 0, "FW_WriteGenDatabase erase sector fail\n",
       "FW_WriteGenDatabase write data fail\n"},
      {[&] { return FW_WriteSharedDatabase(data_.data(), 300); }, 0, line, line},
      {[&] { return FW_WriteCustomizeDatabase(stored.c_str(), 2); }, FW_FAIL, "", "(FW_N25Q256A_api-) error\n"}};
  for (const auto &c : cases) {
    for (uint32_t flags = 3; flags <= 3; --flags) {
      FW_SetSystemDiagFlag(flags & 1);
      FW_SetDiagNoOperationFlag(flags & 2);
      const std::string events = trace(c.write, &result_, {"open", "close"});
      EXPECT_EQ(events == "flash da ff>00 = 0\ngpio d5 00 = 1\n", flags == 3) << events;
      EXPECT_EQ(result_, flags == 3 ? FW_FAIL : 0);
    }
    FW_SetDiagNoOperationFlag(1);
    wire::fail_call("open", 2);
    EXPECT_EQ(trace(c.write, &result_, {"close"}), "open flash rw\nflash da ff>00 = 0\nopen gpio rw failed\n");
    EXPECT_EQ(result_, FW_FAIL) << "a flag that cannot be read counts as set";
    FW_SetDiagNoOperationFlag(0);
    for (const auto &[failure, result] : {std::pair(5, c.other_erase_failure), {0xFFFF, FW_FAIL}}) {
      wire::on_request(
          [f = failure](const wire::Request &r) { return r.number == 0xD1 ? std::optional(f) : std::nullopt; });
      spiflash_debug_mode = failure != 5;
      EXPECT_TRUE(trace(c.write, &result_, {"open", "close", "flash"}).find("gpio d8 00 = 0\n") != std::string::npos);
      EXPECT_EQ(result_, result);
    }
    EXPECT_EQ(without_number(wire::output()), c.failing_erase);
    wire::reset();
    wire::fail_call("write", 1);
    EXPECT_EQ(result_of(c.write), FW_FAIL);
    EXPECT_EQ(without_number(wire::output()), c.failing_write);
    wire::reset();
    spiflash_debug_mode = 0;
  }
}

}  // namespace
