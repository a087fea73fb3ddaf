#include "strays.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <thread>

#include "../cli/program.h"
#include "system_calls.h"

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

// Empty for a process that has ended, and for somebody else's. Each entry ends with a NUL.
std::string environment_of(const std::string &process) {
  constexpr size_t kPiece = 1 << 16;
  sys::File file(sys::open(("/proc/" + process + "/environ").c_str(), O_RDONLY | O_CLOEXEC));
  std::string environment;
  for (;;) {
    size_t size = environment.size();
    environment.resize(size + kPiece);
    ssize_t count = sys::read(file.get(), environment.data() + size, kPiece);
    environment.resize(size + static_cast<size_t>(std::max<ssize_t>(count, 0)));
    if (count <= 0) return environment;
  }
}

bool has_entry(const std::string &process, const std::string &entry) {
  std::string environment = '\0' + environment_of(process);
  return environment.find('\0' + entry + '\0') != std::string::npos;
}

std::vector<pid_t> look_for(const std::string &entry) {
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

}  // namespace

bool lives(uint32_t process) { return kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM; }

std::vector<pid_t> processes_with(const std::string &entry) {
  constexpr std::chrono::milliseconds kPause(5);
  std::vector<pid_t> found = look_for(entry);
  if (!found.empty()) return found;
  // A process shows no environment while it is being replaced by another program.
  std::this_thread::sleep_for(kPause);
  return look_for(entry);
}

std::string running_text(size_t count) {
  return count == 1 ? "1 process of the program still runs"
                    : std::to_string(count) + " processes of the program still run";
}

// The environment of all processes is read only when the known ones have ended.
void wait_for(std::vector<pid_t> &strays, const std::string &entry) {
  constexpr std::chrono::milliseconds kPause(50);
  while (!strays.empty() && !interrupted()) {
    std::this_thread::sleep_for(kPause);
    std::erase_if(strays, [&](pid_t stray) { return !has_entry(std::to_string(stray), entry); });
    if (strays.empty()) strays = processes_with(entry);
  }
}

}  // namespace zelsim::tool
