/** @file
 *  How help looks. */
#ifndef ZELBOARD_CLI_HELP_H
#define ZELBOARD_CLI_HELP_H

#include <CLI/CLI.hpp>
#include <string>

/** Help without the parser's own words: an argument is its name and its values. */
class Help : public CLI::Formatter {
 public:
  std::string make_option_opts(const CLI::Option *option) const override;
};

/** Folds help to COLUMNS characters or, without that variable or with a wrong value, to the terminal's width. */
std::string folded_help(const std::string &help);

#endif
