#include <unistd.h>

#include <memory>

#include "optics.h"
#include "optics_bar.h"

constexpr uint32_t kAllPorts = FW_PORTS;
enum PageChoice : uint32_t { kAllPages, kPageA0, kPageA2 };

struct ModuleDumpOptions {
  uint32_t port = 0;
  uint32_t page = kAllPages;
  bool raw = false;
  bool hex = false;
  std::string output;
};

/** As "rx_power_low". */
static std::vector<std::string> raised(const Diagnostics &diagnostics, bool alarms) {
  std::vector<std::string> names;
  for (const Measurement &measurement : diagnostics.measured) {
    const double value = measurement.value;
    const double high = alarms ? measurement.high_alarm : measurement.high_warning;
    const double low = alarms ? measurement.low_alarm : measurement.low_warning;
    const bool high_flag = alarms ? measurement.high_alarm_flag : measurement.high_warning_flag;
    const bool low_flag = alarms ? measurement.low_alarm_flag : measurement.low_warning_flag;
    const std::string key = measurement.key;
    if (high_flag || (measurement.limited && value > high)) names.push_back(key + "_high");
    if (low_flag || (measurement.limited && value < low)) names.push_back(key + "_low");
  }
  return names;
}

static Json empty_row(uint32_t of_port) {
  return record("port", of_port, "module", nullptr, "diagnostics", "none", "temperature", nullptr, "voltage", nullptr,
                "bias", nullptr, "tx_power", nullptr, "rx_power", nullptr, "alarms", Json::array(), "warnings",
                Json::array());
}

static void fill_row(Json &row, uint32_t of_port) {
  std::array<uint8_t, kPageLength> identification{}, measured{};
  select_module(of_port);
  require_port(FW_I2C_BufRead(FW_SFP_MEMORY, 0, 1, kPageLength, identification.data()), of_port,
               "memory of the module");
  row["module"] = part_number_of(identification);
  if (!offers_diagnostics(identification)) return;
  require_port(FW_I2C_BufRead(kDiagnosticsMemory, 0, 1, kPageLength, measured.data()), of_port,
               "diagnostics of the module");
  const Diagnostics found = diagnostics_in(identification, measured);
  row["diagnostics"] = found.external ? "external" : "internal";
  if (!found.ready) return;
  for (const Measurement &measurement : found.measured)
    row[measurement.key] = people_number(measurement, measurement.value);
  row["alarms"] = raised(found, true);
  row["warnings"] = raised(found, false);
}

/** Ports with a module; what could not be read stays empty, and ends the command once the rest is shown. */
static Json all_modules() {
  Json rows = Json::array();
  for (const Json &signals : ports(Signals::OfModules)) {
    if (signals["module"] != true) continue;
    const auto of_port = signals["port"].get<uint32_t>();
    Json row = empty_row(of_port);
    try {
      fill_row(row, of_port);
    } catch (const Failure &failure) {
      row["diagnostics"] = status_name(failure.status);
      postpone(failure);
    }
    rows.push_back(row);
  }
  return rows;
}

static void show_all() {
  const Json rows = all_modules();
  if (rows.empty() && !settings.json) std::fprintf(out, "no port has a module\n");
  show(rows);
}

/** "on, no fault", of the bits that the module offers. */
static std::string status_text(const Json &all) {
  const struct {
    const char *key, *yes, *no;
  } kBits[] = {{"tx_disable", "transmitter disabled by the cage", "transmitter enabled by the cage"},
               {"soft_tx_disable", "disabled by the host", "not disabled by the host"},
               {"tx_fault", "transmitter fault", "no fault"},
               {"rx_los", "no light", "light"}};
  std::string text;
  for (const auto &bit : kBits) {
    const Json &value = all[bit.key];
    if (value.is_null()) continue;
    text += (text.empty() ? "" : ", ") + std::string(value.get<bool>() ? bit.yes : bit.no);
  }
  return text.empty() ? "not told" : text;
}

/** Thresholds and flags, a row a quantity. */
static Json limits_table(const Json &measured) {
  Json rows = Json::array();
  for (const Json &row : measured) {
    const std::string quantity = row["quantity"];
    Json shown = record("limits", quantity + " [" + row["unit"].get<std::string>() + "]");
    for (const char *key : {"low_alarm", "low_warning", "high_warning", "high_alarm"}) {
      const Json &value = row[key];
      const bool in_volts = quantity == "voltage";
      shown[key] = value.is_null() ? Json() : Json(format("%.*f", in_volts ? 2 : 1, value.get<double>()));
    }
    shown["flags"] = row["flags"];
    rows.push_back(shown);
  }
  return rows;
}

static void show_module(uint32_t port) {
  const DiagnosticPages pages = diagnostic_pages(port);
  const Json all = diagnostics_record(port, pages);
  if (settings.json) return show(all);
  const Diagnostics found = diagnostics_in(pages.identification, pages.diagnostics);
  show(record("port", port, "module", all["vendor"].get<std::string>() + " " + all["part_number"].get<std::string>(),
              "calibration", all["calibration"], "receiver", found.average_power ? "average power" : "OMA", "status",
              status_text(all), "checksum", all["checksum"]));
  std::fprintf(out, "\n");
  if (!found.ready) std::fprintf(out, "the module's values are not ready yet\n\n");
  for (const Measurement &measurement : found.measured) draw_measurement(measurement);
  std::fprintf(out, "\n");
  show(limits_table(all["measured"]));
}

static void show_diagnostics(uint32_t port) {
  if (port == kAllPorts) return show_all();
  show_module(port);
}

/** As ethtool prints a module's memory: 16 bytes a line. */
static std::string hex_lines(std::span<const uint8_t> bytes, size_t first) {
  constexpr size_t kLine = 16;
  std::string text = "Offset\t\tValues\n------\t\t------";
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i % kLine == 0) text += format("\n0x%04zx:\t\t", first + i);
    text += format("%02x ", bytes[i]);
  }
  return text + "\n";
}

static std::vector<uint8_t> chosen_pages(uint32_t port, uint32_t page) {
  if (page == kPageA2) return diagnostics_page(port);
  std::vector<uint8_t> bytes = identification_page(port);
  const ModulePage identification = std::span<const uint8_t>(bytes).first<kPageLength>();
  if (page == kPageA0 || !offers_diagnostics(identification)) return bytes;
  const std::vector<uint8_t> measured = diagnostics_page(port);
  bytes.insert(bytes.end(), measured.begin(), measured.end());
  return bytes;
}

static void write_raw(const std::vector<uint8_t> &bytes, const std::string &output) {
  const bool to_output = output.empty() || output == "-";
  if (to_output && isatty(fileno(out)) != 0) refuse_argument("--raw", "needs a file or a pipe: -o FILE");
  write_output(to_output ? "-" : output, bytes, "--output");
}

static void dump(const ModuleDumpOptions &options) {
  if (options.raw && options.hex) refuse_argument("--raw", "does not go with --hex");
  const std::vector<uint8_t> bytes = chosen_pages(options.port, options.page);
  const uint32_t first = options.page == kPageA2 ? kPageBytes : 0;  // page A2h stands behind page A0h
  if (options.hex) {
    const std::string text = hex_lines(bytes, first);
    return write_output(options.output.empty() ? "-" : options.output, bytes_of(text), "--output");
  }
  if (options.raw || !options.output.empty()) return write_raw(bytes, options.output);
  if (settings.json) return show(record("port", options.port, "data", hex_text(bytes)));
  hexdump(bytes, first);
}

static void add_dom(App &sfp) {
  const auto port = std::make_shared<uint32_t>(kAllPorts);
  App *app = command(sfp, "dom", "Digital diagnostics: values, thresholds and flags of one module, or all values",
                     "sfp dom 24", [port] { show_diagnostics(*port); });
  number(app, "PORT", *port, "Port (default: all with a module)", 0, FW_PORT_LAST, Needed::Never);
}

static void add_dump(App &sfp) {
  const auto options = std::make_shared<ModuleDumpOptions>();
  App *app =
      command(sfp, "dump", "A module's memory: page A0h, and A2h of a module with diagnostics",
              "sfp dump 24 --hex\n  zelctl sfp dump 24 --page a2 --raw -o page.bin", [options] { dump(*options); });
  number(app, "PORT", options->port, "Port", 0, FW_PORT_LAST);
  choice(app, "--page", options->page, "Which page (default: all)",
         {{"all", kAllPages}, {"a0", kPageA0}, {"a2", kPageA2}});
  flag(app, "--raw", options->raw, "The bytes themselves, as with -o");
  flag(app, "--hex", options->hex, "As ethtool prints them");
  output_option(app, options->output);
}

void add_optics_commands(App &sfp) {
  add_dom(sfp);
  add_dump(sfp);
}
