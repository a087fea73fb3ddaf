#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "environment.h"
#include "front.h"
#include "web.h"

// Started by `zelsim serve`: zelboard-web BOARD PORT ADDRESS [NAME ...]. BOARD is * for all boards; each NAME is a further
// name of the server. The token comes in the environment, where other users cannot read it.

namespace {

using namespace zelsim;

constexpr unsigned kOtherThreads = 16;  // besides one for each open stream

void check_token(const web::Settings &settings) {
  bool here = settings.address == "localhost" || settings.address == "::1" || settings.address.starts_with("127.");
  if (settings.token.empty() && !here)
    throw tool::Usage("--token: required to listen on " + settings.address +
                      ", where others can reach the board (or --token-file, or ZELSIM_TOKEN)");
}

// A port that is in use is refused; a port whose connections have just ended is free. Many pages may connect at once.
int bind_server(httplib::Server &server, web::Settings &settings) {
  socket_t listening = INVALID_SOCKET;
  server.set_socket_options([&listening](socket_t socket) {
    int yes = 1;
    listening = socket;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  errno = 0;
  int port = settings.port;
  if (port == 0) {
    port = server.bind_to_any_port(settings.address);
  } else if (!server.bind_to_port(settings.address, port)) {
    port = -1;
  }
  if (port > 0) {
    listen(listening, SOMAXCONN);
    settings.port = port;
    return listening;
  }
  std::string why = errno != 0 ? std::strerror(errno) : "no address of this machine";
  throw Failure("--port, --listen: cannot listen on " + settings.address + " port " + std::to_string(settings.port) +
                ": " + why);
}

/** This machine's addresses of a family by which others reach it. */
tool::Words addresses(int family) {
  tool::Words found;
  ifaddrs *all = nullptr;
  if (getifaddrs(&all) != 0) return found;
  for (const ifaddrs *each = all; each != nullptr; each = each->ifa_next) {
    if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != family) continue;
    if ((each->ifa_flags & IFF_LOOPBACK) != 0 || (each->ifa_flags & IFF_UP) == 0) continue;
    char text[INET6_ADDRSTRLEN] = {};
    const auto *ipv4 = reinterpret_cast<const sockaddr_in *>(each->ifa_addr);
    const auto *ipv6 = reinterpret_cast<const sockaddr_in6 *>(each->ifa_addr);
    if (family == AF_INET) inet_ntop(family, &ipv4->sin_addr, text, sizeof text);
    // A link-local address needs the name of the other machine's own interface behind it.
    if (family == AF_INET6 && !IN6_IS_ADDR_LINKLOCAL(&ipv6->sin6_addr))
      inet_ntop(family, &ipv6->sin6_addr, text, sizeof text);
    if (text[0] != '\0') found.push_back(text);
  }
  freeifaddrs(all);
  return found;
}

void append_all(tool::Words &words, const tool::Words &more) { words.insert(words.end(), more.begin(), more.end()); }

/** The names by which pages reach the server: first those of the command line, then addresses. */
tool::Words names_of(const web::Settings &settings) {
  tool::Words names = settings.hosts;
  bool all_ipv4 = settings.address == "0.0.0.0";
  bool all_ipv6 = settings.address == "::";  // takes IPv4, too
  if (all_ipv4 || all_ipv6) {
    append_all(names, addresses(AF_INET));
  } else {
    names.push_back(settings.address);
  }
  if (all_ipv6) append_all(names, addresses(AF_INET6));
  if (names.empty()) names.push_back("127.0.0.1");
  return names;
}

void print_addresses(const web::Settings &settings) {
  for (std::string name : names_of(settings)) {
    if (name.find(':') != std::string::npos) name = '[' + name + ']';
    std::string token = settings.token.empty() ? "" : "?token=" + settings.token;
    std::printf("http://%s:%d/%s\n", name.c_str(), settings.port, token.c_str());
  }
  std::fflush(stdout);
}

// The wait is interrupted when the process was stopped and goes on.
void await_one_of(const sigset_t &signals) {
  for (;;) {
    int number = sigwaitinfo(&signals, nullptr);
    if (number > 0) return;
  }
}

void serve(web::Settings settings) {
  check_token(settings);
  rlimit files = {};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);

  web::Front server;
  int listening = bind_server(server, settings);
  web::add_pages(server, settings);
  sigset_t ends;
  sigemptyset(&ends);
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ends, signal);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);  // in all threads: only sigwait gets them
  std::thread([&] { server.run(listening, web::kMostReaders + kOtherThreads); }).detach();
  std::thread([board = settings.board] { web::keep_histories(board); }).detach();
  print_addresses(settings);
  await_one_of(ends);
  std::_Exit(0);  // pages that are open end with it; nothing has to be kept
}

web::Settings settings_of(int argc, char **argv) {
  if (argc < 4) throw tool::Usage("zelboard-web: started by zelsim serve");
  web::Settings settings = {};
  settings.board = argv[1];
  settings.port = static_cast<int>(number_in(argv[2], 0, 65535).value_or(0));
  settings.address = web::lower(argv[3]);
  for (int i = 4; i < argc; ++i) settings.hosts.push_back(web::lower(argv[i]));
  settings.token = variable(kWebTokenVariable);
  return settings;
}

}  // namespace

const char *const kProgram = "zelsim";

int main(int argc, char **argv) {
  try {
    serve(settings_of(argc, argv));
  } catch (const tool::Usage &error) {
    return complain(error.what(), 2);
  } catch (const std::exception &error) {
    return complain(error.what(), 1);
  }
}
