#include <cctype>
#include <memory>

#include "records.h"

using Mac = std::vector<uint8_t>;  // FW_MAC_BACKUP_SIZE bytes

Json mac_backup() {
  // On another chip the library's read answers 0 and leaves the bytes.
  require_chip();
  Mac mac(FW_MAC_BACKUP_SIZE);
  require(FW_SpiFlash_BackupMacGet(mac.data()), "MAC backup");
  const std::string text = printable({mac.begin(), mac.end()});
  return record("stored", !is_erased(mac), "text", text, "bytes", hex_text(mac));
}

static bool is_digit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

/** Like 00:11:22:33:44:55, which is 17 characters. */
static bool is_address(const std::string &text) {
  if (text.size() != FW_MAC_BACKUP_SIZE) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool separator = text[i] == ':' || text[i] == '-';
    const bool good = i % 3 == 2 ? separator : is_digit(text[i]);
    if (!good) return false;
  }
  return true;
}

/** The bytes to store: the characters of an address, or any bytes given as hexadecimal digits. */
static std::optional<Mac> mac_of(const std::string &text) {
  if (is_address(text)) return Mac(text.begin(), text.end());
  std::optional<Mac> mac = hex_bytes(text);
  if (!mac || mac->size() != FW_MAC_BACKUP_SIZE) return std::nullopt;
  return mac;
}

static void store_mac(const std::string &text) {
  const auto mac = mac_of(text);
  if (!mac) refuse_argument("MAC", "'" + text + "' is neither like 00:11:22:33:44:55 nor 34 hexadecimal digits");
  require_flash_driver();
  hold_signals();
  require(FW_SpiFlash_BackupMacSet(mac->data()), "MAC backup");
}

void add_mac_commands(App &app) {
  const auto text = std::make_shared<std::string>();
  App *family = group(app, "mac-backup", "MAC address backup", "mac-backup set 00:11:22:33:44:55", "get",
                      [] { show(mac_backup()); });
  App *set = command(*family, "set", "Stores 17 bytes", "mac-backup set 00:11:22:33:44:55",
                     tells_if_interrupted([text] { store_mac(*text); }));
  add_text(set, "MAC", *text, "As 00:11:22:33:44:55, or any 17 bytes as 34 hexadecimal digits");
}
