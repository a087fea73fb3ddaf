/** @file
 *  Texts as people write and read them. zelctl and zelsim have the same ones. */
#ifndef ZELBOARD_CLI_TEXT_H
#define ZELBOARD_CLI_TEXT_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <vector>

/** A whole number from `low` to `high`, decimal or with 0x; leading zeros make no octal number. */
std::optional<uint32_t> number_in(const std::string &text, uint32_t low, uint32_t high);
/** A time like 2026-03-15T14:30:45 in the century that clock chips know, from 2000 to 2099. */
std::optional<std::tm> time_in(const std::string &text);
/** Lists of names are written in one text each, separated by bars. "a|" is two, an empty text none. */
std::vector<std::string> split(const std::string &names, char separator = '|');
/** Place of a name in such a list, from 0. */
std::optional<uint32_t> index_in(const std::string &names, const std::string &name);
/** Name of a code in such a list; a code without one is a number. */
std::string name_of(const std::string &names, uint32_t code, const char *without = "%u");
/** Control bytes and what is no UTF-8 become escapes, so that the text is one line and leaves a terminal alone. */
std::string escaped(const std::string &text);
/** Characters, of any number of bytes. */
size_t length_of(const std::string &text);
/** Cut into lines of at most `width` characters, between words where that can be. */
std::vector<std::string> wrapped(const std::string &text, size_t width);
std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));
std::string hex_text(std::span<const uint8_t> bytes);
/** Bytes that are no printable ASCII become dots. */
std::string printable(std::string text);

#endif
