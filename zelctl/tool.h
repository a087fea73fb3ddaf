/** @file
 *  What every command family uses: the command tree, the board's refusals, and output. */
#ifndef ZELCTL_TOOL_H
#define ZELCTL_TOOL_H

#include <chrono>
#include <functional>
#include <optional>

#include "../cli/file.h"
#include "../cli/output.h"
#include "../cli/program.h"

using App = CLI::App;

/* ---- the command tree ---- */

/** Switches that every command takes. */
struct Settings {
  bool json = false;
  bool verbose = false;
  bool colour = false;
  bool yes = false;
  bool dry_run = false;
};
extern Settings settings;

using Action = std::function<void()>;
/** An action that writes the flash or a file: if a signal ends it before it writes, a line says that nothing was
 *  changed. From then on it holds signals itself. */
Action announced(const Action &action);
using Choices = std::vector<std::pair<std::string, uint32_t>>;
inline const Choices kOnOff{{"off", 0}, {"on", 1}};

/** Adds a command. A command without an action needs a sub-command; one with an action may have some. The action of the
 *  innermost command on the line runs once the whole line was accepted (see `chosen_action`). */
App *command(App &parent, const char *name, const char *what, const char *example, const Action &action = {});
/** Adds a command that without a sub-command does what its sub-command `usual` does, and that sub-command. */
App *group(App &parent, const char *name, const char *what, const char *example, const char *usual,
           const Action &action);
const Action &chosen_action();
/** A command that `group` or `command` has added. */
App *command_named(App &parent, const char *name);

/** Turns an argument into the text that its value is read from. @return what is wrong with it, or nothing */
using ArgumentCheck = std::function<std::string(std::string &text)>;
/** Refuses what is no whole number from `low` to `high`, decimal or with 0x; leading zeros make no octal number. */
ArgumentCheck whole_number(uint32_t low, uint32_t high);

/** ByName: a positional argument is required, an option, whose name begins with a dash, is not. */
enum class Needed { ByName, Always, Never };
/** A number that the check makes of the argument. Help shows the form. */
void checked(App *app, const char *name, uint32_t &value, const char *what, const std::string &form,
             const ArgumentCheck &check, Needed needed = Needed::ByName);
/** A whole number, decimal or with 0x, from `low` to `high`, and several of them. */
void number(App *app, const char *name, uint32_t &value, const char *what, uint32_t low, uint32_t high,
            Needed needed = Needed::ByName);
void bytes(App *app, const char *name, std::vector<uint32_t> &values, const char *what);
/** One of a few words, or their numbers where the first word is "off".
 *  @param also  more words that are taken, which help does not show */
void choice(App *app, const char *name, uint32_t &value, const char *what, const Choices &choices,
            const Choices &also = {});
/** Any text, or only what the check takes. */
void any_text(App *app, const char *name, std::string &value, const char *what, const ArgumentCheck &check = {});
/** The same, as often as it is wanted. */
void any_texts(App *app, const char *name, std::vector<std::string> &values, const char *what, const std::string &form);
/** A switch without a value. */
void flag(App *app, const char *name, bool &value, const char *what);
/** The argument FILE: an ordinary file that exists. */
void input_file(App *app, std::string &path, const char *what);
/** The argument FILE: a file to write. */
void output_file(App *app, std::string &path);
/** The option -o: a file to write, or - for standard output. */
void output_option(App *app, std::string &path);
/** The switches --yes and --dry-run of a command that asks first. */
void asks_first(App *app);
/** Asks on the terminal; with --yes it does not. Throws unless the answer is yes. */
void confirm(const std::string &question);
/** The switch --allow-empty of a command that stores a file. */
void allow_empty_option(App *app, bool &allow_empty);
/** Refuses a file without bytes unless --allow-empty was given. */
void require_bytes(const std::string &path, uint64_t size, bool allow_empty);

/** Adds the commands of one family. */
using Family = void(App &app);
Family add_indicator_commands, add_system_commands, add_register_commands, add_i2c_commands, add_clock_commands,
    add_temperature_command, add_port_commands, add_panel_command, add_sfp_commands, add_flash_commands,
    add_firmware_commands, add_backup_commands, add_environment_commands, add_mac_commands, add_database_commands,
    add_identity_commands, add_selftest_command, add_monitor_command, add_metrics_command, add_report_command,
    add_session_command;
/** Part of the family "flash". */
Family add_flash_update;

/* ---- the board said no ---- */

/** "FW_ABSENT", "0x00000012", or "ok" for 0. */
std::string status_name(uint32_t status);
/** Throws a Failure unless the status is 0: its name, what was tried, and what the status means there. */
void require(uint32_t status, const std::string &what);
/** One byte of the board's state; throws if it cannot be read. */
uint8_t byte_of(const std::function<uint32_t(uint8_t *byte)> &read, const std::string &what);
/** Throws a Failure if a device node cannot be opened: for calls that cannot tell that the board is missing.
 *  @param before  what the line begins with: what was tried */
void require_board(const std::string &before = "");
/** For a call that runs debugCmd, whose failure the library does not tell: throws a Failure if it failed or hung. */
void require_debug_command(const std::string &what);
/** For a command that goes on to show the rest: at its end it fails with the first of these failures. */
void postpone(const Failure &failure);
/** The first failure since the last call, if any. */
std::optional<Failure> take_postponed();

/* ---- output ---- */

/** Separates the tool's own output from what the library prints: that is hidden, or with -v shown (on stderr beside
 *  JSON). */
void start_output();

/** What a call returned, and what the library and debugCmd printed meanwhile. */
struct Printed {
  uint32_t status;
  std::string text;
};
Printed printed_by(const std::function<uint32_t()> &call);

inline void show(const Json &data) { print(data, settings.json); }
/** Prints bytes as a hex dump; repeated lines become one asterisk. */
void hexdump(std::span<const uint8_t> bytes, uint32_t address);
/** Progress of long work: a bar with rate and time left, on a screen only. */
class Progress {
 public:
  Progress(const char *what, uint64_t total);
  /** Takes the bar away. */
  ~Progress();

  /** Shows how far the pass is; a step back is the next pass of several. */
  void at(uint64_t done);

 private:
  using Clock = std::chrono::steady_clock;
  void draw();

  const char *what_;
  const uint64_t total_;
  uint64_t done_ = 0;
  Clock::time_point start_ = Clock::now();
  Clock::time_point drawn_ = start_;
  const bool visible_;
};

#endif
