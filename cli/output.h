/** @file
 *  What zelctl and zelsim print: data, as wide as the terminal or as JSON. */
#ifndef ZELBOARD_CLI_OUTPUT_H
#define ZELBOARD_CLI_OUTPUT_H

#include <cstdio>
#include <nlohmann/json.hpp>

#include "text.h"

using Json = nlohmann::ordered_json;

/** The program's own output: standard output, unless the program sets another stream. */
extern FILE *out;
/** Opens the standard descriptors (0 to 2) that are closed, so that no other file gets their numbers. A read or write
 *  on them fails.
 *  @param inherited  programs that this one starts also get them */
void open_standard_descriptors(bool inherited);
/** Writes what is left of the output. @return 0, or 1 with a line on stderr if it could not be written */
int finish_output();
/** Columns of the output's terminal; a very large number without a terminal. */
size_t columns();
/** True for a terminal that knows escape sequences. */
bool is_screen(FILE *stream);
/** True for output on a screen that takes colours. */
bool colourful();
/** True if the locale has more than ASCII. */
bool has_glyphs();

/** Prints data as JSON, or for people: an object as aligned lines, an array of objects as a table. The objects of a table
 *  all have the keys of the first one, in the same order. */
void print(const Json &data, bool as_json);
/** A value as people read it. The key decides whether a number is hexadecimal. */
std::string cell(const std::string &key, const Json &value);
/** True for an array of objects. */
bool is_table(const Json &value);

/** Adds members, given as key, value, key, value ... */
inline void append(Json &) {}
template <class Value, class... More>
void append(Json &object, const std::string &key, const Value &value, const More &...more) {
  object[key] = value;
  append(object, more...);
}
/** An object of members, given as key, value, key, value ... */
template <class... Pairs>
Json record(const Pairs &...pairs) {
  Json object = Json::object();
  append(object, pairs...);
  return object;
}

#endif
