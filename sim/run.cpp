#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "system_calls.h"
#include "tool.h"

// Makes a program's environment into that of a switch, and becomes the program.

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

void put_first(const char *variable, const std::string &value) {
  const char *old = std::getenv(variable);
  std::string rest = old != nullptr && *old != '\0' ? std::string(":") + old : "";
  if ((rest + ":").rfind(":" + value + ":", 0) != 0) setenv(variable, (value + rest).c_str(), 1);
}

// A trace tells one run: an older file is emptied.
std::string trace_target(const std::string &wanted) {
  if (wanted.empty() || wanted == "-") return wanted;
  std::string file = fs::absolute(wanted);
  sys::File opened(sys::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666));
  if (!opened.ok()) throw Usage("--trace: cannot write '" + wanted + "': " + std::strerror(errno));
  return file;
}

// Another process may be first at making it.
OpenBoard open_or_create(const std::string &board) {
  try {
    return open_board(board);
  } catch (const Failure &) {
    try {
      create_board(board, "");
    } catch (const Failure &) {
    }
    return open_board(board);
  }
}

}  // namespace

void run(const std::string &board, const RunOptions &options, const Words &program) {
  std::string folder = open_or_create(board).folder;
  fs::path library = fs::canonical("/proc/self/exe").parent_path().parent_path() / "lib/zelboard";
  std::string preload = library / "libzelsim.so";
  if (!fs::exists(preload)) throw Failure("cannot find " + preload);
  bool loadable = preload.find_first_of(" :") == std::string::npos;
  if (!loadable) throw Failure("the loader preloads nothing from a folder with a blank or a colon: " + preload);
  setenv("ZELSIM_BOARD_DIR", folder.c_str(), 1);
  setenv("ZELSIM_TRACE", trace_target(options.trace).c_str(), 1);
  setenv("ZELSIM_TRACE_OPENS", options.trace_opens ? "1" : "0", 1);
  setenv("ZELSIM_FAST", options.fast ? "1" : "0", 1);
  setenv("ZELSIM_CHIP_TIMES", options.chip_times ? "1" : "0", 1);
  put_first("PATH", library);
  put_first("LD_PRELOAD", preload);
  // A program with the address sanitizer otherwise refuses to start behind any preloaded library.
  put_first("ASAN_OPTIONS", "verify_asan_link_order=0");
  std::vector<char *> arguments;
  for (const std::string &word : program) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  constexpr int kNotExecutable = 126, kNotFound = 127;
  int status = errno == ENOENT ? kNotFound : kNotExecutable;
  std::fprintf(stderr, "zelsim: PROGRAM: cannot run '%s': %s\n", arguments[0], std::strerror(errno));
  std::exit(status);
}

}  // namespace zelsim::tool
