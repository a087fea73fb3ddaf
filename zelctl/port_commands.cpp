#include "records.h"

constexpr uint32_t kNoPort = kPorts, kKeep = 2;
static uint32_t cage_port = kNoPort, tx_disable = kKeep;

Fitted fitted_in(uint32_t slot) {
  uint8_t alive = 0, type = 0;
  require(FW_GetDau_Alive(slot, &alive), format("presence of the board in slot %u", slot));
  if (alive == 0) return Fitted::None;
  require(FW_GetDauBoard(slot, &type), format("type of the board in slot %u", slot));
  return type == FW_BOARD_COPPER ? Fitted::Copper : Fitted::Cages;
}

Fitted fitted_at(uint32_t port) {
  return port < kDaughterPorts ? fitted_in(port / kPortsPerSlot + FW_SLOT_FIRST) : Fitted::Cages;
}

uint32_t copper_boards() {
  uint32_t copper = 0;
  for (uint32_t slot = FW_SLOT_FIRST; slot <= kSlots; ++slot) copper += fitted_in(slot) == Fitted::Copper ? 1 : 0;
  return copper;
}

void require_cage(uint32_t port) {
  const uint32_t slot = port / kPortsPerSlot + FW_SLOT_FIRST;
  const Fitted fitted = fitted_at(port);
  if (fitted == Fitted::None) throw Failure{format("FW_ABSENT: no daughter board in slot %u", slot), FW_ABSENT};
  if (fitted == Fitted::Cages) return;
  throw Failure{format("FW_NOT_SFP: port %u has no SFP cage: copper board in slot %u", port, slot), FW_NOT_SFP};
}

void require_port(uint32_t status, uint32_t port, const char *what) {
  // Where there is a cage, these are what the library makes of a question that the driver did not answer.
  if (status == FW_ABSENT || status == FW_NOT_SFP)
    throw Failure{status_name(status) + format(": port %u: %s: the board in its slot did not answer", port, what),
                  status};
  require(status, format("port %u: %s", port, what));
}

Json port_record(uint32_t port, Fitted fitted, Signals wanted) {
  const bool daughter = port < kDaughterPorts, cage = fitted == Fitted::Cages;
  const char *type = fitted == Fitted::None ? "none" : !cage ? "copper" : daughter ? "sfp" : "sfp-10g";
  Json row = record("port", port, "slot", daughter ? Json(port / kPortsPerSlot + FW_SLOT_FIRST) : Json(), "type", type,
                    "module", nullptr, "presence_line", nullptr);
  uint32_t status = cage ? FW_OK : fitted == Fitted::None ? FW_ABSENT : FW_NOT_SFP;
  const auto read = [&](const char *key, uint32_t (*signal)(uint32_t, uint8_t *)) {
    uint8_t line = 1;
    row[key] = Json();
    if (status != 0 || (wanted == Signals::OfModules && row["module"] == false)) return;
    status = signal(port, &line);
    if (status == 0) {
      row[key] = line;
      return;
    }
    try {
      require_port(status, port, key);
    } catch (const Failure &failure) {
      postpone(failure);
    }
  };
  read("presence_line", FW_GetPortSfpPresnt);
  if (!row["presence_line"].is_null()) row["module"] = row["presence_line"] == 0;  // a module pulls the line low
  read("tx_disable", FW_GetPortSfpTxDisable);
  read("tx_fault", FW_GetPortSfpTxFault);
  read("los", FW_GetPortSfpLos);
  row["status"] = status_name(status);
  return row;
}

static std::string name_of(Fitted fitted) { return name_of("none|copper|sfp", static_cast<uint32_t>(fitted)); }

static void operate_cage() {
  if (cage_port == kNoPort) refuse_argument("PORT", "is required");
  require_cage(cage_port);
  if (tx_disable != kKeep) return require_port(FW_SetPortSfpTxDisable(cage_port, tx_disable), cage_port, "transmitter");
  show(port_record(cage_port, Fitted::Cages, Signals::All));
}

/** A copper board has no cages: its slot is passed over. */
static void init_cages() {
  require(FW_InitOnBoardExpender(), "main board's expanders");
  Json rows = Json::array({record("board", "main", "expanders", "initialised")});
  for (uint32_t slot = FW_SLOT_FIRST; slot <= kSlots; ++slot) {
    const Fitted fitted = fitted_in(slot);
    if (fitted == Fitted::Cages) require(FW_InitDauExpender(slot), format("expanders of slot %u", slot));
    rows.push_back(record("board", format("slot %u", slot), "expanders",
                          fitted == Fitted::Cages ? "initialised" : name_of(fitted)));
  }
  show(rows);
}

Json board() {
  const bool clock = byte_of(FW_GetRTC_Alive, "real-time clock") != 0;
  const bool sensor = byte_of(FW_GetLM75_Alive, "temperature sensor") != 0;
  uint32_t copper = 0;
  Json slots = Json::array();
  for (uint32_t slot = FW_SLOT_FIRST; slot <= kSlots; ++slot) {
    const Fitted fitted = fitted_in(slot);
    copper += fitted == Fitted::Copper ? 1 : 0;
    slots.push_back(record("slot", slot, "ports", format("%u-%u", (slot - 1) * kPortsPerSlot, slot * kPortsPerSlot - 1),
                           "board", name_of(fitted)));
  }
  return record("copper_boards", copper, "clock", clock, "temperature_sensor", sensor, "slots", slots);
}

Json port_rows(const std::function<Json(uint32_t port, Fitted fitted)> &row) {
  Json rows = Json::array();
  Fitted fitted = Fitted::None;
  for (uint32_t port = 0; port < kPorts; ++port) {
    if (port % kPortsPerSlot == 0) fitted = fitted_at(port);
    rows.push_back(row(port, fitted));
  }
  return rows;
}

Json ports(Signals wanted) {
  return port_rows([=](uint32_t port, Fitted fitted) { return port_record(port, fitted, wanted); });
}

void add_port_commands(App &app) {
  command(app, "board", "Daughter boards, clock and sensor", "board", [] { show(board()); });
  command(app, "ports", "All 28 ports: slot, type, module and cage signals", "ports --json",
          [] { show(ports(Signals::All)); });
  App *cage = command(app, "cage", "One cage's signals, or its transmitter", "cage 5 --tx-disable on", operate_cage);
  number(cage, "PORT", cage_port, "Port", 0, kPorts - 1, Needed::Never);
  choice(cage, "--tx-disable", tx_disable, "Switch the module's transmitter: on = disabled", kOnOff);
  command(*cage, "init", "Initialises the expanders: every transmitter off", "cage init", init_cages);
}
