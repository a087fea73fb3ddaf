#pragma once

#include <initializer_list>

#include "../cli/archive.h"
#include "../cli/output.h"

// Values in a report of zelctl. A report is somebody else's file: a value of another type, or out of its range, counts as
// missing.

namespace zelsim::tool {

/** The member that the names lead to; null if there is none. */
const Json &member(const Json &from, std::initializer_list<const char *> names);

/** A number from 0 to `highest`, or a boolean as 0 or 1. */
std::optional<uint32_t> number_of(const Json &value, uint32_t highest);

/** The text; empty if the value is not a text. */
std::string text_of(const Json &value);

/** The bytes that the hexadecimal digits give. Other characters between them are ignored. */
std::vector<uint8_t> bytes_of_hex(const Json &value);

/** A time in seconds since 1970; a Z may stand behind it. */
std::optional<int64_t> seconds_of(const Json &value);

/** The content of a report's file, by the name that the report gives; null if the report has no such file. */
const std::vector<uint8_t> *file_of(const ArchivedFiles &files, const Json &name);

/** What the report does not hold, or the twin cannot have. */
class Notes {
 public:
  /** Adds a row. If the thing has a row already, its first reason stays. */
  void add(const std::string &what, const std::string &why) {
    for (const Json &row : rows_) {
      if (row["what"] == what) return;
    }
    rows_.push_back(record("what", what, "why", why));
  }
  const Json &rows() const { return rows_; }

 private:
  Json rows_ = Json::array();
};

}  // namespace zelsim::tool
