/** @file
 *  What zelctl and zelsim print: data, as wide as the terminal or as JSON. */
#ifndef ZELBOARD_CLI_OUTPUT_H
#define ZELBOARD_CLI_OUTPUT_H

#include <cstdio>
#include <nlohmann/json.hpp>

#include "text.h"

using Json = nlohmann::ordered_json;

/** The program's own output: standard output, unless something else takes that place. */
extern FILE *out;
/** Descriptors 0 to 2 that came closed are opened in a way that refuses their use: no other file takes their places; nor in
 *  programs that this one starts, where these inherit them. */
void open_standard_descriptors(bool inherited);
/** @return 0; 1, with a line on stderr, when the output could not be written */
int finish_output();
/** Columns of the terminal that the output goes to; without one there is room for everything. */
size_t columns();
/** True for a terminal that knows escape sequences. */
bool is_screen(FILE *stream);
/** True when the output is a screen that takes colours. */
bool colourful();
/** True when the locale has more than ASCII. */
bool has_glyphs();

/** Prints data as JSON, or else an object as aligned lines and an array of objects as a table. */
void print(const Json &data, bool as_json);
/** A value as people read it. */
std::string cell(const std::string &key, const Json &value);
bool is_table(const Json &value);

/** Adds keys and values, given in turn. */
template <class... Pairs>
void append(Json &object, const Pairs &...pairs) {
  const Json flat = Json::array({Json(pairs)...});
  for (size_t i = 0; i < flat.size(); i += 2) object[flat[i].get<std::string>()] = flat[i + 1];
}
/** An object from keys and values in turn. */
template <class... Pairs>
Json record(const Pairs &...pairs) {
  Json object = Json::object();
  append(object, pairs...);
  return object;
}

#endif
