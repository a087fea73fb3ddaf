#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "captured.h"
#include "tool.h"

// Many command lines in one process: a line of JSON asks for one, a line of JSON is its answer. It is for programs that
// work with a board much, as test kits do.

namespace zelsim::tool {
namespace {

void check(bool done, const char *what) {
  if (!done) throw Failure(std::string(what) + ": " + std::strerror(errno));
}

/** What the command reads from standard input. */
void give_input(const std::string &hex) {
  auto content = hex_bytes(hex);
  if (!content) throw Failure("input: is not hexadecimal");
  int file = memfd_create("input", MFD_CLOEXEC);
  check(file >= 0 && write_all(file, *content), "the input cannot be kept");
  lseek(file, 0, SEEK_SET);
  dup2(file, STDIN_FILENO);
  close(file);
}

bool is_text(const std::string &bytes) {
  try {
    return !Json(bytes).dump().empty();
  } catch (const Json::exception &) {
    return false;
  }
}

Json answer_to(const Json &asked) {
  const Words words = asked.at("words").get<Words>();
  for (const char *becomes : {"run", "record", "serve", "batch"})
    if (!words.empty() && words[0] == becomes)
      throw Failure(words[0] + ": not in a batch, whose process it would take");
  if (asked.contains("folder")) check(chdir(asked["folder"].get<std::string>().c_str()) == 0, "the folder");
  give_input(asked.value("input", ""));
  Captured printed(stdout);
  Captured output(out);
  Captured errors(stderr);
  Json answer = {{"status", execute(words)}};
  std::string text = printed.text() + output.text();
  answer[is_text(text) ? "output" : "bytes"] = is_text(text) ? text : hex_text(bytes_of(text));
  answer["error"] = errors.text();
  return answer;
}

Json answer_line(const std::string &line) {
  try {
    return answer_to(Json::parse(line));
  } catch (const std::exception &error) {
    return {{"status", 2}, {"output", ""}, {"error", std::string("zelsim: ") + error.what() + "\n"}};
  }
}

}  // namespace

void batch(const CommandLine &) {
  // The commands have an input of their own, each.
  FILE *questions = fdopen(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3), "r");
  if (questions == nullptr) throw Failure(std::string("standard input: ") + std::strerror(errno));
  std::unique_ptr<FILE, int (*)(FILE *)> closed(questions, std::fclose);
  char *line = nullptr;
  size_t room = 0;
  while (getline(&line, &room, questions) > 0 && !interrupted()) {
    std::string answer = answer_line(line).dump(-1, ' ', false, Json::error_handler_t::replace);
    std::fprintf(out, "%s\n", answer.c_str());
    std::fflush(out);
  }
  std::free(line);
}

}  // namespace zelsim::tool
