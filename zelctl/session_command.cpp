#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zelboard/zelboard.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "records.h"
#include "tool.h"

// Calls of the library for a program that runs on another machine. One JSON line asks, one line answers. The caller knows
// the types from the headers. Arguments are words and buffers: no function of the library takes anything else.

namespace {

constexpr size_t kMostArguments = 8;

std::vector<uint8_t> bytes_in(const Json &hex) {
  const auto bytes = hex_bytes(hex.get<std::string>());
  if (!bytes) throw Failure{"bytes: not hexadecimal"};
  return *bytes;
}

/** The address of a function or variable of the library. Throws for a name that another library exports. If this program
 *  uses a variable of the library, the loader has moved it into the program, and the library uses it there. */
void *exported(const std::string &name) {
  Dl_info library{};
  Dl_info place{};
  dladdr(dlsym(RTLD_NEXT, "FW_GetSystemLed"), &library);
  void *const found = dlsym(RTLD_NEXT, name.c_str());
  if (found == nullptr || dladdr(found, &place) == 0 || place.dli_fbase != library.dli_fbase)
    throw Failure{"'" + name + "' is no function or variable of the library"};
  return dlsym(RTLD_DEFAULT, name.c_str());
}

/** One argument of a call, with what it points to. Its word may point into it, so it stays where it is. */
struct Argument {
  Argument() = default;
  ~Argument() {
    if (file >= 0) close(file);
  }
  Argument(const Argument &) = delete;
  Argument &operator=(const Argument &) = delete;

  uintptr_t word = 0;
  std::vector<uint8_t> bytes;
  bool points = false;     // to the bytes
  bool returned = false;   // the function may write to the bytes
  bool allocates = false;  // the function stores in `allocated` where it has put something
  void *allocated = nullptr;
  int file = -1;
};

void fill_argument(Argument &argument, const Json &given) {
  if (given.is_number()) {
    argument.word = given.get<uintptr_t>();
  } else if (given.contains("bytes")) {
    argument.points = true;
    argument.bytes = bytes_in(given.at("bytes"));
    argument.bytes.reserve(1);  // so that the address is not null even if there are no bytes
    argument.returned = given.value("returned", false);
  } else if (given.contains("file")) {
    argument.bytes = bytes_in(given.at("file"));
    argument.file = memfd_create("file", MFD_CLOEXEC);
    const auto size = static_cast<ssize_t>(argument.bytes.size());
    if (argument.file < 0 || pwrite(argument.file, argument.bytes.data(), argument.bytes.size(), 0) != size)
      throw Failure{std::string("the file cannot be kept: ") + std::strerror(errno)};
  } else if (given.contains("allocates")) {
    argument.allocates = true;
  }
}

/** The word that the function gets. */
uintptr_t word_of(Argument &argument) {
  if (argument.allocates) return reinterpret_cast<uintptr_t>(&argument.allocated);
  if (argument.file >= 0) return static_cast<uintptr_t>(dup(argument.file));  // it may close what it gets
  if (argument.points) return reinterpret_cast<uintptr_t>(argument.bytes.data());
  return argument.word;
}

Json answer_of(Argument &argument) {
  if (argument.allocates) return reinterpret_cast<uintptr_t>(argument.allocated);
  if (argument.returned) return hex_text(argument.bytes);
  if (argument.file < 0) return nullptr;
  const off_t read_to = lseek(argument.file, 0, SEEK_CUR);
  return static_cast<int64_t>(read_to);
}

/** Closes the duplicate that a function got for a file, unless the function has closed it. Nobody has opened another
 *  file since, so the number means the duplicate or nothing. */
void close_duplicate(uintptr_t word) {
  const auto duplicate = static_cast<int>(word);
  const bool is_open = lseek(duplicate, 0, SEEK_CUR) >= 0;
  if (is_open) close(duplicate);
}

Json call(const Json &asked) {
  // Integers and pointers are words on all processors of the library. A function ignores the words behind its own
  // arguments.
  using Function =
      uintptr_t (*)(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t);
  const auto function = reinterpret_cast<Function>(exported(asked.at("call").get<std::string>()));
  const Json &given = asked.at("arguments");
  if (given.size() > kMostArguments) throw Failure{format("arguments: more than %zu", kMostArguments)};
  std::array<Argument, kMostArguments> arguments;
  for (size_t i = 0; i < given.size(); ++i) fill_argument(arguments[i], given[i]);
  std::array<uintptr_t, kMostArguments> words{};
  for (size_t i = 0; i < given.size(); ++i) words[i] = word_of(arguments[i]);

  const uintptr_t result = function(words[0], words[1], words[2], words[3], words[4], words[5], words[6], words[7]);
  std::fflush(stdout);  // what it printed comes before the answer
  forget_debug_command();
  release_signals();  // our `system` holds them when the library runs debugCmd

  Json answer = Json::object();
  answer["result"] = static_cast<uint32_t>(result);
  if (asked.value("text", false)) answer["result"] = reinterpret_cast<const char *>(result);
  answer["arguments"] = Json::array();
  for (size_t i = 0; i < given.size(); ++i) {
    answer["arguments"].push_back(answer_of(arguments[i]));
    if (arguments[i].file >= 0) close_duplicate(words[i]);
  }
  return answer;
}

/** Hands over what a function has allocated, and releases it. */
Json take(const Json &asked) {
  auto *const data = reinterpret_cast<uint8_t *>(asked.at("take").get<uintptr_t>());
  const std::string hex = hex_text({data, asked.at("size").get<size_t>()});
  std::free(data);
  return record("bytes", hex);
}

Json read_variable(const Json &asked) {
  const auto *const data = static_cast<const uint8_t *>(exported(asked.at("get").get<std::string>()));
  if (asked.value("pointer", false)) {
    uintptr_t pointer = 0;
    std::memcpy(&pointer, data, sizeof pointer);
    return record("pointer", pointer);
  }
  return record("bytes", hex_text({data, asked.at("size").get<size_t>()}));
}

Json write_variable(const Json &asked) {
  const std::vector<uint8_t> bytes = bytes_in(asked.at("bytes"));
  std::memcpy(exported(asked.at("set").get<std::string>()), bytes.data(), bytes.size());
  return Json::object();
}

Json ask_gpio_driver(const Json &asked) {
  std::vector<uint8_t> bytes = bytes_in(asked.at("bytes"));
  const uint32_t result = gpio_request(asked.at("gpio").get<uint8_t>(), bytes.data());
  return record("result", result, "bytes", hex_text(bytes));
}

Json answer(const std::string &line) {
  try {
    const Json asked = Json::parse(line);
    if (asked.contains("call")) return call(asked);
    if (asked.contains("take")) return take(asked);
    if (asked.contains("get")) return read_variable(asked);
    if (asked.contains("set")) return write_variable(asked);
    if (asked.contains("gpio")) return ask_gpio_driver(asked);
    throw Failure{"neither call, take, get, set nor gpio"};
  } catch (const std::exception &error) {
    return record("error", error.what());
  }
}

void answer_calls() {
  std::string line;
  while (std::getline(std::cin, line)) {
    std::fprintf(out, "%s\n", answer(line).dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    std::fflush(out);
  }
}

}  // namespace

void add_session_command(App &app) {
  command(app, "session", "Calls the library for a program elsewhere: JSON lines, until the input ends",
          "-v session <calls", answer_calls);
}
