// Regular expressions. They are compiled in one file: the standard's header costs seconds in each that uses it.
#pragma once

#include <string>

/// All that matches the expression, replaced.
std::string replaced(const std::string &text, const std::string &expression, const std::string &by);
/// Does the whole text match, or a part of it?
bool matches(const std::string &text, const std::string &expression);
bool holds(const std::string &text, const std::string &expression);
