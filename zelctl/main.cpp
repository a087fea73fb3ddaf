#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <climits>
#include <cstring>

#include "tool.h"

const char *const kProgram = "zelctl";

/** Starts this same program again, on the virtual switch. Returns only when that fails. */
static int run_on_virtual_switch(std::vector<char *> arguments) {
  char self[PATH_MAX] = "";
  if (readlink("/proc/self/exe", self, sizeof self - 1) < 0) return complain("/proc/self/exe cannot be read", 1);
  std::string folder = self;
  folder.erase(folder.rfind('/') + 1);
  const std::string zelsim_beside = folder + "zelsim";
  std::string words[] = {"zelsim", "run", "--"};
  arguments[0] = self;
  arguments.insert(arguments.begin(), {words[0].data(), words[1].data(), words[2].data()});
  arguments.push_back(nullptr);
  execv(zelsim_beside.c_str(), arguments.data());
  execvp("zelsim", arguments.data());
  return complain(std::string("--sim: zelsim cannot be run: ") + std::strerror(errno), 1);
}

/** Does what the command line asks for. */
static void work() {
  if (!chosen_action()) throw CLI::RequiredError("A command");  // in the parser's words, which program.cpp replaces
  start_output();
  say_when_ended("interrupted");
  chosen_action()();
  const auto failure = take_postponed();
  if (failure) throw Failure(*failure);
}

struct Family {
  const char *commands;  // those that it adds, or adds sub-commands to
  void (*add)(App &app);
};
/** In the order of the help. */
constexpr Family kFamilies[] = {
    {"led relay lamp-test", add_indicator_commands},
    {"watchdog flags reset-key power", add_system_commands},
    {"register phy", add_register_commands},
    {"i2c", add_i2c_commands},
    {"clock", add_clock_commands},
    {"temperature", add_temperature_command},
    {"board ports cage", add_port_commands},
    {"panel", add_panel_command},
    {"sfp", add_sfp_commands},
    {"flash backup restore crc", add_flash_commands},  // the backup commands add to its command
    {"firmware", add_firmware_commands},
    {"flash backup restore crc", add_backup_commands},
    {"env", add_environment_commands},
    {"mac-backup", add_mac_commands},
    {"db", add_database_commands},
    {"identity", add_identity_commands},
    {"selftest", add_selftest_command},
    {"monitor", add_monitor_command},
    {"metrics", add_metrics_command},
    {"report", add_report_command},
    {"session", add_session_command},
};

/** The families of a command; all families if it is none: the help or the error then names them all. Only these are set up:
 *  setting up all of them takes longer than most commands. */
static std::vector<Family> families_of(const std::string &name) {
  std::vector<Family> meant;
  for (const Family &family : kFamilies) {
    const std::vector<std::string> commands = split(family.commands, ' ');
    if (std::ranges::find(commands, name) != commands.end()) meant.push_back(family);
  }
  if (meant.empty()) meant.assign(std::begin(kFamilies), std::end(kFamilies));
  return meant;
}

/** The first word that is no switch. Switches before it take no value. */
static std::string command_in(const std::vector<char *> &arguments) {
  for (size_t at = 1; at < arguments.size(); ++at) {
    if (arguments[at][0] != '-') return arguments[at];
  }
  return "";
}

int main(int argc, char **argv) {
  open_standard_descriptors(true);
  say_when_ended("interrupted: nothing was changed");
  std::vector<char *> arguments(argv, argv + argc);
  if (argc > 1 && std::strcmp(argv[1], "--sim") == 0) {
    arguments.erase(arguments.begin() + 1);
    return run_on_virtual_switch(std::move(arguments));
  }

  const auto app = command_line("Operates the switch's board: LEDs, ports, modules, clock, power and flash.",
                                "Example: zelctl ports\nExit status: 0 done, 1 the board said no, 2 wrong usage.");
  app->add_flag("--json", settings.json, "Print data as JSON");
  app->add_flag("-v,--verbose", settings.verbose, "Show what the library prints");
  app->add_flag_callback(
      "--sim", [] { refuse_argument("--sim", "must be the first argument"); },
      "First argument only: run on the default virtual switch");
  app->require_subcommand(0, 1);
  for (const Family &family : families_of(command_in(arguments))) family.add(*app);
  return end_program(run_program(*app, argc, argv, work));
}
