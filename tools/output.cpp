#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <set>

#include "tool.h"

FILE *out = stdout;

/** Numbers that people read in hexadecimal. */
static const std::set<std::string> kHexadecimal{"address",  "start", "end", "offset",
                                                "checksum", "crc32", "sum", "value"};

static std::string heading(std::string key) {
  for (char &c : key) c = c == '_' ? ' ' : c;
  return key;
}

static bool isTable(const Json &value) { return value.is_array() && !value.empty() && value.front().is_object(); }

static void printTable(const Json &rows) {
  std::vector<std::vector<std::string>> lines(1);
  for (const auto &[key, value] : rows.front().items()) lines[0].push_back(heading(key));
  for (const Json &row : rows) {
    lines.emplace_back();
    for (const auto &[key, value] : row.items()) lines.back().push_back(cell(key, value));
  }
  std::vector<size_t> widths(lines[0].size());
  for (const auto &line : lines)
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size() + 2);
  for (const auto &line : lines) {
    std::string text;
    for (size_t i = 0; i < line.size(); ++i) text += line[i] + std::string(widths[i] - line[i].size(), ' ');
    text.erase(text.find_last_not_of(' ') + 1);
    std::fprintf(out, "%s\n", text.c_str());
  }
}

static void printObject(const Json &object) {
  size_t width = 0;
  for (const auto &[key, value] : object.items()) width = std::max(width, key.size());
  for (const auto &[key, value] : object.items())
    if (!isTable(value))
      std::fprintf(out, "%-*s  %s\n", static_cast<int>(width), heading(key).c_str(), cell(key, value).c_str());
  for (const auto &[key, value] : object.items()) {
    if (!isTable(value)) continue;
    std::fprintf(out, "\n");
    printTable(value);
  }
}

void startOutput() {
  out = fdopen(dup(STDOUT_FILENO), "w");
  // Both streams may end on one terminal: line by line keeps their order.
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  setvbuf(out, nullptr, _IOLBF, BUFSIZ);
  if (settings.verbose && !settings.json) return;
  const int target = settings.verbose ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY);
  dup2(target, STDOUT_FILENO);
  close(target);
}

int finishOutput() {
  fflush(stdout);
  const bool written = std::ferror(out) == 0;
  if (fclose(out) == 0 && written) return 0;
  std::fputs("zelctl: standard output cannot be written\n", stderr);
  return 1;
}

Printed printedBy(const std::function<uint32_t()> &call) {
  fflush(stdout);
  const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  const int recorder = memfd_create("printed", MFD_CLOEXEC);
  dup2(recorder, STDOUT_FILENO);
  Printed printed{call(), ""};
  fflush(stdout);
  dup2(kept, STDOUT_FILENO);
  close(kept);
  printed.text.resize(static_cast<size_t>(std::max<off_t>(lseek(recorder, 0, SEEK_END), 0)));
  if (pread(recorder, printed.text.data(), printed.text.size(), 0) < 0) printed.text.clear();
  close(recorder);
  return printed;
}

std::string cell(const std::string &key, const Json &value) {
  if (value.is_null()) return "-";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return printable(value.get<std::string>());
  if (value.is_number_float()) return format("%.1f", value.get<double>());
  if (value.is_number()) return kHexadecimal.contains(key) ? format("0x%X", value.get<uint32_t>()) : value.dump();
  std::string joined;
  for (const Json &item : value) joined += (joined.empty() ? "" : ", ") + cell(key, item);
  return joined.empty() ? "-" : joined;
}

void show(const Json &data) {
  if (settings.json)
    std::fprintf(out, "%s\n", data.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
  else if (isTable(data))
    printTable(data);
  else if (data.is_object())
    printObject(data);
}

void hexdump(std::span<const uint8_t> bytes, uint32_t address) {
  constexpr size_t kLine = 16;
  std::string before;
  bool starred = false;
  for (size_t at = 0; at < bytes.size(); at += kLine) {
    const auto line = bytes.subspan(at, std::min(kLine, bytes.size() - at));
    std::string hex;
    for (const uint8_t byte : line) hex += format(" %02x", byte);
    const bool repeats = hex == before && at + kLine < bytes.size();
    if (!repeats)
      std::fprintf(out, "%08x %-48s  |%s|\n", address + static_cast<uint32_t>(at), hex.c_str(),
                   printable({line.begin(), line.end()}).c_str());
    else if (!starred)
      std::fprintf(out, "*\n");
    starred = repeats;
    before = hex;
  }
}

bool colourful() { return settings.colour || (isatty(fileno(out)) != 0 && std::getenv("NO_COLOR") == nullptr); }
