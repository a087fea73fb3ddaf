/** @file
 *  The report: everything that can be read of a board without changing it, for support and for a virtual switch that is
 *  made of it. docs/report.md describes its format. */
#ifndef ZELCTL_REPORT_H
#define ZELCTL_REPORT_H

#include "../cli/archive.h"
#include "records.h"
#include "redaction.h"

/** Grows when the meaning of a key changes; new keys leave it as it is. */
constexpr uint32_t kReportVersion = 1;

class Report {
 public:
  /** Asks the board. What it does not answer is noted with the reason, and is null. Throws when a signal waits. */
  Json ask(const std::string &what, const std::function<Json()> &question);
  void note(const std::string &what, const std::string &why);
  void add_file(const std::string &name, std::vector<uint8_t> bytes);

  struct File {
    std::string name;
    std::vector<uint8_t> bytes;
  };
  Json data = Json::object();
  Json not_read = Json::array();
  std::vector<File> files;  // beside report.json
  Patterns secrets;
};

/** Everything but modules and flash. */
void report_board(Report &report);
/** Pages and PHYs of the modules in cages; selects their cages, which no driver tells of and nobody can put back. */
void report_modules(Report &report);
void report_environment(Report &report);
/** Reads the chip once, from its beginning to its end, for figures of the regions; its bytes, without the environment's
 *  secrets, go to `content` where that is wanted. */
void report_flash(Report &report, TarWriter *content);

/** What stands in the report, for people. */
std::string report_summary(const Report &report);

#endif
