/** @file
 *  Secrets among the variables of the boot environment: they are taken out of whatever leaves the switch. */
#ifndef ZELCTL_REDACTION_H
#define ZELCTL_REDACTION_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/** What stands in place of a secret, whatever its length was. */
constexpr const char *kBlanked = "***";

/** Patterns of names as the shell has them, whatever case. */
using Patterns = std::vector<std::string>;

struct Redaction {
  std::vector<uint8_t> region;
  std::vector<std::string> names;  // of the variables that are blanked
  bool remains = false;            // bytes behind the list were blanked: what an older, longer one has left
};
/** The boot environment's region without its secrets. Its CRC-32 is right again where it was right; of the bytes that
 *  are blanked no checksum is left, from which they could be guessed. */
Redaction blank_secrets(std::span<const uint8_t> region, const Patterns &patterns);

#endif
