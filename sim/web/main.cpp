#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>

#include "web.h"

// Started by `zelsim serve`: zelboard-web BOARD PORT ADDRESS TOKEN, where a TOKEN that is empty is none.

namespace {

using namespace zelsim;

constexpr size_t kOtherThreads = 16;  // beside those of open pages

void check(const web::Settings &settings) {
  const std::string &token = settings.token;
  bool plain =
      std::all_of(token.begin(), token.end(), [](char c) { return std::isalnum(c) || std::strchr("-_.~", c); });
  bool here = settings.address == "localhost" || settings.address == "::1" || settings.address.starts_with("127.");
  if (token.empty() && !here)
    throw tool::Usage("--token: required to listen on " + settings.address + ", where others can reach the board");
  if (!plain || (!token.empty() && token.size() < 8))
    throw tool::Usage("--token: not at least 8 letters, digits, '-', '_', '.' or '~'");
}

// A port in use shall not be shared, but one whose connections have just ended is free. Many pages may come at once.
int bind(httplib::Server &server, const web::Settings &settings) {
  socket_t listening = INVALID_SOCKET;
  server.set_socket_options([&listening](socket_t socket) {
    int yes = 1;
    listening = socket;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  errno = 0;
  bool bound = settings.port != 0 && server.bind_to_port(settings.address, settings.port);
  int port = bound ? settings.port : settings.port != 0 ? -1 : server.bind_to_any_port(settings.address);
  if (port > 0) return listen(listening, SOMAXCONN), port;
  std::string why = errno != 0 ? std::strerror(errno) : "no address of this machine";
  throw Failure("--port, --listen: cannot listen on " + settings.address + " port " + std::to_string(settings.port) +
                ": " + why);
}

void serve(web::Settings settings) {
  check(settings);
  httplib::Server server;
  server.new_task_queue = [] { return new httplib::ThreadPool(web::kMostReaders + kOtherThreads); };
  server.set_keep_alive_timeout(2);
  server.set_tcp_nodelay(true);
  settings.port = bind(server, settings);
  web::Watcher watcher(settings.board);
  web::add_pages(server, settings, watcher);

  sigset_t ends;
  sigemptyset(&ends);
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ends, signal);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);  // in all threads: only sigwait gets them
  std::thread([&] { watcher.run(); }).detach();
  std::thread([&] { server.listen_after_bind(); }).detach();
  bool six = settings.address.find(':') != std::string::npos;
  std::printf("http://%s:%d/%s\n", six ? ("[" + settings.address + "]").c_str() : settings.address.c_str(),
              settings.port, settings.token.empty() ? "" : ("?token=" + settings.token).c_str());
  std::fflush(stdout);
  sigwaitinfo(&ends, nullptr);
  std::_Exit(0);  // pages that are open end with it; nothing has to be kept
}

}  // namespace

const char *const kProgram = "zelsim";

int main(int argc, char **argv) {
  try {
    if (argc != 5) throw tool::Usage("zelboard-web: started by zelsim serve");
    serve({argv[1], argv[3], argv[4], static_cast<int>(number_in(argv[2], 0, 65535).value_or(0))});
  } catch (const tool::Usage &error) {
    return complain(error.what(), 2);
  } catch (const std::exception &error) {
    return complain(error.what(), 1);
  }
}
