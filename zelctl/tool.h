/** @file
 *  What every family of commands uses: the command tree, failures of the board, and output. */
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

/** What the switches have set. Every command takes --json and --verbose; the others belong to some commands. */
struct Settings {
  bool json = false;
  bool verbose = false;
  bool colour = false;
  bool yes = false;
  bool dry_run = false;
};
extern Settings settings;

/** What a command does. A signal ends it with the line "interrupted", unless one of the next two functions wraps it. */
using Action = std::function<void()>;
/** For an action that writes the flash or a file. If a signal ends it before it writes, a line says that nothing was
 *  changed. The action itself holds signals before it writes. */
Action tells_if_interrupted(const Action &action);
/** For an action that changes something on the board with few requests. A signal waits until all of them are made. */
Action holding_signals(const Action &action);
using Choices = std::vector<std::pair<std::string, uint32_t>>;
inline const Choices kOnOff{{"off", 0}, {"on", 1}};

/** Adds a command. Without an action it needs a sub-command; with an action it may have sub-commands.
 *  @param what     one line of help
 *  @param example  a command line without the program's name */
App *command(App &parent, const char *name, const char *what, const char *example, const Action &action = {});
/** Adds a command and its sub-command `usual`. Without a sub-command the command does the same as `usual`. */
App *group(App &parent, const char *name, const char *what, const char *example, const char *usual,
           const Action &action);
/** The action of the innermost command on the line; empty before the line was accepted. */
const Action &chosen_action();
/** A command that `group` or `command` has added. */
App *command_named(App &parent, const char *name);

/** Checks an argument. It may replace the text, for instance a name by its number: the value is read from the new text.
 *  @return what is wrong with the argument, or nothing */
using ArgumentCheck = std::function<std::string(std::string &text)>;
/** Accepts a whole number from `low` to `high`, decimal or with 0x. A number with leading zeros is decimal, too. */
ArgumentCheck whole_number(uint32_t low, uint32_t high);

/** Whether an argument is required. ByName: a positional argument is required, an option (its name begins with a dash)
 *  is not. */
enum class Needed { ByName, Always, Never };

/* Arguments and options. `name` decides which: an option begins with a dash. `what` is the line in help. */

/** A number; the check may turn words into it. Help shows the form, as "0-255". */
void add_checked(App *app, const char *name, uint32_t &value, const char *what, const std::string &form,
                 const ArgumentCheck &check, Needed needed = Needed::ByName);
/** A whole number from `low` to `high`, decimal or with 0x. */
void add_number(App *app, const char *name, uint32_t &value, const char *what, uint32_t low, uint32_t high,
                Needed needed = Needed::ByName);
/** Several bytes. */
void add_bytes(App *app, const char *name, std::vector<uint32_t> &values, const char *what);
/** One of several words. If the first word is "off", the words' numbers are accepted, too.
 *  @param also  further accepted words that help does not show */
void add_choice(App *app, const char *name, uint32_t &value, const char *what, const Choices &choices,
                const Choices &also = {});
/** Any text, or a text that the check accepts. Help shows the form, as "PATH". */
void add_text(App *app, const char *name, std::string &value, const char *what, const ArgumentCheck &check = {},
              const std::string &form = "");
/** An option that can be given several times, each time with a text. */
void add_texts(App *app, const char *name, std::vector<std::string> &values, const char *what, const std::string &form);
/** A switch without a value. */
void add_flag(App *app, const char *name, bool &value, const char *what);
/** The argument FILE: an ordinary file that exists. */
void add_input_file(App *app, std::string &path, const char *what);
/** The argument FILE: a file to write. */
void add_output_file(App *app, std::string &path);
/** The option -o: a file to write, or - for standard output. */
void add_output_option(App *app, std::string &path);
/** The switches --yes and --dry-run, for a command that asks before it changes something. */
void asks_first(App *app);
/** Asks on the terminal, unless --yes was given. Throws unless the answer is yes. */
void confirm(const std::string &question);
/** The switch --allow-empty of a command that stores a file. */
void add_allow_empty_option(App *app, bool &allow_empty);
/** Refuses a file without bytes unless --allow-empty was given. */
void require_bytes(const std::string &path, uint64_t size, bool allow_empty);

/* Each adds the commands of one family. */
void add_indicator_commands(App &app);
void add_system_commands(App &app);
void add_register_commands(App &app);
void add_i2c_commands(App &app);
void add_clock_commands(App &app);
void add_temperature_command(App &app);
void add_port_commands(App &app);
void add_panel_command(App &app);
void add_sfp_commands(App &app);
void add_flash_commands(App &app);
void add_firmware_commands(App &app);
void add_backup_commands(App &app);
void add_environment_commands(App &app);
void add_mac_commands(App &app);
void add_database_commands(App &app);
void add_identity_commands(App &app);
void add_selftest_command(App &app);
void add_monitor_command(App &app);
void add_metrics_command(App &app);
void add_report_command(App &app);
void add_session_command(App &app);
/** Part of the family "flash". */
void add_flash_update(App &app);

/* ---- the board said no ---- */

/** "FW_ABSENT", "0x00000012", or "ok" for 0. */
std::string status_name(uint32_t status);
/** Throws a Failure unless the status is 0. Its line has the status, what was tried, and what the status means. */
void require(uint32_t status, const std::string &what);
/** Reads one byte of the board's state. Throws a Failure if it cannot be read. */
uint8_t byte_of(const std::function<uint32_t(uint8_t *byte)> &read, const std::string &what);
/* Each throws a Failure if the driver does not answer. For calls of the library whose result does not show it. */
void require_gpio_driver();
void require_flash_driver();
/** Throws a Failure if a device node cannot be opened. For calls whose result does not show that the board is missing.
 *  @param before  begins the line: what was tried */
void require_board(const std::string &before = "");
/** Throws a Failure if debugCmd has failed, hung, or was interrupted. To be called after each call of the library that
 *  runs debugCmd: the library's result does not show it.
 *  @param left  what state the board may be in then; "" = debugCmd changes nothing */
void require_debug_command(const std::string &what, const std::string &left = "");
/** For a caller that cannot report a failure of debugCmd: forgets it, so that the next call runs debugCmd again. */
void forget_debug_command();
/** For a failure after which the command goes on to show the rest. The command fails at its end, with the first one. */
void postpone(const Failure &failure);
/** The first postponed failure, if any. Forgets all of them. */
std::optional<Failure> take_postponed();

/* ---- output ---- */

/** Separates the tool's own output from the library's prints. The prints are hidden. With -v they are shown; with -v and
 *  --json they go to stderr. */
void start_output();

/** What a call of the library returned, and what it and debugCmd printed. */
struct Printed {
  uint32_t status;
  std::string text;
};
Printed printed_by(const std::function<uint32_t()> &call);

inline void show(const Json &data) { print(data, settings.json); }
/** Prints bytes as a hex dump; repeated lines become one asterisk. */
void hexdump(std::span<const uint8_t> bytes, uint32_t address);
/** Shows the progress of long work on a screen: a bar with the rate and the time left. */
class Progress {
 public:
  Progress(const char *what, uint64_t total);
  /** Removes the bar. */
  ~Progress();

  /** @param done  of the total. A smaller number than before begins another pass. */
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
