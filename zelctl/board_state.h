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
  /** Asks what several readings need: whoever asks again gets the same answer, or the same failure. */
  double once(uint32_t key, const std::function<double()> &question);

  Driver asked = Gpio;                                // by the question that runs
  bool up[std::size(kDrivers)] = {true, true, true};  // it answered all questions
  Json databases;                                     // once they were asked for

 private:
  std::map<uint32_t, std::variant<double, Failure>> answers_;
};

/** A kind of thing that is watched. */
struct Watched {
  const char *subject;  // of an event: its first word is the metric's label where %s follows, which one it is
  const char *states;   // words for the values from 0 on, the usual one first where it comes and goes; "" = a number
  const char *metric, *help;
  Driver driver;         // what is in the flash is slow, and not asked for while the flash is written
  uint32_t first, last;  // which ones there are
  /** @return nothing when there is nothing to ask: no module, no sensor. Throws a Failure when there is no answer. */
  std::optional<double> (*read)(Round &round, uint32_t which);
  const char *trouble = "";  // the state in which somebody should look
  const char *words = "";    // of an event, where the metric is the number itself
};
/** Only the states below and above the threshold are events. */
constexpr const char *kTemperature = "temperature";

struct Reading {
  const Watched *what;
  std::string label, which;  // both empty where there is one only
  std::string subject;
  std::string source;  // who answers for it
  std::vector<std::string> states;
  std::optional<double> value;
  std::string silence;  // why there is none

  std::string state() const;
  /** The same in words, where the state has one. */
  std::string word() const;
};

/** Everything that is there, in the order of the table. */
std::vector<Reading> read_board(Round &round, bool flash_too);

#endif
