#include <memory>

#include "optics.h"

struct ClassName {
  uint8_t code;
  const char *name;
};
constexpr ClassName kClassNames[] = {
    {FW_SFP_100FX, "100FX"},
    {FW_SFP_1000BASE_X, "1000BASE-X"},
    {FW_SFP_COPPER, "1000BASE-T"},
    {FW_SFP_UNKNOWN, "unknown"},
    {FW_SFP_2G5, "2G5"},
    {FW_SFP_5G, "5G"},
    {FW_SFP_10G, "10G"},
    {FW_SFP_10G_DAC, "10G DAC"},
    {FW_SFP_10G_ER, "10G ER"},
    {FW_SFP_10G_LRM, "10G LRM"},
    {FW_SFP_10G_LR, "10G LR"},
    {FW_SFP_10G_SR, "10G SR"},
    {FW_SFP_COPPER_SERDES, "1000BASE-T SerDes"},
    {FW_SFP_NOT_A_MODULE, "not an SFP"},
};

static std::string class_name(uint8_t code) {
  for (const ClassName &row : kClassNames) {
    if (row.code == code) return row.name;
  }
  return std::to_string(code);
}

/** Page A0h of the module in a cage. Throws FW_NOT_SET if the cage is empty. */
static LowerHalf read_page(uint32_t port) {
  select_module(port);
  return read_lower_half(port, FW_SFP_MEMORY, kIdentificationText);
}

/** The same for any port: throws if the port has no cage. */
static LowerHalf require_page(uint32_t port) {
  require_cage(port);
  return read_page(port);
}

/** A copper module is classified from its page: the library's question would reset its PHY and drop the link. */
static uint8_t class_of(uint32_t port, ModulePage page) {
  constexpr const char *kSerdesOnly = "AXGT-R154-0M06";
  if (is_copper_module(page)) {
    const bool serdes_only = part_number_of(page).starts_with(kSerdesOnly);
    return serdes_only ? FW_SFP_COPPER_SERDES : FW_SFP_COPPER;
  }
  uint8_t code = FW_SFP_NOT_A_MODULE;
  require_port(FW_Get_SFP_Speed(port, &code), port, "class of the module");
  return code;
}

/** Link of a copper module. Null for other modules, and for a PHY that does not answer: its transmitter may be off. */
static Json link_of(uint32_t port, ModulePage page) {
  if (!is_copper_module(page)) return {};
  uint8_t link = 0;
  uint8_t speed = 0;
  const uint32_t status = FW_SFP_SGMII_Get_Status(port, &link, &speed, 0);
  constexpr const char *kSpeeds = "up, reserved speed|10 full|100 full|1000|10 half|100 half";  // by FW_LINK_...
  if (link != 0) return name_of(kSpeeds, speed);
  if (status == FW_FAIL) return {};
  require_port(status, port, "link of the module");
  return "down";
}

static Json module_record(uint32_t port, Fitted fitted) {
  Json row = record("port", port, "class", nullptr, "code", nullptr, "vendor", nullptr, "part_number", nullptr,
                    "revision", nullptr, "rate_mbd", nullptr, "link", nullptr, "checksums", nullptr);
  if (fitted != Fitted::Cages) {
    row["class"] = fitted == Fitted::None ? "no board" : "copper port";
    return row;
  }
  try {
    const LowerHalf page = read_page(port);
    const uint8_t code = class_of(port, page);
    append(row, "class", class_name(code), "code", code, "vendor", vendor_of(page), "part_number", part_number_of(page),
           "revision", revision_of(page), "rate_mbd", signalling_rate(page), "link", link_of(port, page), "checksums",
           checksums_hold(page) ? "correct" : "wrong");
  } catch (const Failure &failure) {
    const bool empty = failure.status == FW_NOT_SET;
    row["class"] = empty ? "empty" : status_name(failure.status);
    if (!empty) postpone(failure);
  }
  return row;
}

static void show_module(uint32_t port) {
  const LowerHalf page = require_page(port);
  const uint8_t code = class_of(port, page);
  Json all = record("port", port, "class", class_name(code), "code", code);
  all.update(decode_page(page));
  all["link"] = link_of(port, page);
  show(all);
  if (settings.verbose) FW_Show_SFP_Moudle(port, 0, 1);
}

/** A register of a module's PHY. For a module without a PHY the library prints why it refuses. */
static uint16_t read_register(uint32_t port, uint32_t number) {
  uint16_t word = 0;
  require_cage(port);
  const Printed printed = printed_by([&] { return FW_Get_SFP_SGMII_Reg(port, number, &word); });
  if (printed.status == FW_FAIL) {
    require_board();
    const std::string reason = printed.text.substr(0, printed.text.find_last_not_of(" \n") + 1);
    if (!reason.empty()) throw Failure{format("FW_FAIL: port %u: ", port) + reason, FW_FAIL};
  }
  require_port(printed.status, port, "PHY register of the module");
  return word;
}

constexpr uint32_t kNotGiven = 0xFFFFFFFF;

struct ModulePhyOptions {
  uint32_t port = 0;
  uint32_t number = kNotGiven;  // of the register
  uint32_t value = kNotGiven;
};

static void access_registers(const ModulePhyOptions &options) {
  const auto [port, number, value] = options;
  if (value != kNotGiven) {
    read_register(port, number);  // throws unless it is a copper module: the write would report a success
    require_port(FW_Set_SFP_SGMII_Reg(port, number, static_cast<uint16_t>(value)), port, "PHY register of the module");
  }
  if (number != kNotGiven) {
    show(decode_register(number, read_register(port, number)));
    return;
  }
  Json rows = Json::array();
  for (const uint32_t named : named_registers()) rows.push_back(decode_register(named, read_register(port, named)));
  show(rows);
}

/** The library's classification of a copper module puts its PHY into SGMII mode. */
static void set_sgmii(uint32_t port) {
  constexpr uint32_t kAdvertisementRegister = 4;
  constexpr uint16_t kSgmiiAdvertisement = 0x0DE1;  // what the SGMII sequence leaves there
  const LowerHalf page = require_page(port);
  if (!is_copper_module(page)) throw Failure{format("port %u: the module is no 1000BASE-T module", port)};
  uint8_t code = 0;
  const uint32_t status = FW_Get_SFP_Speed(port, &code);
  if (status == FW_FAIL) {
    require_board();
    throw Failure{format("FW_FAIL: port %u: no Marvell PHY, or it does not answer", port), status};
  }
  require_port(status, port, "PHY of the module");
  const uint16_t advertised = read_register(port, kAdvertisementRegister);
  show(record("port", port, "class", class_name(code), "advertisement", format("0x%04x", advertised), "sgmii",
              advertised == kSgmiiAdvertisement, "link", link_of(port, page)));
}

Json modules() { return port_rows(module_record); }

static void add_port_argument(App *app, uint32_t &port) { add_number(app, "PORT", port, "Port", 0, FW_PORT_LAST); }

static void add_show(App &family) {
  const auto port = std::make_shared<uint32_t>();
  App *app = command(family, "show",
                     "A module's page; with -v also the library's display, which switches a copper transmitter on",
                     "sfp show 24", [port] { show_module(*port); });
  add_port_argument(app, *port);
}

static void add_phy(App &family) {
  const auto options = std::make_shared<ModulePhyOptions>();
  App *app = command(family, "phy", "PHY registers of a copper module; its transmitter is switched on",
                     "sfp phy 3 0 0x9140", holding_signals([options] { access_registers(*options); }));
  add_port_argument(app, options->port);
  add_number(app, "REGISTER", options->number, "Register (default: all that have names)", 0, 31, Needed::Never);
  add_number(app, "VALUE", options->value, "Value to write", 0, 0xFFFF, Needed::Never);
}

static void add_sgmii(App &family) {
  const auto port = std::make_shared<uint32_t>();
  App *app = command(family, "sgmii", "Puts a copper module's PHY into SGMII mode", "sfp sgmii 3",
                     holding_signals([port] { set_sgmii(*port); }));
  add_port_argument(app, *port);
}

void add_sfp_commands(App &app) {
  App *family = command(app, "sfp", "Pluggable modules", "sfp list");
  command(*family, "list", "All cages: class, vendor, part, rate, link", "sfp list", [] { show(modules()); });
  add_show(*family);
  add_optics_commands(*family);
  add_phy(*family);
  add_sgmii(*family);
}
