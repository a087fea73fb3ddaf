#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "../cli/captured.h"
#include "tool.h"

// Many command lines in one process, for test kits: a line of JSON asks for one, and a line of JSON answers.

namespace zelsim::tool {
namespace {

void check(bool done, const std::string &what) {
  if (!done) throw Failure(what + ": " + std::strerror(errno));
}

/** Makes these bytes the standard input of the command. */
void give_input(const std::string &hex) {
  auto content = hex_bytes(hex);
  if (!content) throw Failure("input: is not hexadecimal");
  int file = memfd_create("input", MFD_CLOEXEC);
  check(file >= 0 && write_all(file, *content), "the input cannot be kept");
  lseek(file, 0, SEEK_SET);
  dup2(file, STDIN_FILENO);
  close(file);
}

// True for UTF-8: other bytes cannot stand in JSON.
bool is_text(const std::string &bytes) {
  try {
    return !Json(bytes).dump().empty();
  } catch (const Json::exception &) {
    return false;
  }
}

bool is_list_of_texts(const Json &value) {
  return value.is_array() && std::ranges::all_of(value, [](const Json &word) { return word.is_string(); });
}

/** The text of a field, empty where it is missing. */
std::string text_of_field(const Json &asked, const char *name) {
  if (!asked.contains(name)) return {};
  if (!asked[name].is_string()) throw Failure(std::string(name) + ": not a text");
  return asked[name].get<std::string>();
}

/** Does what a line asks for, in the folder that it names, or else in `own_folder`. */
Json answer_to(const Json &asked, const std::filesystem::path &own_folder) {
  if (!asked.is_object()) throw Failure("line: not a JSON object");
  if (!asked.contains("words") || !is_list_of_texts(asked["words"])) throw Failure("words: not a list of texts");
  const Words words = asked["words"].get<Words>();
  if (!words.empty() && takes_the_process(words[0]))
    throw Failure(words[0] + ": cannot run in a batch, because it takes over the process");
  const std::filesystem::path folder = own_folder / text_of_field(asked, "folder");
  check(chdir(folder.c_str()) == 0, "folder: cannot change to '" + folder.native() + "'");
  give_input(text_of_field(asked, "input"));
  Captured printed(stdout);
  Captured output(out);
  Captured errors(stderr);
  Json answer = {{"status", execute(words)}};
  std::string text = printed.text() + output.text();
  if (is_text(text)) {
    answer["output"] = text;
  } else {
    answer["bytes"] = hex_text(bytes_of(text));
  }
  answer["error"] = errors.text();
  return answer;
}

Json answer_line(const std::string &line, const std::filesystem::path &own_folder) {
  try {
    return answer_to(Json::parse(line, nullptr, false), own_folder);
  } catch (const std::exception &error) {
    return {{"status", 2}, {"output", ""}, {"error", std::string("zelsim: ") + error.what() + "\n"}};
  }
}

}  // namespace

void batch(const CommandLine &) {
  // Each command gets its own standard input; the questions go on at another descriptor.
  FILE *questions = fdopen(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3), "r");
  if (questions == nullptr) throw Failure(std::string("standard input: ") + std::strerror(errno));
  std::unique_ptr<FILE, int (*)(FILE *)> closes_at_end(questions, std::fclose);
  const std::filesystem::path own_folder = std::filesystem::current_path();
  char *line = nullptr;
  size_t room = 0;
  for (;;) {
    ssize_t length = getline(&line, &room, questions);
    if (length <= 0) break;
    std::string answer = answer_line(line, own_folder).dump(-1, ' ', false, Json::error_handler_t::replace);
    std::fprintf(out, "%s\n", answer.c_str());
    std::fflush(out);
    release_signals();  // the command may hold them
  }
  std::free(line);
}

}  // namespace zelsim::tool
