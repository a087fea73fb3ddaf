#include <memory>

#include "records.h"

struct TransferOptions {
  uint32_t address = 0;
  uint32_t offset = 0;
  uint32_t offset_len = 1;
  uint32_t length = 0;           // of a read
  std::vector<uint32_t> values;  // of a write
};

static void read_device(const TransferOptions &options) {
  uint8_t buffer[FW_I2C_LEN_MAX] = {};
  require(FW_I2C_BufRead(static_cast<uint8_t>(options.address), options.offset, options.offset_len,
                         static_cast<uint8_t>(options.length), buffer),
          format("I2C device 0x%02X", options.address));
  const Bytes bytes(buffer, options.length);
  if (settings.json)
    show(record("address", options.address, "offset", options.offset, "data", hex_text(bytes)));
  else
    hexdump(bytes, options.offset);
}

static void write_device(const TransferOptions &options) {
  const std::vector<uint8_t> bytes(options.values.begin(), options.values.end());
  if (bytes.size() > FW_I2C_LEN_MAX) refuse_argument("BYTES", format("more than %u", FW_I2C_LEN_MAX));
  require(FW_I2C_BufWrite(static_cast<uint8_t>(options.address), options.offset, options.offset_len,
                          static_cast<uint8_t>(bytes.size()), bytes.data()),
          format("I2C device 0x%02X", options.address));
}

Json bus_busy() { return record("busy", byte_of(FW_Get_I2C_Busy, "I2C busy flag") != 0); }

void add_i2c_commands(App &app) {
  const auto options = std::make_shared<TransferOptions>();
  App *family = command(app, "i2c", "Transfers on the board's I2C bus", "i2c read 0x9e 0 2");
  App *read =
      command(*family, "read", "Reads from a device", "i2c read 0x40 2 1", [options] { read_device(*options); });
  App *write = command(*family, "write", "Writes to a device", "i2c write 0x40 2 0x44",
                       holding_signals([options] { write_device(*options); }));
  for (App *leaf : {read, write}) {
    add_number(leaf, "ADDRESS", options->address, "Device address, 8-bit form", 0, 0xFF);
    add_number(leaf, "OFFSET", options->offset, "Register or memory address in the device", 0, 0xFFFFFFFF);
    add_number(leaf, "--offset-len", options->offset_len, "Offset bytes that are sent (1)", 0, FW_I2C_OFFSET_LEN_MAX);
  }
  add_number(read, "LENGTH", options->length, "Bytes", 1, FW_I2C_LEN_MAX);
  add_bytes(write, "BYTES", options->values, "Bytes to write");
  command(*family, "busy", "The bus-busy flag", "i2c busy", [] { show(bus_busy()); });
  command(*family, "refresh", "Refreshes the bus", "i2c refresh",
          holding_signals([] { require(FW_ReflashI2CBus(), "I2C bus"); }));
}
