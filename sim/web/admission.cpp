#include <httplib.h>

#include <algorithm>
#include <cctype>

#include "web.h"

// Who may ask. Another site's page in a browser must not reach a board: neither by a request across origins, nor by a host
// name of that site that leads to this machine.

namespace zelsim::web {
namespace {

using HttpRequest = httplib::Request;
using HttpResponse = httplib::Response;

constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;

std::string host_of(const std::string &text) {
  size_t bracket = text.rfind(']');  // of an IPv6 address, which has colons
  size_t end_of_address = bracket == std::string::npos ? 0 : bracket;
  return text.substr(0, text.find(':', end_of_address));
}

// Takes the same time wherever the texts differ: the time must not help to guess a token.
bool is_same_text(const std::string &given, const std::string &expected) {
  unsigned differences = given.size() == expected.size() ? 0 : 1;
  size_t common = std::min(given.size(), expected.size());
  for (size_t i = 0; i < common; ++i) differences |= static_cast<unsigned>(given[i] ^ expected[i]);
  return differences == 0;
}

bool knows(const Settings &settings, const std::string &host) {
  const std::string name = lower(host);
  if (name == "localhost" || name == "127.0.0.1" || name == "[::1]") return true;
  if (name == settings.address || name == "[" + settings.address + "]") return true;
  if (std::ranges::find(settings.hosts, name) != settings.hosts.end()) return true;
  bool listens_everywhere = settings.address == "0.0.0.0" || settings.address == "::";
  bool is_address = name.starts_with('[') || name.find_first_not_of("0123456789.") == std::string::npos;
  return listens_everywhere && is_address;
}

// True for a request that another site's page makes. Links to this server's first page are allowed.
bool comes_from_elsewhere(const HttpRequest &request, const std::string &host) {
  std::string origin = request.get_header_value("Origin");
  if (!origin.empty()) return origin != "http://" + host;
  return request.get_header_value("Sec-Fetch-Site") == "cross-site" && request.path != "/";
}

bool has_token(const Settings &settings, const HttpRequest &request) {
  if (settings.token.empty()) return true;
  if (is_same_text(request.get_param_value("token"), settings.token)) return true;
  if (is_same_text(request.get_header_value("Authorization"), "Bearer " + settings.token)) return true;
  for (std::string kept : split(request.get_header_value("Cookie"), ';')) {
    if (kept.starts_with(' ')) kept.erase(0, 1);
    if (is_same_text(kept, cookie(settings))) return true;
  }
  return false;
}

}  // namespace

std::string lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

// The address of the page has the token once; a cookie has it from then on.
std::string cookie(const Settings &settings) {
  return "zelboard-" + std::to_string(settings.port) + "=" + settings.token;
}

bool admits(const Settings &settings, const HttpRequest &request, HttpResponse &response) {
  std::string host = request.get_header_value("Host");
  if (!knows(settings, host_of(host))) {
    refuse(response, kForbidden,
           "Host: '" + host + "' is not a name of this server (zelsim serve --host NAME allows a name)");
    return false;
  }
  if (comes_from_elsewhere(request, host)) {
    refuse(response, kForbidden, "Origin: '" + request.get_header_value("Origin") + "' is not this server's page");
    return false;
  }
  if (!has_token(settings, request)) {
    refuse(response, kUnauthorized, "token: missing or wrong");
    return false;
  }
  return true;
}

}  // namespace zelsim::web
