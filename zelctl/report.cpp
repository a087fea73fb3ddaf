#include "report.h"

#include <dlfcn.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <climits>

static std::string path;
static bool with_flash;
static Patterns further_secrets;

static void refuse_to_go_on() {
  if (interrupted()) throw Failure{"interrupted: no report was written, and nothing was changed"};
}

Json Report::ask(const std::string &what, const std::function<Json()> &question) {
  refuse_to_go_on();
  Json answer;
  try {
    answer = question();
  } catch (const Failure &failure) {
    note(what, failure.what());
  }
  if (const auto postponed = take_postponed()) note(what, postponed->what());
  refuse_to_go_on();
  return answer;
}

void Report::note(const std::string &what, const std::string &why) {
  Json row = record("what", what, "why", why);
  for (const Json &known : not_read)
    if (known == row) return;
  not_read.push_back(std::move(row));
}

void Report::add_file(const std::string &name, std::vector<uint8_t> bytes) {
  files.push_back({name, std::move(bytes)});
}

/** The file that the library was loaded from; its name has the version. */
static Json library_file() {
  Dl_info info{};
  char resolved[PATH_MAX] = "";
  if (dladdr(reinterpret_cast<const void *>(&FW_ReadFlash), &info) == 0) return {};
  return realpath(info.dli_fname, resolved) != nullptr ? resolved : info.dli_fname;
}

static void describe_origin(Report &report, const std::string &host, std::time_t now) {
  char created[32];
  std::strftime(created, sizeof created, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
  utsname kernel{};
  uname(&kernel);
  append(report.data, "format", "zelboard-report", "version", kReportVersion, "created", created, "host", host, "tool",
         std::string(kProgram) + " " ZELBOARD_VERSION, "library", library_file(), "kernel",
         std::string(kernel.sysname) + " " + kernel.release + " " + kernel.machine, "not_read", Json::array());
}

/** The host's name in characters that a file may have. */
static std::string host_name() {
  utsname system{};
  uname(&system);
  std::string name = std::string(system.nodename).substr(0, 64);
  for (char &c : name)
    if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '-' && c != '.') c = '-';
  return name.empty() ? "switch" : name;
}

/** The flash comes first, as it is read; the report, which tells of it, and what is small behind it. */
static void write_archive(Report &report, TarWriter &archive) {
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

static void make_report() {
  const std::time_t now = std::time(nullptr);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", std::gmtime(&now));
  const std::string host = host_name(), folder = "zelboard-report-" + host + "-" + stamp;
  if (path.empty()) path = folder + ".tar.gz";
  if (path == "-" && isatty(fileno(out)) != 0) refuse_argument("--output", "an archive is nothing for a terminal");
  std::optional<OutputFile> file;  // before the board is read, which takes long
  if (path != "-") file.emplace(path, "--output");
  hold_signals();
  uint64_t size = 0;
  GzipWriter compressed([&](Bytes bytes) {
    size += bytes.size();
    if (file)
      file->write(bytes);
    else
      std::fwrite(bytes.data(), 1, bytes.size(), out);
  });
  TarWriter archive([&](Bytes bytes) { compressed.write(bytes); }, folder, now);
  Report report;
  report.secrets = {"*pass*", "*key*", "*secret*"};
  report.secrets.insert(report.secrets.end(), further_secrets.begin(), further_secrets.end());
  describe_origin(report, host, now);
  write_archive(report, archive);
  compressed.finish();
  if (file) file->commit();
  // A report of a board that is out of order is what was asked for.
  if (const size_t missing = report.not_read.size(); missing > 0)
    complain(format("%zu things could not be read: the report says which, and why", missing), 0);
  if (!file) return;
  show(record("file", path, "size", size, "modules", report.data["modules"].size(), "flash",
              !report.data["flash"]["content"].is_null(), "not_read", report.not_read.size()));
}

void add_report_command(App &app) {
  App *leaf = command(app, "report", "Everything that can be read of the board, in one archive; changes nothing",
                      "report -o switch.tar.gz --flash", make_report);
  output_option(leaf, path);
  flag(leaf, "--flash", with_flash, "With the content of the flash");
  any_texts(leaf, "--redact", further_secrets,
            "Blank these variables of the boot environment, beside *pass*, *key* and *secret*", "PATTERN");
}
