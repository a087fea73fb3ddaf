#include "report.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <memory>

struct ReportOptions {
  std::string path;  // empty: named after the switch and the time
  bool with_flash = false;
  Patterns further_secrets;
};

static void require_no_signal() {
  if (interrupted()) throw Failure{"interrupted: no report was written, and nothing was changed"};
}

Json Report::ask(const std::string &what, const std::function<Json()> &question) {
  require_no_signal();
  Json answer;
  try {
    answer = question();
  } catch (const Failure &failure) {
    note(what, failure.what());
    ++failures;
  }
  if (const auto postponed = take_postponed()) {
    note(what, postponed->what());
    ++failures;
  }
  require_no_signal();
  return answer;
}

void Report::note(const std::string &what, const std::string &why) {
  Json row = record("what", what, "why", why);
  const bool is_known = std::find(not_read.begin(), not_read.end(), row) != not_read.end();
  if (!is_known) not_read.push_back(std::move(row));
}

void Report::add_file(const std::string &name, std::vector<uint8_t> bytes) {
  files.push_back({name, std::move(bytes)});
}

/** The file that the library was loaded from. Its name contains the version. */
static Json library_file() {
  Dl_info info{};
  char resolved[PATH_MAX] = "";
  if (dladdr(reinterpret_cast<const void *>(&FW_ReadFlash), &info) == 0) return {};
  if (realpath(info.dli_fname, resolved) == nullptr) return info.dli_fname;
  return resolved;
}

static std::string utc_text(std::time_t time, const char *form) {
  char text[32];
  std::strftime(text, sizeof text, form, std::gmtime(&time));
  return text;
}

static void describe_origin(Report &report, const std::string &host, std::time_t now) {
  utsname kernel{};
  uname(&kernel);
  Json &data = report.data;
  data["format"] = "zelboard-report";
  data["version"] = kReportVersion;
  data["created"] = utc_text(now, "%Y-%m-%dT%H:%M:%SZ");
  data["host"] = host;
  data["tool"] = std::string(kProgram) + " " ZELBOARD_VERSION;
  data["library"] = library_file();
  data["kernel"] = std::string(kernel.sysname) + " " + kernel.release + " " + kernel.machine;
  data["not_read"] = Json::array();  // filled at the end; it stands here among the keys
}

/** The host's name. Characters that a file's name should not have become dashes. */
static std::string host_name() {
  utsname system{};
  uname(&system);
  std::string name = std::string(system.nodename).substr(0, 64);
  for (char &c : name) {
    const bool is_good = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.';
    if (!is_good) c = '-';
  }
  return name.empty() ? "switch" : name;
}

/** Reads the board into the archive. The content of the flash is large: it is written while it is read. Everything else
 *  follows, the report itself first. */
static void write_archive(Report &report, TarWriter &archive, bool with_flash) {
  report_board(report);
  report_environment(report);
  report_modules(report);
  report_flash(report, with_flash ? &archive : nullptr);
  report.data["not_read"] = report.not_read;
  const std::string json = report.data.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
  archive.add("report.json", bytes_of(json));
  archive.add("summary.txt", bytes_of(report_summary(report)));
  for (const Report::File &file : report.files) archive.add(file.name, file.bytes);
  archive.finish();
}

/** Where the archive goes: a file, or for "-" the program's output. */
class Destination {
 public:
  explicit Destination(const std::string &path) {
    if (path != "-") file_.emplace(path, "--output");
  }

  bool is_file() const { return file_.has_value(); }
  uint64_t size() const { return size_; }
  void write(Bytes bytes) {
    size_ += bytes.size();
    if (file_)
      file_->write(bytes);
    else
      std::fwrite(bytes.data(), 1, bytes.size(), out);
  }
  void commit() {
    if (file_) file_->commit();
  }

 private:
  std::optional<OutputFile> file_;
  uint64_t size_ = 0;
};

/** A report of a board that is out of order is a success, too. */
static void mention_not_read(const Report &report) {
  const size_t count = report.not_read.size();
  const char *things = count == 1 ? "thing" : "things";
  if (count > 0) complain(format("%zu %s could not be read: the report says which, and why", count, things), 0);
}

static void show_result(const Report &report, const std::string &path, uint64_t size) {
  const bool has_flash = !report.data["flash"]["content"].is_null();
  show(record("file", path, "size", size, "modules", report.data["modules"].size(), "flash", has_flash, "not_read",
              report.not_read.size()));
}

/** True if a bracket expression has no end. A ']' that comes first in it does not end it. */
static bool has_open_bracket(const std::string &pattern) {
  size_t at = pattern.find('[');
  while (at != std::string::npos) {
    size_t first = at + 1;
    const bool is_negated = pattern[first] == '!' || pattern[first] == '^';  // a NUL behind the last character
    if (is_negated) ++first;
    const size_t end = pattern.find(']', first + 1);
    if (end == std::string::npos) return true;
    at = pattern.find('[', end + 1);
  }
  return false;
}

static void check_patterns(const Patterns &patterns) {
  for (const std::string &pattern : patterns) {
    if (pattern.empty()) refuse_argument("--redact", "'' matches no name");
    if (has_open_bracket(pattern))
      refuse_argument("--redact", "'" + escaped(pattern) + "' has a bracket that does not end");
  }
}

static void make_report(const ReportOptions &options) {
  check_patterns(options.further_secrets);
  const std::time_t now = std::time(nullptr);
  const std::string host = host_name();
  const std::string folder = "zelboard-report-" + host + "-" + utc_text(now, "%Y%m%dT%H%M%SZ");
  const std::string path = options.path.empty() ? folder + ".tar.gz" : options.path;
  const bool to_terminal = path == "-" && isatty(fileno(out)) != 0;
  if (to_terminal) refuse_argument("--output", "an archive is nothing for a terminal");
  umask(S_IRWXG | S_IRWXO);       // a new file is the owner's alone: a report tells much of a network
  Destination destination(path);  // before the board is read, which takes long
  hold_signals();
  GzipWriter compressed([&](Bytes bytes) { destination.write(bytes); });
  TarWriter archive([&](Bytes bytes) { compressed.write(bytes); }, folder, now);
  Report report;
  report.secrets = {"*pass*", "*key*", "*secret*"};
  report.secrets.insert(report.secrets.end(), options.further_secrets.begin(), options.further_secrets.end());
  describe_origin(report, host, now);
  write_archive(report, archive, options.with_flash);
  compressed.finish();
  destination.commit();
  mention_not_read(report);
  if (destination.is_file()) show_result(report, path, destination.size());
}

void add_report_command(App &app) {
  const auto options = std::make_shared<ReportOptions>();
  App *leaf = command(
      app, "report",
      "Everything that can be read of the board, in one archive; changes nothing but the cage selection and the "
      "modules' latched flags, which reading clears",
      "report -o switch.tar.gz --flash", [options] { make_report(*options); });
  add_output_option(leaf, options->path);
  add_flag(leaf, "--flash", options->with_flash, "Include the content of the flash");
  add_texts(leaf, "--redact", options->further_secrets,
            "Also blank variables of the boot environment with such names (always: *pass*, *key*, *secret*)",
            "PATTERN");
}
