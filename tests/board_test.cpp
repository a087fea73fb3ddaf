#include "board_test.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "cli/program.h"

namespace fs = std::filesystem;

const char *const kProgram = "library_tests";

namespace {

/// A process stays on the board that it met first. All commands of the virtual switch are done by one process: a start takes
/// longer than most of them.
struct Home {
  std::string folder = (fs::temp_directory_path() / "zelboard-XXXXXX").string();
  std::ofstream commands;
  std::ifstream answers;

  Home() {
    mkdtemp(folder.data());
    setenv("ZELSIM_HOME", folder.c_str(), 1);
    setenv("ZELSIM_BOARD_DIR", (folder + "/board").c_str(), 1);
    setenv("ZELSIM_FAST", "1", 1);
    unsetenv("ZELSIM_TRACE");
    setenv("PATH", (std::string(DEBUGCMD_FOLDER ":") + getenv("PATH")).c_str(), 1);
    const std::string to = folder + "/commands", from = folder + "/answers";
    mkfifo(to.c_str(), 0600);
    mkfifo(from.c_str(), 0600);
    const std::string batch = ZELSIM_PROGRAM " batch <" + to + " >" + from + " &";
    EXPECT_EQ(system(batch.c_str()), 0);
    commands.open(to);
    answers.open(from);
    answer("create board");
  }
  ~Home() { fs::remove_all(folder); }

  std::string answer(const std::string &command) {
    const std::string words = std::regex_replace(command, std::regex(" "), "\",\"");
    commands << "{\"words\":[\"" << words << "\"]}" << std::endl;
    std::string line;
    std::getline(answers, line);
    return line;
  }
};

Home &home() {
  static Home home;
  return home;
}

}  // namespace

BoardTest::BoardTest() : folder_(home().folder) {
  sim("reset --flash board");
  debug_mode = i2c_debug_mode = spiflash_debug_mode = 0;
  diag_no_operation_flag = 0;
  wire::reset();
}

BoardTest::~BoardTest() {
  wire::reset();
  for (const auto &entry : fs::directory_iterator(folder_)) {
    if (entry.path().filename() != "board") fs::remove_all(entry.path());
  }
}

void BoardTest::sim(const std::string &command) {
  const std::string answer = home().answer(command);
  ASSERT_EQ(answer.find("{\"status\":0,"), 0U) << command << ": " << answer;
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
