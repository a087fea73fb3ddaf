#include <array>

#include "records.h"

constexpr uint32_t kNone = 0xFFFFFFFF;

static uint32_t port, reg = kNone, value = kNone;
static std::string output;

static std::string class_name(uint8_t code) {
  if (code == FW_SFP_COPPER_SERDES) return "1000BASE-T SerDes";
  if (code == FW_SFP_NOT_A_MODULE) return "not an SFP";
  return name_of("100FX|1000BASE-X|1000BASE-T|unknown|2G5|5G|10G|10G DAC|10G ER|10G LRM|10G LR|10G SR", code);
}

/** Reads a module's page; throws FW_NOT_SET for a cage without one. */
static std::array<uint8_t, kPageLength> read_module(uint32_t from) {
  std::array<uint8_t, kPageLength> page{};
  uint8_t absent = 1;
  require_port(FW_GetPortSfpPresnt(from, &absent), from, "presence of a module");
  if (absent != 0) throw Failure{format("port %u: the cage is empty", from), FW_NOT_SET};
  require_port(FW_SfpSel(from), from, "selection of the cage");
  require_port(FW_I2C_BufRead(FW_SFP_MEMORY, 0, 1, kPageLength, page.data()), from, "memory of the module");
  return page;
}

static std::array<uint8_t, kPageLength> require_page() {
  require_cage(port);
  return read_module(port);
}

/** A copper module is classified from its page: the library's question would reset its PHY and drop the link. */
static uint8_t class_of(uint32_t of_port, Page page) {
  constexpr const char *kSerdesOnly = "AXGT-R154-0M06";
  if (is_copper_module(page))
    return page_text(page, 40, 16).starts_with(kSerdesOnly) ? FW_SFP_COPPER_SERDES : FW_SFP_COPPER;
  uint8_t code = FW_SFP_NOT_A_MODULE;
  require_port(FW_Get_SFP_Speed(of_port, &code), of_port, "class of the module");
  return code;
}

/** Link of a copper module; null for others and for a PHY that is silent, as with its transmitter off. */
static Json link_of(uint32_t of_port, Page page) {
  constexpr const char *kSpeeds[] = {"up, reserved speed", "10 full", "100 full", "1000", "10 half", "100 half"};
  uint8_t link = 0, speed = 0;
  if (!is_copper_module(page)) return {};
  const uint32_t status = FW_SFP_SGMII_Get_Status(of_port, &link, &speed, 0);
  if (status == FW_FAIL && link == 0) return {};
  if (link == 0) require_port(status, of_port, "link of the module");
  return link == 0 ? "down" : kSpeeds[speed % std::size(kSpeeds)];
}

static Json module_record(uint32_t of_port, Fitted fitted) {
  Json row = record("port", of_port, "class", nullptr, "code", nullptr, "vendor", nullptr, "part_number", nullptr,
                    "revision", nullptr, "rate_mbd", nullptr, "link", nullptr, "checksums", nullptr);
  if (fitted != Fitted::Cages) {
    row["class"] = fitted == Fitted::None ? "no board" : "copper port";
    return row;
  }
  try {
    const auto page = read_module(of_port);
    const uint8_t code = class_of(of_port, page);
    append(row, "class", class_name(code), "code", code, "vendor", page_text(page, 20, 16), "part_number",
           page_text(page, 40, 16), "revision", page_text(page, 56, 4), "rate_mbd", signalling_rate(page), "link",
           link_of(of_port, page), "checksums", checksums_hold(page) ? "correct" : "wrong");
  } catch (const Failure &failure) {
    row["class"] = failure.status == FW_NOT_SET ? "empty" : status_name(failure.status);
    if (failure.status != FW_NOT_SET) postpone(failure);
  }
  return row;
}

static void show_module() {
  const auto page = require_page();
  const uint8_t code = class_of(port, page);
  Json all = record("port", port, "class", class_name(code), "code", code);
  all.update(decode_page(page));
  all["link"] = link_of(port, page);
  show(all);
  if (settings.verbose) FW_Show_SFP_Moudle(port, 0, 1);
}

static void dump() {
  const auto page = require_page();
  std::vector<uint8_t> bytes(page.begin(), page.end());
  bytes.resize(2 * kPageLength);
  require_port(FW_I2C_BufRead(FW_SFP_MEMORY, kPageLength, 1, kPageLength, bytes.data() + kPageLength), port,
               "memory of the module");
  if (!output.empty()) return write_output(output, bytes, "--output");
  if (settings.json) return show(record("port", port, "data", hex_text(bytes)));
  hexdump(bytes, 0);
}

/** The library prints why it refuses a module. */
static uint16_t read_register(uint32_t number) {
  uint16_t word = 0;
  require_cage(port);
  Printed printed = printed_by([&] { return FW_Get_SFP_SGMII_Reg(port, number, &word); });
  printed.text.erase(printed.text.find_last_not_of(" \n") + 1);
  if (printed.status == FW_FAIL) require_board();
  if (printed.status == FW_FAIL && !printed.text.empty())
    throw Failure{format("FW_FAIL: port %u: ", port) + printed.text, FW_FAIL};
  require_port(printed.status, port, "PHY register of the module");
  return word;
}

static void access_registers() {
  if (value != kNone) {
    read_register(reg);  // refuses what is no copper module: the write itself calls that a success
    require_port(FW_Set_SFP_SGMII_Reg(port, reg, static_cast<uint16_t>(value)), port, "PHY register of the module");
  }
  if (reg != kNone) return show(decode_register(reg, read_register(reg)));
  Json rows = Json::array();
  for (const uint32_t number : named_registers()) rows.push_back(decode_register(number, read_register(number)));
  show(rows);
}

/** The library's classification of a copper module puts its PHY into SGMII mode. */
static void set_sgmii() {
  constexpr uint16_t kAdvertisement = 0x0DE1;  // what the SGMII sequence leaves in register 4
  uint8_t code = 0;
  const auto page = require_page();
  if (!is_copper_module(page)) throw Failure{format("port %u: the module is no 1000BASE-T module", port)};
  const uint32_t status = FW_Get_SFP_Speed(port, &code);
  if (status == FW_FAIL) require_board();
  if (status == FW_FAIL) throw Failure{format("FW_FAIL: port %u: no Marvell PHY, or it does not answer", port), status};
  require_port(status, port, "PHY of the module");
  const uint16_t advertised = read_register(4);
  show(record("port", port, "class", class_name(code), "advertisement", format("0x%04x", advertised), "sgmii",
              advertised == kAdvertisement, "link", link_of(port, page)));
}

Json modules() { return port_rows(module_record); }

void add_sfp_commands(App &app) {
  App *family = command(app, "sfp", "Pluggable modules", "sfp list");
  command(*family, "list", "All cages: class, vendor, part, rate, link", "sfp list", [] { show(modules()); });
  App *shower =
      command(*family, "show", "A module's page; -v: the library's display too (switches a copper transmitter on)",
              "sfp show 24", show_module);
  App *dumper = command(*family, "dump", "A module's memory, 256 bytes", "sfp dump 24 -o page.bin", dump);
  output_option(dumper, output);
  App *phy =
      command(*family, "phy", "PHY registers of a copper module, switched on", "sfp phy 3 0 0x9140", access_registers);
  App *sgmii = command(*family, "sgmii", "Puts a copper module's PHY into SGMII mode", "sfp sgmii 3", set_sgmii);
  for (App *leaf : {shower, dumper, phy, sgmii}) number(leaf, "PORT", port, "Port", 0, kPorts - 1);
  number(phy, "REGISTER", reg, "Register (all that have names)", 0, 31, Needed::Never);
  number(phy, "VALUE", value, "Value to write", 0, 0xFFFF, Needed::Never);
}
