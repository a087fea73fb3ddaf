#include "strays.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "../cli/text.h"

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

// Empty for a process that has ended, and for somebody else's. Each entry ends with a NUL.
std::string environment_of(const std::string &process) {
  std::ifstream file("/proc/" + process + "/environ", std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool has_entry(const std::string &process, const std::string &entry) {
  std::string environment = '\0' + environment_of(process);
  return environment.find('\0' + entry + '\0') != std::string::npos;
}

}  // namespace

bool runs_with(pid_t process, const std::string &entry) { return has_entry(std::to_string(process), entry); }

std::vector<pid_t> processes_with(const std::string &entry) {
  std::vector<pid_t> found;
  std::error_code none;
  for (const fs::directory_entry &row : fs::directory_iterator("/proc", none)) {
    std::string name = row.path().filename();
    bool is_process = name.find_first_not_of("0123456789") == std::string::npos;
    if (!is_process || name == std::to_string(getpid())) continue;
    if (has_entry(name, entry)) found.push_back(static_cast<pid_t>(std::stol(name)));
  }
  return found;
}

}  // namespace zelsim::tool
