#include <httplib.h>

#include <algorithm>

#include "arguments.h"
#include "nodes.h"
#include "web.h"
#include "web_files.h"

// The addresses of the server, and what is there.

namespace zelsim::web {
namespace {

using HttpRequest = httplib::Request;
using HttpResponse = httplib::Response;

constexpr char kJson[] = "application/json";
constexpr char kCreatePath[] = "/api/create";
constexpr char kDeletePath[] = "/api/delete";
// Statuses of answers.
constexpr int kRefused = 400;
constexpr int kAbsent = 404;
constexpr int kImpossible = 409;
constexpr int kBusy = 503;

void answer(HttpResponse &response, const Json &document) {
  response.set_content(document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n", kJson);
}

bool shows_all(const Settings &settings) { return settings.board == kRack; }

[[noreturn]] void refuse_other_boards(const Settings &settings) {
  throw tool::Usage("board: this server shows '" + settings.board + "' alone");
}

/** The board that a request is about: the server's own, or the one that it names. */
std::string board_of(const Settings &settings, const HttpRequest &request) {
  std::string given = request.get_param_value("board");
  if (shows_all(settings)) {
    if (!given.empty()) tool::check_name(given);
    return given;
  }
  if (!given.empty() && given != settings.board) refuse_other_boards(settings);
  return settings.board;
}

/** Does some work. Its errors become an answer.
 *  @param failure  status of the answer if the request is well formed, but fails */
template <typename Work>
void refusing(HttpResponse &response, int failure, Work work) {
  try {
    work();
  } catch (const tool::Usage &error) {
    refuse(response, kRefused, error.what());
  } catch (const std::runtime_error &error) {
    refuse(response, failure, error.what());
  } catch (const Json::exception &) {
    refuse(response, kRefused, "body: a value has the wrong type");
  }
}

/** Answers with a document. */
template <typename Work>
httplib::Server::Handler answering(Work work) {
  return [work](const HttpRequest &request, HttpResponse &response) {
    refusing(response, kImpossible, [&] { answer(response, work(request)); });
  };
}

std::atomic<unsigned> open_streams = 0;
// Tells a page without news that the server is still there, and the server whether the page is.
constexpr char kStillHere[] = "event: alive\ndata: {}\n\n";

/** An open stream. stream() has counted it in open_streams; its end takes it off. */
struct Stream {
  Stream(std::shared_ptr<Source> of, bool requests) : source(std::move(of)) {
    reader.wants_requests = requests;
    source->add_reader(reader);
  }
  ~Stream() {
    source->remove_reader(reader);
    --open_streams;
  }
  std::shared_ptr<Source> source;
  Reader reader;
};

void stream(const std::shared_ptr<Source> &source, const HttpRequest &request, HttpResponse &response) {
  unsigned open_now = ++open_streams;
  if (open_now > kMostReaders) {
    --open_streams;
    refuse(response, kBusy, "events: too many pages are open");
    return;
  }
  auto open = std::make_shared<Stream>(source, request.has_param("requests"));
  auto next = [open](size_t, httplib::DataSink &sink) {
    std::string events;
    for (const std::string &news : open->source->news.next(open->reader)) events += "data: " + news + "\n\n";
    if (events.empty()) events = kStillHere;
    return sink.is_writable() && sink.write(events.data(), events.size());
  };
  response.set_chunked_content_provider("text/event-stream", next, [open](bool) {});
}

void stream_board(const Settings &settings, const HttpRequest &request, HttpResponse &response) {
  if (shows_all(settings) && request.has_param("rack")) {
    stream(source_of(kRack), request, response);
    return;
  }
  std::string board = board_of(settings, request);
  if (shows_all(settings)) tool::look_at(board);
  stream(source_of(board), request, response);
}

/** Makes or deletes a board, where the server shows all of them. */
Json manage(const Settings &settings, const HttpRequest &request) {
  if (!shows_all(settings)) refuse_other_boards(settings);
  Json object = object_of(request.body);
  bool has_name = object.contains("board") && object["board"].is_string();
  if (!has_name) throw tool::Usage("board: missing: a name");
  bool has_slots = object.contains("slots");
  if (has_slots && !object["slots"].is_string()) throw tool::Usage("slots: not a text");
  tool::CommandLine line = {.board = object["board"]};
  tool::check_name(line.board);
  if (request.path == kDeletePath) {
    tool::delete_board(line);
    return {{"done", "zelsim delete " + line.board}};
  }
  if (has_slots) line.slots = object["slots"];
  tool::create_board(line);
  std::string told = "zelsim create " + line.board;
  if (!line.slots.empty()) told += " --slots " + line.slots;
  return {{"done", told}};
}

/** The browser may keep this file: its path changes with its content. */
void let_keep(HttpResponse &response) {
  response.headers.erase("Cache-Control");
  response.set_header("Cache-Control", "private, max-age=31536000, immutable");
}

void add_files(httplib::Server &server, const Settings &settings) {
  for (const WebFile &file : kWebFiles) {
    server.Get(file.path, [settings, &file](const HttpRequest &request, HttpResponse &response) {
      if (!request.has_param("token")) {
        if (std::string_view(file.path) != "/") let_keep(response);
        response.set_content(file.content, file.length, file.type);
        return;
      }
      // The rest of the address says what is looked at.
      httplib::Params rest = request.params;
      rest.erase("token");
      std::string query = httplib::detail::params_to_query_str(rest);
      response.set_header("Set-Cookie", cookie(settings) + "; HttpOnly; SameSite=Strict; Path=/");
      response.set_redirect(std::string(file.path) + (query.empty() ? "" : "?" + query), 303);
    });
  }
}

uint32_t number_of(const HttpRequest &request, const char *name, uint32_t lowest, uint32_t highest) {
  return tool::parse_number(request.get_param_value(name), name, lowest, highest);
}

void add_documents(httplib::Server &server, const Settings &settings) {
  auto of_board = [settings](tool::Document *document) {
    return answering([=](const HttpRequest &request) { return document({.board = board_of(settings, request)}); });
  };
  server.Get("/api/board", of_board(tool::board_document));
  server.Get("/api/modules", of_board(tool::modules_document));
  server.Get("/api/requests", of_board(tool::requests_document));
  server.Get("/api/faults", of_board(tool::faults_document));
  server.Get("/api/states", of_board(tool::states_document));
  server.Get("/api/boards", answering([settings](const HttpRequest &) {
               if (shows_all(settings)) return tool::boards_document({});
               const Json row = {{"board", settings.board}};
               return Json{{"boards", Json::array({row})}};
             }));
  server.Get(
      "/api/server", answering([settings](const HttpRequest &) {
        return Json{{"rack", shows_all(settings)}, {"board", shows_all(settings) ? Json() : Json(settings.board)}};
      }));
  server.Get("/api/history", answering([settings](const HttpRequest &request) {
               std::string board = board_of(settings, request);
               if (shows_all(settings)) tool::look_at(board);
               return source_of(board)->history.document();
             }));
  server.Get("/api/actions", answering([](const HttpRequest &) { return actions(); }));
  server.Get("/api/module", answering([settings](const HttpRequest &request) {
               return module_document(board_of(settings, request), number_of(request, "port", 0, kPorts - 1));
             }));
}

void add_flash(httplib::Server &server, const Settings &settings) {
  server.Get("/api/flash", answering([settings](const HttpRequest &request) {
               std::string board = board_of(settings, request);
               Json flash = tool::flash_document({.board = board});
               tool::AttachedBoard attached = tool::attach_board(board);
               std::unique_ptr<Board> copy = copy_of(*attached.attached->board);
               auto counted = std::make_unique<Sectors>();
               flash["writing"] = writing_now(copy->watch, attached.folder);
               flash["sectors"] = sectors_document(attached.folder, *copy, *counted);
               return flash;
             }));
  server.Get("/api/flash/difference", answering([settings](const HttpRequest &request) {
               return difference_document(board_of(settings, request), request.get_param_value("state"));
             }));
  server.Get("/api/flash/bytes", answering([settings](const HttpRequest &request) {
               uint32_t start = number_of(request, "start", 0, kFlashSize - 1);
               uint32_t most = std::min(kSectorSize, kFlashSize - start);
               uint32_t size = number_of(request, "size", 1, most);
               return bytes_document(board_of(settings, request), start, size);
             }));
}

void add_headers(httplib::Server &server) {
  server.set_default_headers(
      {{"Cache-Control", "no-store"},
       {"Content-Security-Policy",
        "default-src 'self'; base-uri 'none'; form-action 'none'; object-src 'none'; frame-ancestors 'none'"},
       {"Referrer-Policy", "no-referrer"},
       {"X-Content-Type-Options", "nosniff"}});
}

void add_admission(httplib::Server &server, const Settings &settings) {
  server.set_pre_routing_handler([settings](const HttpRequest &request, HttpResponse &response) {
    using Done = httplib::Server::HandlerResponse;
    return admits(settings, request, response) ? Done::Unhandled : Done::Handled;
  });
}

void add_errors(httplib::Server &server) {
  server.set_error_handler([](const HttpRequest &request, HttpResponse &response) {
    if (!response.body.empty()) return;
    std::string why = "request: not understood";
    if (response.status == kAbsent) why = "path: nothing is at " + request.path;
    refuse(response, response.status, why);
  });
}

void add_picture(httplib::Server &server, const Settings &settings) {
  server.Get("/panel.svg", [settings](const HttpRequest &request, HttpResponse &response) {
    refusing(response, kAbsent, [&] {
      response.set_content(tool::panel_picture(*tool::look_at(board_of(settings, request))), "image/svg+xml");
    });
  });
}

void add_actions(httplib::Server &server, const Settings &settings) {
  auto managing = answering([settings](const HttpRequest &request) { return manage(settings, request); });
  server.Post(kCreatePath, managing);
  server.Post(kDeletePath, managing);
  server.Post("/api/together", answering([settings](const HttpRequest &request) {
                return act_together(board_of(settings, request), request.body);
              }));
  server.Post("/api/(.+)", answering([settings](const HttpRequest &request) {
                std::string name = request.matches[1];
                std::ranges::replace(name, '/', ' ');
                return Json{{"done", act(board_of(settings, request), name, request.body)}};
              }));
}

}  // namespace

std::string text_of(const Json &value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

void refuse(HttpResponse &response, int status, const std::string &text) {
  response.status = status;
  answer(response, refusal(text));
}

void add_pages(httplib::Server &server, const Settings &settings) {
  add_headers(server);
  add_admission(server, settings);
  add_errors(server);
  add_files(server, settings);
  add_documents(server, settings);
  add_flash(server, settings);
  add_picture(server, settings);
  server.Get("/api/events", [settings](const HttpRequest &request, HttpResponse &response) {
    refusing(response, kAbsent, [&] { stream_board(settings, request, response); });
  });
  add_actions(server, settings);
}

}  // namespace zelsim::web
