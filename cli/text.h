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

/** A whole number from `low` to `high`, decimal or with 0x. Leading zeros make no octal number. */
std::optional<uint32_t> number_in(const std::string &text, uint32_t low, uint32_t high);
/** A time like 2026-03-15T14:30:45, from 2000 to 2099: the century that clock chips know. */
std::optional<std::tm> time_in(const std::string &text);
/** The names of a list, which is one text: "a|b" are two, "a|" is "a" and an empty one, "" is none. */
std::vector<std::string> split(const std::string &names, char separator = '|');
/** Place of a name in a list, from 0. */
std::optional<uint32_t> index_in(const std::string &names, const std::string &name);
/** Name of a code in a list. A code without a name is printed as a number, by the format `without`. */
std::string name_of(const std::string &names, uint32_t code, const char *without = "%u");
/** The text with escapes for control bytes and for what is no UTF-8: one line, harmless to a terminal. */
std::string escaped(const std::string &text);
/** Number of characters. Each may have several bytes. */
size_t length_of(const std::string &text);
/** The text cut into lines of at most `width` characters, between words where that is possible. */
std::vector<std::string> wrapped(const std::string &text, size_t width);
std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));
std::string hex_text(std::span<const uint8_t> bytes);
/** The bytes of what hex_text wrote; nothing for another text. */
std::optional<std::vector<uint8_t>> hex_bytes(const std::string &text);
/** The text with a dot for each byte that is no printable ASCII. */
std::string printable(std::string text);

#endif
