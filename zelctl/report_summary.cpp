#include <algorithm>

#include "../cli/captured.h"
#include "report.h"

/** The text that `print` makes of data. */
static std::string printed(const Json &data) {
  Captured captured(out);
  print(data, false);
  return captured.text();
}

/** A part of the summary.
 *  @param without  what it says if there is no data */
static std::string part(const std::string &title, const Json &data, const std::string &without) {
  const std::string heading = "\n" + title + "\n" + std::string(title.size(), '-') + "\n";
  const bool empty = data.is_null() || (data.is_structured() && data.empty());
  return empty ? heading + without + "\n" : heading + printed(data);
}

/** Adds the state of a quantity if it is unusual. Then adds, for each side, the most severe limit that its latched
 *  flags name: "temperature high alarm latched". */
static void add_standings(std::string &state, const Json &measured) {
  const std::string quantity = measured["quantity"];
  const std::string standing = measured["state"];
  const bool is_usual = standing == "normal" || standing == "no limits";
  if (!is_usual) add_item(state, quantity + " " + standing);
  const auto is_latched = [&](const std::string &flag) {
    return std::find(measured["flags"].begin(), measured["flags"].end(), flag) != measured["flags"].end();
  };
  for (const std::string side : {"high", "low"}) {
    const std::string alarm = side + " alarm";
    const std::string warning = side + " warning";
    std::string worst;
    if (is_latched(warning)) worst = warning;
    if (is_latched(alarm)) worst = alarm;
    // The state that was added names it already.
    const bool is_told = standing == alarm || standing == worst;
    if (!worst.empty() && !is_told) add_item(state, quantity + " " + worst + " latched");
  }
}

/** @param page         page A0h, decoded
 *  @param diagnostics  null = there are none, or they could not be read */
static std::string state_of(const Json &page, const Json &diagnostics) {
  const Json &monitoring = page["monitoring"];
  const bool has_any = std::find(monitoring.begin(), monitoring.end(), "implemented") != monitoring.end();
  if (!has_any) return "no diagnostics";
  if (!diagnostics.is_object()) return "not read";
  if (diagnostics["ready"] == false) return "not ready";
  std::string state;
  for (const Json &measured : diagnostics["measured"]) add_standings(state, measured);
  return state.empty() ? "normal" : state;
}

/** Temperature, powers, and the limits that are or were crossed. */
static void add_measured(Json &row, const Json &page, const Json &diagnostics) {
  const bool has_values = diagnostics.is_object() && diagnostics["ready"] == true;
  row["temperature"] = has_values ? diagnostics["temperature_celsius"] : Json();
  row["tx_dbm"] = has_values ? diagnostics["tx_power_dbm"] : Json();
  row["rx_dbm"] = has_values ? diagnostics["rx_power_dbm"] : Json();
  row["state"] = state_of(page, diagnostics);
}

/** What an operator looks at first. */
static Json alarms(const Json &data) {
  const auto member = [](const Json &object, const char *key) { return object.is_object() ? object[key] : Json(); };
  const Json &chip = data["temperature"]["chip"];
  Json key = member(data["reset"], "reset_key");
  if (key.is_number()) key = key == 0 ? "released" : "pressed";
  return record("temperature", member(chip, "degrees"), "power_alarm", member(data["power"], "alarm"), "supply_1_good",
                member(data["power"], "supply_1_good"), "supply_2_good", member(data["power"], "supply_2_good"),
                "relay", data["relay"], "reset_key", key, "watchdog", member(data["watchdog"], "enabled"));
}

/** One line for each module. Everything on its page is in report.json. */
static Json module_rows(const Json &modules) {
  Json rows = Json::array();
  for (const Json &module : modules) {
    const Json &page = module["decoded"];
    Json row = record("port", module["port"]);
    for (const char *key : {"vendor", "part_number", "serial_number", "rate_mbd"}) row[key] = page[key];
    add_measured(row, page, module["diagnostics"]);
    row["checksums"] = module["checksums"];
    rows.push_back(row);
  }
  return rows;
}

static std::string contents(const Report &report) {
  std::string text = "summary.txt       this page\nreport.json       everything, for programs\n";
  if (report.data.contains("environment") && !report.data["environment"].is_null())
    text += "environment.bin   the boot environment's 64 KiB\n";
  if (!report.data["modules"].empty())
    text += "modules/          the modules' pages: a0 identification, a2 diagnostics (SFF-8472), 256 bytes each\n";
  if (!report.data["flash"]["content"].is_null()) text += "flash.bin         the flash chip's 32 MiB\n";
  return text;
}

/** Says which variables were blanked. */
static std::string redacted(const Json &redaction) {
  std::string patterns;
  for (const Json &pattern : redaction["patterns"]) add_item(patterns, pattern, " ");
  std::string names;
  for (const Json &name : redaction["variables"]) add_item(names, name);
  const std::string text = "Variables of the boot environment whose names match " + patterns + " are blanked";
  if (names.empty()) return text + "; there are none.\n";
  return text + ": " + names + ".\n";
}

std::string report_summary(const Report &report) {
  const Json &data = report.data;
  std::string text = "Report of the switch " + data["host"].get<std::string>() + ", " +
                     data["created"].get<std::string>() + "\nmade by " + data["tool"].get<std::string>() + "\n\n" +
                     contents(report) + "\n" + redacted(data["redacted"]);
  text += part("Not read", report.not_read, "Everything was read.");
  text += part("Alarms", alarms(data), "-");
  text += part("Identity", data["identity"], "-");
  text += part("Slots", data["slots"], "-");
  text += part("Power", data["power"], "-");
  text += part("LEDs", data["leds"], "-");
  text += part("Clock", data["clock"], "-");
  text += part("Temperature", data["temperature"], "-");
  text += part("Ports", data["ports"], "-");
  text += part("Modules", module_rows(data["modules"]), "none");
  text += part("Flash", data["flash"].value("regions", Json()), "-");
  text += part("Images", data["flash"].value("images", Json()), "-");
  text += part("Databases", data["databases"], "-");
  const Json &boot = data["environment"];
  text += part("Boot environment", boot.is_object() ? boot["variables"] : Json(), "-");
  return text;
}
