#include <httplib.h>

#include <algorithm>

#include "web.h"

// Who may ask. A browser that runs a page of somebody else must not reach a board with it: neither by a request across
// origins nor by a name that this somebody lets point here.

namespace zelsim::web {
namespace {

using HttpRequest = httplib::Request;
using HttpResponse = httplib::Response;

constexpr int kUnknown = 401, kForbidden = 403;

std::string host_of(const std::string &text) {
  size_t bracket = text.rfind(']');  // of an address that has colons of its own
  return text.substr(0, text.find(':', bracket == std::string::npos ? 0 : bracket));
}

// Takes the same time wherever the texts differ.
bool same_text(const std::string &a, const std::string &b) {
  unsigned differences = a.size() != b.size();
  for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) differences |= static_cast<unsigned>(a[i] ^ b[i]);
  return differences == 0;
}

bool knows(const Settings &settings, const std::string &host) {
  std::string name = host;
  std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
  if (name == "localhost" || name == "127.0.0.1" || name == "[::1]") return true;
  if (name == settings.address || name == "[" + settings.address + "]") return true;
  if (std::ranges::find(settings.hosts, name) != settings.hosts.end()) return true;
  bool everywhere = settings.address == "0.0.0.0" || settings.address == "::";
  bool address = name.starts_with('[') || name.find_first_not_of("0123456789.") == std::string::npos;  // and no name
  return everywhere && address;
}

bool has_token(const Settings &settings, const HttpRequest &request) {
  if (settings.token.empty()) return true;
  std::string given = request.get_header_value("Authorization");
  bool found = same_text(request.get_param_value("token"), settings.token);
  found |= same_text(given, "Bearer " + settings.token);
  for (const std::string &kept : split(request.get_header_value("Cookie"), ';'))
    found |= same_text(kept.substr(kept.starts_with(' ')), cookie(settings));
  return found;
}

}  // namespace

// The page's address brings the token once; from then on a cookie does.
std::string cookie(const Settings &settings) {
  return "zelboard-" + std::to_string(settings.port) + "=" + settings.token;
}

bool admits(const Settings &settings, const HttpRequest &request, HttpResponse &response) {
  std::string host = request.get_header_value("Host"), origin = request.get_header_value("Origin");
  bool embedded = request.get_header_value("Sec-Fetch-Site") == "cross-site" && request.path != "/";
  if (!knows(settings, host_of(host))) {
    refuse(response, kForbidden,
           "Host: '" + host + "' is not a name of this server (zelsim serve --host NAME allows a name)");
  } else if (origin.empty() ? embedded : origin != "http://" + host) {
    refuse(response, kForbidden, "Origin: '" + origin + "' is not this server's page");
  } else if (!has_token(settings, request)) {
    refuse(response, kUnknown, "token: missing or wrong");
  }
  return response.body.empty();
}

}  // namespace zelsim::web
