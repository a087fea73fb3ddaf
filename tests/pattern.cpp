#include "pattern.h"

#include <map>
#include <regex>

static const std::regex &compiled(const std::string &expression) {
  static std::map<std::string, std::regex> known;
  return known.try_emplace(expression, expression).first->second;
}

std::string replaced(const std::string &text, const std::string &expression, const std::string &by) {
  return std::regex_replace(text, compiled(expression), by);
}

bool matches(const std::string &text, const std::string &expression) {
  return std::regex_match(text, compiled(expression));
}

bool holds(const std::string &text, const std::string &expression) {
  return std::regex_search(text, compiled(expression));
}
