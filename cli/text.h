/** @file
 *  Texts as people write and read them, in zelctl and in zelsim. */
#ifndef ZELBOARD_CLI_TEXT_H
#define ZELBOARD_CLI_TEXT_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <vector>

/** A whole number from `low` to `high`, decimal or with 0x. A number with leading zeros is decimal, too. */
std::optional<uint32_t> number_in(const std::string &text, uint32_t low, uint32_t high);
/** A time like 2026-03-15T14:30:45, from 2000 to 2099: clock chips know only that century. */
std::optional<std::tm> time_in(const std::string &text);
/** The names in a list that is one text. "a|b" has two names, "a|" has "a" and an empty name, "" has none. */
std::vector<std::string> split(const std::string &names, char separator = '|');
/** Adds an item to a list that is one text. */
void add_item(std::string &list, const std::string &item, const char *separator = ", ");
/** The place of a name in such a list, from 0. */
std::optional<uint32_t> index_in(const std::string &names, const std::string &name);
/** The name at place `code` in such a list. A code without a name becomes a number, by the format `without`. */
std::string name_of(const std::string &names, uint32_t code, const char *without = "%u");
/** The text with escapes for control bytes and for bytes that are not UTF-8: one line that is safe on a terminal. */
std::string escaped(const std::string &text);
/** The number of characters. A character can have several bytes. */
size_t length_of(const std::string &text);
/** The text up to its character number `most`. */
std::string first_characters(const std::string &text, size_t most);
/** Cuts the text into lines of at most `width` characters, between words if possible. */
std::vector<std::string> wrapped(const std::string &text, size_t width);
std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));
/** A number with this number of decimals. Never "-0.0". */
std::string decimal_text(double number, int decimals);
std::string hex_text(std::span<const uint8_t> bytes);
/** The bytes of a text of hexadecimal digits, two a byte, small or capital; nothing for any other text. */
std::optional<std::vector<uint8_t>> hex_bytes(const std::string &text);
/** The text with a dot for each byte that is not printable ASCII. */
std::string printable(std::string text);

#endif
