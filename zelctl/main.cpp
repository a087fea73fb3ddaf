#include <unistd.h>

#include <CLI/CLI.hpp>
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

using Family = void (*)(App &app);
/** In the order of the help. */
constexpr Family kFamilies[] = {
    add_indicator_commands,  add_system_commands,  add_register_commands,    add_i2c_commands,    add_clock_commands,
    add_temperature_command, add_port_commands,    add_panel_command,        add_sfp_commands,    add_flash_commands,
    add_firmware_commands,   add_backup_commands,  add_environment_commands, add_mac_commands,    add_database_commands,
    add_identity_commands,   add_selftest_command, add_monitor_command,      add_metrics_command, add_report_command,
    add_session_command};

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
  for (const Family add : kFamilies) add(*app);
  return end_program(run_program(*app, argc, argv, work));
}
