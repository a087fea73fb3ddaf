#include <memory>

#include "records.h"

static const char *type_of(uint32_t port, Fitted fitted) {
  if (fitted == Fitted::None) return "none";
  if (fitted == Fitted::Copper) return "copper";
  return port < FW_PORT_FIRST_10G ? "sfp" : "sfp-10g";
}

static uint32_t status_of(Fitted fitted) {
  if (fitted == Fitted::None) return FW_ABSENT;
  if (fitted == Fitted::Copper) return FW_NOT_SFP;
  return FW_OK;
}

/** One signal of each cage, by the key that it has in a port's record. */
struct Signal {
  const char *key;
  uint32_t (*read)(uint32_t port, uint8_t *line);
};
constexpr Signal kPresence{"presence_line", FW_GetPortSfpPresnt};
constexpr Signal kModuleSignals[] = {
    {"tx_disable", FW_GetPortSfpTxDisable}, {"tx_fault", FW_GetPortSfpTxFault}, {"loss_of_signal", FW_GetPortSfpLos}};

/** The level of a signal's line. Null if it cannot be read: the failure is postponed.
 *  @param status  in/out: the port's status. If it is a failure already, nothing is read. A read stores its result */
static Json read_signal(const Signal &signal, uint32_t port, uint32_t &status) {
  if (status != FW_OK) return {};
  uint8_t line = 1;
  status = signal.read(port, &line);
  if (status == FW_OK) return line;
  try {
    require_port(status, port, signal.key);
  } catch (const Failure &failure) {
    postpone(failure);
  }
  return {};
}

Json port_record(uint32_t port, Fitted fitted, ReadSignals wanted) {
  const Json slot = port < FW_PORT_FIRST_10G ? Json(slot_of(port)) : Json();
  uint32_t status = status_of(fitted);
  const Json presence = read_signal(kPresence, port, status);
  Json row =
      record("port", port, "slot", slot, "type", type_of(port, fitted), "module", nullptr, kPresence.key, presence);
  if (!presence.is_null()) row["module"] = presence == 0;  // a module pulls the line low
  const bool skipped = wanted == ReadSignals::OfModulesOnly && row["module"] == false;
  for (const Signal &signal : kModuleSignals) row[signal.key] = skipped ? Json() : read_signal(signal, port, status);
  row["status"] = status_name(status);
  return row;
}

Json ports(ReadSignals wanted) {
  return port_rows([=](uint32_t port, Fitted fitted) { return port_record(port, fitted, wanted); });
}

constexpr uint32_t kNotGiven = 0xFFFFFFFF;

struct CageOptions {
  uint32_t port = kNotGiven;
  uint32_t tx_disable = kNotGiven;
};

static void show_or_switch_cage(const CageOptions &options) {
  if (options.port == kNotGiven) refuse_argument("PORT", "is required");
  require_cage(options.port);
  if (options.tx_disable == kNotGiven)
    show(port_record(options.port, Fitted::Cages, ReadSignals::All));
  else
    require_port(FW_SetPortSfpTxDisable(options.port, options.tx_disable), options.port, "transmitter");
}

/** A copper board has no cages: its slot is skipped. */
static void init_cages() {
  require(FW_InitOnBoardExpender(), "main board's expanders");
  Json rows = Json::array({record("board", "main", "expanders", "initialised")});
  for (uint32_t slot = FW_SLOT_FIRST; slot <= FW_SLOT_LAST; ++slot) {
    const Fitted fitted = fitted_in(slot);
    std::string expanders = fitted_name(fitted);
    if (fitted == Fitted::Cages) {
      require(FW_InitDauExpender(slot), format("expanders of slot %u", slot));
      expanders = "initialised";
    }
    rows.push_back(record("board", format("slot %u", slot), "expanders", expanders));
  }
  show(rows);
}

void add_port_commands(App &app) {
  command(app, "board", "Daughter boards, clock and sensor", "board", [] { show(board()); });
  command(app, "ports", format("All %u ports: slot, type, module and cage signals", FW_PORTS).c_str(), "ports --json",
          [] { show(ports(ReadSignals::All)); });
  const auto options = std::make_shared<CageOptions>();
  App *cage = command(app, "cage", "One cage's signals, or its transmitter", "cage 5 --tx-disable on",
                      holding_signals([options] { show_or_switch_cage(*options); }));
  add_number(cage, "PORT", options->port, "Port", 0, FW_PORT_LAST, Needed::Never);
  add_choice(cage, "--tx-disable", options->tx_disable, "Switch the module's transmitter: on = disabled", kOnOff);
  command(*cage, "init", "Initialises the expanders: every transmitter off", "cage init", holding_signals(init_cages));
}
