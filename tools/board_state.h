/** @file
 *  What is watched of the board: one table, of which `monitor` makes events and `metrics` samples. Nothing here changes
 *  anything on the board, neither the cage selection nor what a driver holds for its readers, and no question is asked
 *  twice in one round. */
#ifndef ZELCTL_BOARD_STATE_H
#define ZELCTL_BOARD_STATE_H

#include <map>
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
  struct {
    const char *subject;         // %s is which one
    const char *source;          // who answers for it, likewise; null = the board of the port
    const char *words[5];        // of the values from 0 on; none = a plain number
    bool has_threshold = false;  // there are two states only, below and above it
  } event;
  struct {
    const char *name;   // without the "zelboard_" of all
    const char *label;  // that tells which one; null = there is only one
    const char *help;
  } metric;
  struct {
    Driver driver;         // what is in the flash is slow, and not asked for while the flash is written
    uint32_t first, last;  // which ones there are
    /** @return nothing when there is nothing to ask: no module, no sensor. Throws a Failure when there is no answer. */
    std::optional<double> (*read)(Round &round, uint32_t which);
  } question;
};

struct Reading {
  const Watched *what;
  std::string which, subject, source;
  std::optional<double> value;
  std::string silence;  // why there is none
};

/** Everything that is there, in the order of the table. */
std::vector<Reading> readBoard(Round &round, bool flash_too);

/** A value as events name it. */
std::string wordOf(const Watched &what, double value);

#endif
