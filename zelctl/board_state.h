/** @file
 *  What is watched of the board: one table, of which `monitor` makes events and `metrics` samples. Nothing here changes
 *  anything on the board, neither the cage selection nor what a driver holds for its readers. */
#ifndef ZELCTL_BOARD_STATE_H
#define ZELCTL_BOARD_STATE_H

#include <map>
#include <optional>
#include <variant>

#include "records.h"

enum Driver { Gpio, I2c, Flash };
constexpr const char *kDrivers[] = {"gpio", "i2c", "flash"};

/** One round of questions. */
class Round {
 public:
  /** Asks what several readings need. Who asks again by the same key gets the same answer, or the same failure. */
  double once(const std::string &key, const std::function<double()> &question);

  Driver asked = Gpio;                                // the driver that the present question asks
  bool up[std::size(kDrivers)] = {true, true, true};  // it has answered all questions so far
  Json databases;                                     // null until they were asked for

 private:
  std::map<std::string, std::variant<double, Failure>> answers_;
};

/** A kind of thing that is watched. */
struct Watched {
  const char *subject;  // of an event. "port %s light": %s is the port, "port" the metric's label
  const char *states;   // words for the values from 0 on; the usual one first, where it comes and goes; "" = a number
  const char *metric;
  const char *help;
  Driver driver;  // what is in the flash is slow, and not asked for while the flash is written
  uint32_t first;
  uint32_t last;
  /** @return nothing when there is nothing to ask: no module, no sensor. Throws a Failure when there is no answer. */
  std::optional<double> (*read)(Round &round, uint32_t which);
  const char *trouble = "";  // the state in which somebody should look
  const char *words = "";    // of an event, where the metric is the number itself
  std::string (*name)(uint32_t which) = [](uint32_t which) { return std::to_string(which); };
};
/** Its subject. Only crossing the threshold is an event. */
constexpr const char *kTemperature = "temperature";

struct Reading {
  const Watched *what = nullptr;
  std::string label;  // "port"; empty where there is only one
  std::string which;  // "3"; likewise
  std::string subject;
  std::string source;  // who answers for it
  std::vector<std::string> states;
  std::optional<double> value;
  std::string silence;   // why there is no value
  std::string detail;    // more for people to read
  bool trouble = false;  // somebody should look, besides what the table says

  /** Word for the value, or the number itself. */
  std::string state() const;
  /** The same in words, where the state has one. */
  std::string word() const;
};

/** Everything that is there, in the order of the table. */
std::vector<Reading> read_board(Round &round, bool flash_too);

#endif
