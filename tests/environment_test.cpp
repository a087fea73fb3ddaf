// The boot environment: its table, its update in the flash, the questions it answers; the MAC address backup.
#include <algorithm>

#include "board_test.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Environment = BoardTest;

constexpr uint32_t kRegion = 0x100000, kAreaSize = 65532;

/// A data area of entries that end in ";" here and in NUL there.
Bytes area(const std::string &entries) {
  Bytes bytes(entries.begin(), entries.end());
  std::replace(bytes.begin(), bytes.end(), uint8_t{';'}, uint8_t{0});
  bytes.resize(kAreaSize);
  return bytes;
}

/// An entry without "=" leaves fields without a NUL.
template <size_t size>
std::string text_of(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

std::string table() {
  std::string text;
  for (const env_slot &slot : env_data) {
    if (slot.name[0] != '\xFF') text += text_of(slot.name) + "=" + text_of(slot.value) + ";";
  }
  return text;
}

void store(const Bytes &bytes) {
  FW_N25Q256A_SectorErase(kRegion);
  FW_N25Q256A_WriteFlash(kRegion + 4, kAreaSize, bytes.data());
}

std::string repeated(const std::string &text, int times) { return times == 0 ? "" : text + repeated(text, times - 1); }

TEST_F(Environment, Parse) {
  const struct {
    std::string entries, table;
    ptrdiff_t last;
  } rows[] = {{"a=;b=x=y;;c=3;", "a=;b=x=y;", 8},
              {"", "", 0},
              {std::string(99, 'n') + "=" + std::string(600, 'v') + ";c=3;",
               std::string(80, 'n') + "=" + std::string(511, 'v') + ";c=3;", 704},
              {repeated("k=v;", 201), repeated("k=v;", 200), 799}};
  for (const auto &row : rows) {
    const Bytes bytes = area(row.entries);
    EXPECT_EQ(env_convert(bytes.data()), 0U);
    EXPECT_EQ(table(), row.table);
    EXPECT_EQ(env_ptr - bytes.data(), row.last) << row.entries;
  }
  env_convert(area("flag;syswdt;a=1;").data());
  EXPECT_EQ(memcmp(&env_data[0], "flag\xFF", 5) | memcmp(&env_data[0].value[3], "\xFF\0\xFF", 3), 0);
  Bytes written(kAreaSize);
  EXPECT_EQ(convert_env(written.data()), 0U);
  EXPECT_EQ(written, area("flag=;syswdt=;a=1;"));
  EXPECT_EQ(env_ptr - written.data(), 18);
  memset(env_data, 'x', sizeof env_data);
  convert_env(written.data());
  EXPECT_EQ(env_ptr - written.data(), 200 * 82) << "fields without an end";
  for (env_slot &slot : env_data) slot.name[80] = slot.value[434] = '\0';  // 127 of them would fill the area
  convert_env(written.data());
  EXPECT_EQ(env_ptr - written.data(), 126 * 516);
}

TEST_F(Environment, RegionsOfAnyContent) {
  Bytes without_nul = pattern(kAreaSize, 3);
  for (uint8_t &byte : without_nul) byte |= 1;
  for (const Bytes &bytes :
       {Bytes(kAreaSize, 0xFF), Bytes(kAreaSize, 0), Bytes(kAreaSize, 'a'), area("a=" + std::string(kAreaSize, 'b')),
        area(repeated("k=" + std::string(500, 'v') + ";", 131)), pattern(kAreaSize, 2), without_nul}) {
    store(bytes);
    EXPECT_EQ(FW_Pwr_Flag(), 5U);
    const uint32_t result = FW_SpiFlash_EnvAdd("probe", "1");
    EXPECT_EQ(FW_Wdt_Flag(), 1U);
    EXPECT_EQ(result, table().find("probe=1;") != std::string::npos ? 0U : FW_FAIL) << bytes[0];
  }
}

TEST_F(Environment, UpdateInTheFlash) {
  const std::string name80(80, 'n'), value511(511, 'v');
  // The list of a full area leaves a value of 250 characters.
  const std::string most = repeated("a=" + value511 + ";", 127), full = most + "k=" + std::string(250, 'w') + ";";
  // What could not be kept whole is refused before the first erase; a list or table that is full, when it cannot be found.
  const std::string wide = "k=" + std::string(433, 'v') + ";", flags = repeated("f;", 50);
  const struct {
    std::string before, name, value, after;
    int erases;
  } rows[] = {{"pwrmode=pwrad;x=1;x=2;", "x", "longer", "pwrmode=pwrad;x=longer;x=2;", 1},
              {"pwrmode=pwrad;", "pwr", "y", "pwrmode=pwrad;pwr=y;", 1},
              {"flag;", name80, value511, "flag=;" + name80 + "=" + value511 + ";", 1},
              {"a=1;", "a", value511 + "v", "", 0},
              {repeated("k=v;", 200), "new", "1", repeated("k=v;", 200), 10},
              {repeated("k=v;", 200), "k", "w", "k=w;" + repeated("k=v;", 199), 1},
              {most, "k", std::string(250, 'w'), full, 1},
              {full, "k", std::string(250, 'x'), most + "k=" + std::string(250, 'x') + ";", 1},
              {full, "k", std::string(251, 'x'), full, 10},
              {most, "k", std::string(251, 'x'), most, 10},
              {";a=1;", "new", "1", "new=1;a=1;", 1},
              {";pwrmode=abcdef;", "pwrmode", "a", "pwrmode=a;", 2},
              {"a=1;\xFF=1;b=1;", "a", "2", "", 0},
              {";" + repeated(wide, 150), "new", std::string(400, 'n'), "", 0},
              {name80 + "n=1;a=1;", "a", "2", "", 0},
              {"n=" + value511 + "v;a=1;", "a", "2", "", 0},
              {"fl\xFFg;a=1;", "a", "2", "", 0},
              {repeated("k=v;", 201), "k", "w", "", 0},
              {repeated("k=v;", 200) + std::string(64732, '\xFF'), "k", "w", "k=w;" + repeated("k=v;", 199), 1},
              {"n=" + value511 + "v;" + repeated("k=v;", 199) + std::string(64221, '\xFF'), "k", "w", "", 0},
              {repeated(wide, 150) + flags, "k", std::string(433, 'w'), "", 0}};  // with "=" the flags outgrow the area
  for (const auto &row : rows) {
    store(area(row.before));
    const Bytes before = flash(kRegion, 0x10000);
    uint32_t result = 1;
    const std::string events = trace([&] { return FW_SpiFlash_EnvAdd(row.name.c_str(), row.value.c_str()); }, &result);
    int erases = 0;
    for (size_t at = 0; (at = events.find("flash d1", at)) != events.npos; ++at) ++erases;
    EXPECT_EQ(std::pair(result, erases), std::pair(row.erases % 10 != 0 ? 0U : FW_FAIL, row.erases)) << row.before;
    Bytes expected = area(row.after);
    const uint32_t crc = FW_crc32(expected.data(), kAreaSize);
    for (int n = 3; n >= 0; --n) expected.insert(expected.begin(), static_cast<uint8_t>(crc >> 8 * n));
    EXPECT_EQ(flash(kRegion, 0x10000), row.erases == 0 ? before : expected) << row.before;
  }
  const auto never_fitting = [&] {
    return FW_SpiFlash_EnvAdd("", "1") & FW_SpiFlash_EnvAdd("a", "") & FW_SpiFlash_EnvAdd((name80 + "n").c_str(), "1");
  };
  EXPECT_EQ(trace(never_fitting), "");
  env_convert(area(";pwrmode=abcdef;").data());
  EXPECT_TRUE(env_add("pwrmode", "a") == 0 && table() == "pwrmode=a;") << "behind an empty slot";
  EXPECT_TRUE(env_add((name80 + "n").c_str(), "1") == 0 && table() == "pwrmode=a;") << "a name that fits no slot";
}

// Every read and write of the region starts with the question for the chip; they are counted from 1.
TEST_F(Environment, FailuresOfAnUpdateShareOneCounter) {
  const struct {
    const char *name;
    uint32_t unreadable, spoiled;  // a bit for each question before which the region cannot be read, or changes
    int erase_answer;              // 0: the driver's own
    uint32_t result;
    int questions, erases;
  } rows[] = {{"healthy", 0, 0, 0, 0, 4, 1},
              {"unreadable", ~0U, 0, 0, FW_FAIL, 10, 0},
              {"nine reads fail", 0x3FE, 0, 0, 0, 13, 1},
              {"erase fails", 0, 0, 0xFFFF, FW_FAIL, 12, 10},
              {"five reads fail, then the erase", 0x3E, 0, 0xFFFF, FW_FAIL, 12, 5},
              {"another erase result", 0, 0, 5, 0, 4, 1},
              {"never twice the same", 0, ~0U, 0, FW_FAIL, 20, 0},
              {"unreadable checks count as matches", 0x1DC, 0, 0, 0, 8, 1},
              {"spoiled before the verification", 0, 0x10, 0, 0, 8, 2}};
  const auto update = [] { return FW_SpiFlash_EnvAdd("a", "0123456789"); };
  for (const auto &row : rows) {
    store(Bytes(kAreaSize, 0xFF));
    int questions = 0, erases = 0;
    wire::on_request([&](const wire::Request &request) -> std::optional<int> {
      if (request.number == 0xD1 && ++erases != 0 && row.erase_answer != 0) return row.erase_answer;
      if (request.number != 0xDA) return std::nullopt;
      const uint32_t number = static_cast<uint32_t>(++questions);
      if ((row.spoiled >> number & 1) != 0) program(kRegion + 4 + number, {0});
      return (row.unreadable >> number & 1) != 0 ? std::optional(0xFFFF) : std::nullopt;
    });
    const uint32_t result = result_of(update);
    EXPECT_EQ(std::tuple(result, questions, erases), std::tuple(row.result, row.questions, row.erases)) << row.name;
  }
  wire::reset();
#define READ "flash da ff>00 = 0\nread flash 10000 = 10000\npause 10\nflash dd = 0\n"
  EXPECT_EQ(trace(update, nullptr, {"open", "close", "seek", "write"}),
            READ "pause 10\n" READ
                 "flash da ff>00 = 0\ngpio d5 00 = 0\nflash d1 = 0\npause 2\nflash dd = 0\npause 2\n"
                 "flash dd = 0\npause 10\n" READ);
  FW_SetDiagNoOperationFlag(1);
  FW_SetSystemDiagFlag(1);
  EXPECT_EQ(trace(update).find("flash d1"), std::string::npos);
}

TEST_F(Environment, BoardQuestions) {
  const struct {
    const char *entries;
    uint32_t watchdog, power;
  } rows[] = {{"syswdt=start;pwrmode=pwrad;", 1, 0}, {"syswdt=Start;pwrmode=pwr2ac;pwrmode=pwrad;", 0, 1},
              {"syswdt=;pwrmode=pwr2dc;", 0, 2},     {"syswdt=starts;pwrmode=pwr1dc;", 0, 3},
              {"xsyswdt=no;pwrmode=pwr1ac;", 1, 4},  {"syswdtx=no;pwrmode=pwr1AC;", 1, 5}};
  for (const auto &row : rows) {
    store(area(row.entries));
    EXPECT_EQ(std::pair(FW_Wdt_Flag(), FW_Pwr_Flag()), std::pair(row.watchdog, row.power)) << row.entries;
  }
  const uint32_t crc = FW_crc32(area(rows[5].entries).data(), kAreaSize);
  EXPECT_EQ(check_env_crc(crc, "syswdtx", "no", 1), 1);
  EXPECT_EQ(check_env_crc(crc, "syswdtx", "pwr1AC", 1), 0);
  EXPECT_EQ(check_env_crc(crc, "syswdtx", "pwr1AC", 2), 1);
  EXPECT_EQ(check_env_crc(crc + 1, "syswdtx", "no", 0), 0);
  sim("fail flash:read");
  EXPECT_EQ(std::pair(FW_Wdt_Flag(), FW_Pwr_Flag()), std::pair(0U, 5U));
  EXPECT_EQ(check_env_crc(crc, "syswdtx", "no", 1), 0xFF);
}

TEST_F(Environment, MacBackup) {
  static const uint8_t mac[] = "00:11:22:33:44:55+";
  const auto set = [] { return FW_SpiFlash_BackupMacSet(mac); };
  EXPECT_EQ(set() | set(), 0U);
  Bytes read(17, 0);
  EXPECT_EQ(FW_SpiFlash_BackupMacGet(read.data()), 0U);
  EXPECT_EQ(read, Bytes(mac, mac + 17));
  EXPECT_EQ(flash(0x1FE0000, 18)[17], 0xFF);
  sim("fail flash:0xD1 --result 5");
  uint32_t result = 0;
  EXPECT_EQ(trace(set, &result, {"open", "close", "flash", "pause"}), "seek 1fe0000\n");
  EXPECT_EQ(result, 5U);
}

}  // namespace
