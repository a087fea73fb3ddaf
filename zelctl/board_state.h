/** @file
 *  What is watched on the board. It is one table: `monitor` makes events of it, `metrics` makes samples. Nothing here
 *  changes anything on the board, neither the cage selection nor what a driver holds for its readers. */
#ifndef ZELCTL_BOARD_STATE_H
#define ZELCTL_BOARD_STATE_H

#include <functional>
#include <map>
#include <optional>
#include <variant>

#include "records.h"

enum Driver { Gpio, I2c, Flash };
constexpr const char *kDrivers[] = {"gpio", "i2c", "flash"};

/** A question that a driver has not answered. */
struct SilentDriver : Failure {
  SilentDriver(const Failure &failure, Driver silent) : Failure(failure), driver(silent) {}
  Driver driver;
};
/** Asks a question of a driver; a Failure becomes a SilentDriver. Within the question another driver can be asked. */
template <typename Question>
auto ask_driver(Driver driver, const Question &question) {
  try {
    return question();
  } catch (const SilentDriver &) {
    throw;
  } catch (const Failure &failure) {
    throw SilentDriver(failure, driver);
  }
}

/** One round of questions to the board. */
class Round {
 public:
  /** For a question that several readings need: it is asked once. A second call with the same key returns the first
   *  answer, or throws the first failure. */
  double once(const std::string &key, const std::function<double()> &question);

  bool up[std::size(kDrivers)] = {true, true, true};  // by Driver: it has answered all questions so far
  Json databases;                                     // null before the first question for one

 private:
  std::map<std::string, std::variant<double, Failure>> answers_;
};

/** A kind of thing that is watched. */
struct Watched {
  const char *subject;  // an event's subject. In "port %s light" %s is the port, and "port" is the metric's label
  /** Words for the values 0, 1, 2 ... For a thing that comes and goes the first word is its usual state. "" = the value
   *  is a number without words. */
  const char *states;
  const char *trouble = "";  // states in which somebody should look: "none|failed"
  const char *metric;
  const char *help;
  Driver driver;  // unless the reader asks another one
  uint32_t first = 0;
  uint32_t last = 0;
  /** @return nothing if there is nothing to read: no module, no sensor. Throws a Failure if there is no answer. */
  std::optional<double> (*read)(Round &round, uint32_t which);
  bool makes_events = true;    // false: another row has the events of the same thing
  bool has_threshold = false;  // the user gives a threshold: below it the thing has the first state, else the second
  /** What people call it: its number, unless the table says otherwise. */
  std::string (*name)(uint32_t which) = [](uint32_t which) { return std::to_string(which); };
};

/** The part of the board that answers. */
struct Source {
  std::string name;   // "slot 1", "10G cages"
  std::string label;  // "slot"; empty where there is only one
  std::string which;  // "1"; empty like the label
};

struct Reading {
  const Watched *what = nullptr;
  std::string label;  // "port"; empty where there is only one
  std::string which;  // "3"; empty like the label
  std::string subject;
  Source source;
  std::vector<std::string> states;
  std::optional<double> value;
  std::string silence;  // why there is no value
  std::string detail;   // more for people to read
  /** The present state, given the state before: a value that has crossed a threshold is back only behind a margin.
   *  Null: the state is the word of the value. */
  std::function<std::string(const std::string &before)> settled;

  /** The value in the words of the table's `states`, or as a number. */
  std::string state() const;
};

/** Reads everything in the table, in its order. Things that are not there have no reading.
 *  @param flash_too  also read the things in the flash, which takes long */
std::vector<Reading> read_board(Round &round, bool flash_too);

#endif
