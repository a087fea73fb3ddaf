#include <httplib.h>

#include <algorithm>

#include "arguments.h"
#include "web.h"
#include "web_page.h"

// What is at which address, and who may ask. A browser that runs a page of somebody else must not reach the board with
// it: neither by a request across origins nor by a name that this somebody lets point here.

namespace zelsim::web {
namespace {

using httplib::Request;
using httplib::Response;

constexpr char kJson[] = "application/json";
constexpr size_t kLongestBody = 0x10000;
constexpr int kRefused = 400, kUnknown = 401, kForbidden = 403, kAbsent = 404, kImpossible = 409, kTooLong = 413,
              kBusy = 503;

void answer(Response &response, const Json &document) {
  response.set_content(document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n", kJson);
}

void refuse(Response &response, int status, const std::string &text) {
  response.status = status;
  answer(response, refusal(text));
}

std::string host_of(const std::string &text) {
  size_t bracket = text.rfind(']');  // of an address that has colons of its own
  return text.substr(0, text.find(':', bracket == std::string::npos ? 0 : bracket));
}

bool same_text(const std::string &a, const std::string &b) {
  unsigned differences = a.size() != b.size();
  for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) differences |= static_cast<unsigned>(a[i] ^ b[i]);
  return differences == 0;
}

bool knows(const Settings &settings, const std::string &host) {
  bool everywhere = settings.address == "0.0.0.0" || settings.address == "::";
  bool address = host.starts_with('[') || host.find_first_not_of("0123456789.") == std::string::npos;  // and no name
  bool own = host == "localhost" || host == "127.0.0.1" || host == "[::1]" || host == settings.address;
  return own || host == "[" + settings.address + "]" || (everywhere && address);
}

// The page's address brings the token once; from then on a cookie does.
std::string cookie(const Settings &settings) {
  return "zelboard-" + std::to_string(settings.port) + "=" + settings.token;
}

bool has_token(const Settings &settings, const Request &request) {
  if (settings.token.empty()) return true;
  std::string given = request.get_header_value("Authorization");
  bool found =
      same_text(request.get_param_value("token"), settings.token) || same_text(given, "Bearer " + settings.token);
  for (const std::string &kept : split(request.get_header_value("Cookie"), ';'))
    found |= same_text(kept.substr(kept.starts_with(' ')), cookie(settings));
  return found;
}

bool admits(const Settings &settings, const Request &request, Response &response) {
  std::string host = request.get_header_value("Host"), origin = request.get_header_value("Origin");
  bool embedded = request.get_header_value("Sec-Fetch-Site") == "cross-site" && request.path != "/";
  if (!knows(settings, host_of(host)))
    refuse(response, kForbidden, "Host: '" + host + "' is not a name of this server");
  else if (origin.empty() ? embedded : origin != "http://" + host)
    refuse(response, kForbidden, "Origin: '" + origin + "' is not this server's page");
  else if (!has_token(settings, request))
    refuse(response, kUnknown, "token: missing or wrong");
  return response.body.empty();
}

// Errors of a document or an action become an answer.
template <typename Work>
httplib::Server::Handler answering(Work work) {
  return [work](const Request &request, Response &response) {
    try {
      answer(response, work(request));
    } catch (const tool::Usage &error) {
      refuse(response, kRefused, error.what());
    } catch (const std::runtime_error &error) {
      refuse(response, kImpossible, error.what());
    }
  };
}

void stream(Watcher &watcher, const Request &request, Response &response) {
  if (!watcher.add_reader()) return refuse(response, kBusy, "events: as many pages are open as can be");
  auto reader = std::make_shared<Reader>();
  reader->wants_requests = request.has_param("requests");
  auto next = [&watcher, reader](size_t, httplib::DataSink &sink) {
    std::string news = watcher.next(*reader);
    std::string event = news.empty() ? ":\n\n" : "data: " + news + "\n\n";
    return sink.is_writable() && sink.write(event.data(), event.size());
  };
  auto release = [&watcher](bool) { watcher.remove_reader(); };
  response.set_chunked_content_provider("text/event-stream", next, release);
}

}  // namespace

void add_pages(httplib::Server &server, const Settings &settings, Watcher &watcher) {
  const std::string board = settings.board;
  auto document = [board](tool::Document *of) { return answering([=](const Request &) { return of({board}); }); };
  auto file = [](const char *content, const char *type) {
    return [=](const Request &, Response &response) { response.set_content(content, type); };
  };

  server.set_payload_max_length(kLongestBody);
  server.set_default_headers({{"Cache-Control", "no-store"},
                              {"Content-Security-Policy", "default-src 'self'; frame-ancestors 'none'"},
                              {"Referrer-Policy", "no-referrer"},
                              {"X-Content-Type-Options", "nosniff"}});
  server.set_pre_routing_handler([settings](const Request &request, Response &response) {
    using Done = httplib::Server::HandlerResponse;
    return admits(settings, request, response) ? Done::Unhandled : Done::Handled;
  });
  server.set_error_handler([](const Request &request, Response &response) {
    if (!response.body.empty()) return;
    std::string text = response.status == kAbsent ? "path: nothing is at " + request.path : "request: not understood";
    refuse(response, response.status, response.status == kTooLong ? "body: longer than 64 KiB" : text);
  });
  server.Get("/", [settings](const Request &request, Response &response) {
    if (!request.has_param("token")) return response.set_content(kPage_html, "text/html; charset=utf-8");
    response.set_header("Set-Cookie", cookie(settings) + "; HttpOnly; SameSite=Strict; Path=/");
    response.set_redirect("/", 303);
  });
  server.Get("/page.css", file(kPage_css, "text/css; charset=utf-8"));
  server.Get("/page.js", file(kPage_js, "text/javascript; charset=utf-8"));
  server.Get("/panel.svg", [board](const Request &, Response &response) {
    response.set_content(tool::panel_picture(*tool::look_at(board)), "image/svg+xml");
  });
  server.Get("/api/events", [&](const Request &request, Response &response) { stream(watcher, request, response); });
  server.Get("/api/board", document(tool::board_document));
  server.Get("/api/modules", document(tool::modules_document));
  server.Get("/api/faults", document(tool::faults_document));
  server.Get("/api/actions", answering([](const Request &) { return actions(); }));
  server.Get("/api/module", answering([board](const Request &request) {
               return module_document(board,
                                      tool::parse_number(request.get_param_value("port"), "PORT", 0, kPorts - 1));
             }));
  server.Get("/api/flash", answering([board](const Request &) {
               Json flash = tool::flash_document({board});
               flash["sectors"] = sectors_document(board, *std::make_unique<Sectors>());
               return flash;
             }));
  server.Post("/api/(.+)", answering([board](const Request &request) {
                std::string name = request.matches[1];
                std::replace(name.begin(), name.end(), '/', ' ');
                return Json{{"done", act(board, name, request.body)}};
              }));
}

}  // namespace zelsim::web
