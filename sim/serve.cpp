#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "arguments.h"
#include "launch.h"

// `zelsim serve`: zelsim becomes the web server.

namespace zelsim::tool {
namespace {

// The token goes into the environment: everybody can read the arguments of a process.
void hand_over_token(const CommandLine &line) {
  constexpr size_t kMost = 4096;
  std::string token = line.token;
  if (!line.token_file.empty()) {
    std::vector<uint8_t> content = read_file(line.token_file, kMost, "--token-file");
    token.assign(content.begin(), content.end());
    token.erase(token.find_last_not_of(" \t\r\n") + 1);
    if (token.empty()) throw Usage("--token-file: '" + line.token_file + "' is empty");
  }
  if (!token.empty()) set_variable(kWebTokenVariable, token);
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
