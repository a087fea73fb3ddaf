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

/** Brings an argument into the form that its value is read from. @return why it is none, or nothing */
using ArgumentCheck = std::function<std::string(std::string &text)>;
/** Refuses what is no whole number from `low` to `high`, decimal or with 0x; leading zeros make no octal number. */
ArgumentCheck whole_number(uint32_t low, uint32_t high);

/** Without more said, an argument is required when its name begins without dashes: it is positional then. */
enum class Needed { ByName, Always, Never };
/** A number that the check makes of the argument; help shows its form. */
void checked(App *app, const char *name, uint32_t &value, const char *what, const std::string &form,
             const ArgumentCheck &check, Needed needed = Needed::ByName);
/** A whole number, decimal or with 0x, from `low` to `high`, and several of them. */
void number(App *app, const char *name, uint32_t &value, const char *what, uint32_t low, uint32_t high,
            Needed needed = Needed::ByName);
void bytes(App *app, const char *name, std::vector<uint32_t> &values, const char *what);
/** One of a few words, or of their numbers when the first word is "off". */
void choice(App *app, const char *name, uint32_t &value, const char *what, const Choices &choices);
/** Any text, or one that the check takes. */
void any_text(App *app, const char *name, std::string &value, const char *what, const ArgumentCheck &check = {});
/** The same, as often as it is wanted. */
void any_texts(App *app, const char *name, std::vector<std::string> &values, const char *what, const std::string &form);
/** A switch without a value. */
void flag(App *app, const char *name, bool &value, const char *what);
/** The argument FILE: an ordinary file that exists, or one to write. */
void input_file(App *app, std::string &path, const char *what);
void output_file(App *app, std::string &path);
/** The switch -o of a command that can write its bytes into a file. */
void output_option(App *app, std::string &path);
/** The switches --yes and --dry-run of a command that asks first. */
void asks_first(App *app);
void confirm(const std::string &question);
/** The switch --allow-empty of a command that stores a file, and the refusal of an empty one without it. */
void takes_empty(App *app);
void refuse_empty(const std::string &path, uint64_t size);

/** Adds the commands of one family. */
using Family = void(App &app);
Family add_indicator_commands, add_system_commands, add_bus_commands, add_port_commands, add_panel_command,
    add_sfp_commands, add_flash_commands, add_image_commands, add_environment_commands, add_database_commands,
    add_identity_commands, add_selftest_command, add_monitor_command, add_metrics_command, add_report_command;

/* ---- the board said no ---- */

/** "FW_ABSENT", "0x00000012", or "ok" for 0. */
std::string status_name(uint32_t status);
/** Throws a Failure unless the status is 0: its name, what was tried, and what the status means there. */
void require(uint32_t status, const std::string &what);
/** Reads one byte of the board's state, or throws. */
uint8_t byte_of(const std::function<uint32_t(uint8_t *byte)> &read, const std::string &what);
/** For calls that cannot tell that the board is missing: throws a Failure when a device node cannot be opened. */
void require_board(const std::string &before = "");
/** Of a call that runs debugCmd, whose failure the library does not tell: throws a Failure when it failed or hung. */
void require_debug_command(const std::string &what);
/** Of a command that goes on to show the rest: it ends with the first of these failures. */
void postpone(const Failure &failure);
std::optional<Failure> take_postponed();

/* ---- output ---- */

/** Hides the library's prints, or with -v leaves them where they are (on stderr beside JSON). The tool's own output goes
 *  to another descriptor than theirs. */
void start_output();

/** What a call returned, and what the library, and debugCmd on its behalf, printed meanwhile. */
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
  uint64_t total_;
  uint64_t done_ = 0;
  Clock::time_point start_ = Clock::now();
  Clock::time_point drawn_ = start_;
  bool visible_;
};

#endif
