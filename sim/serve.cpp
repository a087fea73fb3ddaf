#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "arguments.h"
#include "launch.h"

// `zelsim serve`: zelsim becomes the web server.

namespace zelsim::tool {
namespace {

/** A secret, and where it comes from. */
struct Token {
  std::string text;  // empty: there is none
  std::string source;
};

std::string token_in(const std::string &file) {
  constexpr size_t kMost = 4096;
  std::vector<uint8_t> content = read_file(file, kMost, "--token-file");
  std::string token(content.begin(), content.end());
  token.erase(token.find_last_not_of(" \t\r\n") + 1);
  if (token.empty()) throw Usage("--token-file: '" + file + "' is empty");
  return token;
}

Token token_of(const CommandLine &line) {
  if (!line.token_file.empty()) return {token_in(line.token_file), "--token-file"};
  if (!line.token.empty()) return {line.token, "--token"};
  return {variable(kWebTokenVariable), kWebTokenVariable};
}

void check_token(const Token &token) {
  constexpr char kPlain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.~";
  constexpr size_t kShortest = 8;
  bool plain = token.text.find_first_not_of(kPlain) == std::string::npos;
  bool too_short = !token.text.empty() && token.text.size() < kShortest;
  if (!plain || too_short) throw Usage(token.source + ": not at least 8 letters, digits, '-', '_', '.' or '~'");
}

// The token goes into the environment: everybody can read the arguments of a process.
void hand_over_token(const CommandLine &line) {
  Token token = token_of(line);
  check_token(token);
  if (!token.text.empty()) set_variable(kWebTokenVariable, token.text);
}

}  // namespace

void serve(const CommandLine &line) {
  std::string program = library_folder() / "zelboard-web";
  std::string board = line.name();
  parse_number(line.port, "--port", 0, 65535);
  bool shows_all = board.empty() && variable(kBoardFolderVariable)[0] == '\0';
  if (shows_all) {
    board = "*";
  } else {
    open_or_make_board(board);
  }
  hand_over_token(line);
  Words arguments = {program, board, line.port, line.listen};
  arguments.insert(arguments.end(), line.hosts.begin(), line.hosts.end());
  std::vector<char *> pointers;
  for (std::string &word : arguments) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  execv(program.c_str(), pointers.data());
  throw Failure("serve: cannot run " + program + ", which the package zelboard-web brings: " + std::strerror(errno));
}

}  // namespace zelsim::tool
