#include "board_test.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

BoardTest::BoardTest() {
  std::string pattern_text = (fs::temp_directory_path() / "zelboard-XXXXXX").string();
  folder_ = mkdtemp(pattern_text.data());
  setenv("ZELSIM_HOME", folder_.c_str(), 1);
  setenv("ZELSIM_FAST", "1", 1);
  unsetenv("ZELSIM_TRACE");
  static const std::string search = std::string(DEBUGCMD_FOLDER ":") + getenv("PATH");
  setenv("PATH", search.c_str(), 1);
  unsetenv("ZELSIM_BOARD_DIR");
  sim("create board");
  setenv("ZELSIM_BOARD_DIR", (folder_ + "/board").c_str(), 1);
  debug_mode = i2c_debug_mode = spiflash_debug_mode = 0;
  diag_no_operation_flag = 0;
  wire::reset();
}

BoardTest::~BoardTest() {
  wire::reset();
  fs::remove_all(folder_);
}

void BoardTest::sim(const std::string &command) {
  ASSERT_EQ(system((std::string(ZELSIM_PROGRAM " ") + command).c_str()), 0) << command;
}

std::string BoardTest::file(const std::string &name, const std::vector<uint8_t> &content) {
  std::ofstream out(path(name), std::ios::binary);
  out.write(reinterpret_cast<const char *>(content.data()), static_cast<std::streamsize>(content.size()));
  return path(name);
}

std::vector<uint8_t> BoardTest::flash(uint32_t address, uint32_t length) {
  std::vector<uint8_t> bytes(length);
  EXPECT_EQ(FW_N25Q256A_ReadFlash(address, length, bytes.data()), 0U);
  return bytes;
}

void BoardTest::program(uint32_t address, const std::vector<uint8_t> &bytes) {
  EXPECT_EQ(FW_N25Q256A_WriteFlash(address, static_cast<uint32_t>(bytes.size()), bytes.data()), 0U);
}

std::vector<uint8_t> pattern(size_t length, uint32_t seed) {
  std::vector<uint8_t> bytes(length);
  for (uint8_t &byte : bytes) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<uint8_t>(seed >> 24);
  }
  return bytes;
}
