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

/** The column of a quantity: for programs it has the unit, as in the record of one module. */
struct QuantityColumn {
  const char *for_people;
  const char *for_programs;
};
constexpr QuantityColumn kQuantityColumns[] = {{"temperature", "temperature_celsius"},
                                               {"voltage", "voltage_volts"},
                                               {"bias", "bias_milliamperes"},
                                               {"tx_power", "tx_power_dbm"},
                                               {"rx_power", "rx_power_dbm"}};
static_assert(std::size(kQuantityColumns) == kQuantities);

static std::string shown_name(const QuantityColumn &column) {
  return settings.json ? column.for_programs : column.for_people;
}

/** The column of a quantity. People see its key. */
static std::string column_of(const std::string &key) {
  for (const QuantityColumn &column : kQuantityColumns) {
    if (column.for_people == key) return shown_name(column);
  }
  throw std::logic_error("no column for " + key);
}

/** A row of the table of all modules, without values. */
static Json empty_row(uint32_t port) {
  Json row = record("port", port, "module", nullptr, "diagnostics", "none");
  for (const QuantityColumn &column : kQuantityColumns) row[shown_name(column)] = nullptr;
  row["alarms"] = Json::array();
  row["warnings"] = Json::array();
  return row;
}

/** Adds a value, and the limits that it has crossed: as "rx_power_low". */
static void add_measurement(Json &row, const Measurement &measurement) {
  const std::string key = measurement.key;
  const Crossed crossed = limits_crossed(measurement);
  if (is_known(measurement)) row[column_of(key)] = people_number(measurement, measurement.value);
  if (crossed.high_alarm) row["alarms"].push_back(key + "_high");
  if (crossed.low_alarm) row["alarms"].push_back(key + "_low");
  if (crossed.high_warning) row["warnings"].push_back(key + "_high");
  if (crossed.low_warning) row["warnings"].push_back(key + "_low");
}

static void fill_row(Json &row, uint32_t port) {
  select_module(port);
  const LowerHalf identification = read_lower_half(port, FW_SFP_MEMORY, kIdentificationText);
  row["module"] = part_number_of(identification);
  if (!announces_diagnostics(identification)) return;
  if (needs_address_change(identification)) {
    row["diagnostics"] = "address change";
    return;
  }
  const LowerHalf measured = read_lower_half(port, kDiagnosticsMemory, kDiagnosticsText);
  const Diagnostics found = diagnostics_in(identification, measured);
  row["diagnostics"] = found.ready ? calibration_name(found) : "not ready";
  if (!found.ready) return;
  for (const Measurement &measurement : found.measured) add_measurement(row, measurement);
}

/** A row for each port with a module. A value that cannot be read stays empty; the command fails after all rows. */
static Json all_modules() {
  Json rows = Json::array();
  for (const Json &signals : ports(ReadSignals::OfModulesOnly)) {
    if (signals["module"] != true) continue;
    const auto port = signals["port"].get<uint32_t>();
    Json row = empty_row(port);
    try {
      fill_row(row, port);
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

/** A status bit of a module, in words. */
struct StatusBit {
  const char *key;
  const char *yes;
  const char *no;
};
constexpr StatusBit kStatusBits[] = {
    {"tx_disable", "transmitter disabled by the cage", "transmitter enabled by the cage"},
    {"soft_tx_disable", "disabled by the host", "not disabled by the host"},
    {"tx_fault", "transmitter fault", "no fault"},
    {"rx_los", "no light", "light"}};

/** The bits that the module has: "transmitter enabled by the cage, no fault". */
static std::string status_text(const Json &all) {
  std::string text;
  for (const StatusBit &bit : kStatusBits) {
    const Json &value = all[bit.key];
    if (value.is_null()) continue;
    add_item(text, value == true ? bit.yes : bit.no);
  }
  return text.empty() ? "not told" : text;
}

/** Thresholds and flags, one row for each quantity. */
static Json limits_table(const Json &measured) {
  Json rows = Json::array();
  for (const Json &row : measured) {
    const std::string quantity = row["quantity"];
    const std::string unit = row["unit"];
    const int decimals = quantity == "voltage" ? 2 : 1;
    Json shown = record("limits", quantity + " [" + unit + "]");
    for (const char *key : {"low_alarm", "low_warning", "high_warning", "high_alarm"}) {
      const Json &limit = row[key];
      shown[key] = nullptr;
      if (!limit.is_null()) shown[key] = decimal_text(limit.get<double>(), decimals);
    }
    shown["flags"] = row["flags"];
    rows.push_back(shown);
  }
  return rows;
}

static void show_module(uint32_t port) {
  const LowerHalves pages = lower_halves(port);
  const Json all = diagnostics_record(port, pages);
  if (settings.json) {
    show(all);
    return;
  }
  const Diagnostics found = diagnostics_in(pages.identification, pages.diagnostics);
  const std::string vendor = all["vendor"];
  const std::string part_number = all["part_number"];
  Json module = record("port", port, "module", vendor + " " + part_number);
  module["calibration"] = all["calibration"];
  if (found.calibration == CalibrationKind::NotTold) module["calibration"] = "not told: read as internal";
  module["receiver"] = found.average_power ? "average power" : "OMA";
  module["status"] = status_text(all);
  module["checksum"] = all["checksum"];
  show(module);
  std::fprintf(out, "\n");
  if (found.ready) {
    for (const Measurement &measurement : found.measured) draw_measurement(measurement);
  } else {
    std::fprintf(out, "the module's values are not ready yet\n");
  }
  std::fprintf(out, "\n");
  show(limits_table(all["measured"]));
}

static void show_diagnostics(uint32_t port) {
  if (port == kAllPorts)
    show_all();
  else
    show_module(port);
}

/** The bytes as ethtool prints a module's memory: 16 in each line. */
static std::string hex_lines(std::span<const uint8_t> bytes, size_t offset) {
  constexpr size_t kLine = 16;
  std::string text = "Offset\t\tValues\n------\t\t------";
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i % kLine == 0) text += format("\n0x%04zx:\t\t", offset + i);
    text += format("%02x ", bytes[i]);
  }
  return text + "\n";
}

/** If only page A2h cannot be read, page A0h remains, and the command fails at its end. */
static std::vector<uint8_t> chosen_pages(uint32_t port, uint32_t page) {
  if (page == kPageA2) return whole_diagnostics(port);
  std::vector<uint8_t> bytes = whole_identification(port);
  const ModulePage identification = std::span<const uint8_t>(bytes).first<kPageLength>();
  if (page == kPageA0 || !can_read_diagnostics(identification)) return bytes;
  try {
    const std::vector<uint8_t> measured = whole_diagnostics(port);
    bytes.insert(bytes.end(), measured.begin(), measured.end());
  } catch (const Failure &failure) {
    postpone(Failure{std::string("page A2h is missing: ") + failure.what(), failure.status});
  }
  return bytes;
}

static void write_raw(const std::vector<uint8_t> &bytes, const std::string &output) {
  const bool to_terminal = output == "-" && isatty(fileno(out)) != 0;
  if (to_terminal) refuse_argument("--raw", "needs a file or a pipe: -o FILE");
  write_output(output, bytes, "--output");
}

static void dump(const ModuleDumpOptions &options) {
  if (options.raw && options.hex) refuse_argument("--raw", "does not go with --hex");
  const bool has_form = options.raw || options.hex || !options.output.empty();
  if (settings.json && has_form) refuse_argument("--json", "does not go with --raw, --hex or --output");
  const std::vector<uint8_t> bytes = chosen_pages(options.port, options.page);
  const uint32_t offset = options.page == kPageA2 ? kPageBytes : 0;  // page A2h stands behind page A0h
  const std::string output = options.output.empty() ? "-" : options.output;
  if (options.hex) {
    const std::string text = hex_lines(bytes, offset);
    write_output(output, bytes_of(text), "--output");
  } else if (options.raw || !options.output.empty()) {
    write_raw(bytes, output);
  } else if (settings.json) {
    show(record("port", options.port, "data", hex_text(bytes)));
  } else {
    hexdump(bytes, offset);
  }
}

static void add_dom(App &sfp) {
  const auto port = std::make_shared<uint32_t>(kAllPorts);
  App *app =
      command(sfp, "dom",
              "Digital diagnostics: values, thresholds and flags of one module, or all values; clears latched flags",
              "sfp dom 24", [port] { show_diagnostics(*port); });
  add_number(app, "PORT", *port, "Port (default: all with a module)", 0, FW_PORT_LAST, Needed::Never);
}

static void add_dump(App &sfp) {
  const auto options = std::make_shared<ModuleDumpOptions>();
  App *app =
      command(sfp, "dump", "A module's memory: page A0h, and A2h of a module with diagnostics; clears latched flags",
              "sfp dump 24 --hex\n  zelctl sfp dump 24 --page a2 --raw -o page.bin", [options] { dump(*options); });
  add_number(app, "PORT", options->port, "Port", 0, FW_PORT_LAST);
  add_choice(app, "--page", options->page, "Which page (default: all)",
             {{"all", kAllPages}, {"a0", kPageA0}, {"a2", kPageA2}});
  add_flag(app, "--raw", options->raw, "Write the bytes themselves; -o FILE does so, too");
  add_flag(app, "--hex", options->hex, "Write hexadecimal lines like those of ethtool");
  add_output_option(app, options->output);
}

void add_optics_commands(App &sfp) {
  add_dom(sfp);
  add_dump(sfp);
}
