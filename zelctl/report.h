/** @file
 *  The report: everything that can be read of a board without changing it. It is for support, and a virtual switch can
 *  be made of it. docs/report.md describes its format. */
#ifndef ZELCTL_REPORT_H
#define ZELCTL_REPORT_H

#include "../cli/archive.h"
#include "records.h"
#include "redaction.h"

/** A higher number means that a key has another meaning. New keys do not change the number. */
constexpr uint32_t kReportVersion = 1;

class Report {
 public:
  /** Asks the board. If it does not answer, the answer is null, and the reason is noted. Throws if a signal waits.
   *  @param what  what is asked for, as people call it */
  Json ask(const std::string &what, const std::function<Json()> &question);
  /** Notes that something could not be read. */
  void note(const std::string &what, const std::string &why);
  void add_file(const std::string &name, std::vector<uint8_t> bytes);

  struct File {
    std::string name;
    std::vector<uint8_t> bytes;
  };
  Json data = Json::object();
  Json not_read = Json::array();
  uint32_t failures = 0;    // of `ask`
  std::vector<File> files;  // beside report.json
  Patterns secrets;
};

/* The parts of the report. Each adds its keys and files. */

/** Everything except the boot environment, the modules and the flash. */
void report_board(Report &report);
/** What the chips of the board hold, read through the drivers. */
void report_chips(Report &report);
/** Pages and PHYs of the modules. Moves the cage selection: no driver tells the old one, so it cannot be put back. */
void report_modules(Report &report);
void report_environment(Report &report);
/** Reads the whole chip once, for figures of the regions.
 *  @param content  gets the chip's bytes, without the environment's secrets; null = not wanted */
void report_flash(Report &report, TarWriter *content);

/** The report as a page for people. */
std::string report_summary(const Report &report);

#endif
