/** @file
 *  Secrets in the boot environment: their values are blanked in everything that leaves the switch. */
#ifndef ZELCTL_REDACTION_H
#define ZELCTL_REDACTION_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/** Replaces the value of a secret, of whatever length. */
constexpr const char *kBlanked = "***";

/** Patterns of variables' names, as in the shell. Upper and lower case are the same. */
using Patterns = std::vector<std::string>;

struct Redaction {
  std::vector<uint8_t> region;
  std::vector<std::string> names;  // of the blanked variables
  bool remains = false;            // bytes behind the list were blanked: they may be the rest of an older, longer list
};
/** Blanks the secrets in the boot environment's region. A region with a valid CRC-32 gets a new valid one, any other
 *  region an invalid one. The old CRC-32 does not stay: the blanked values could be guessed from it. */
Redaction blank_secrets(std::span<const uint8_t> region, const Patterns &patterns);

#endif
