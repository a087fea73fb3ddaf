#include "records.h"

constexpr uint32_t kNoPort = kPorts, kKeep = 2;
static uint32_t cage_port = kNoPort, tx_disable = kKeep;

static std::string boardInSlot(uint32_t slot) {
  uint8_t type = 0;
  const uint32_t status = FW_GetDauBoard(slot, &type);
  if (status == FW_FAIL) requireBoard();
  if (status == FW_ABSENT) return "none";
  return status != 0 ? statusName(status) : type == 1 ? "copper" : "sfp";
}

static Json portRecord(uint32_t port, Signals wanted) {
  uint8_t line = 1;
  uint32_t status = FW_GetPortSfpPresnt(port, &line);
  if (status == FW_FAIL) requireBoard();
  const bool daughter = port < kDaughterPorts;
  const char *type = status == FW_ABSENT ? "none" : status == FW_NOT_SFP ? "copper" : daughter ? "sfp" : "sfp-10g";
  const bool fitted = status == 0 && line == 0;  // a module pulls the line low
  Json row = record("port", port, "slot", daughter ? Json(port / kPortsPerSlot + 1) : Json(), "type", type, "module",
                    status == 0 ? Json(fitted) : Json());
  row["presence_line"] = status == 0 ? Json(line) : Json();
  const auto read = [&](const char *key, uint32_t (*signal)(uint32_t, uint8_t *)) {
    row[key] = Json();
    if (status != 0 || (wanted == Signals::OfModules && !fitted)) return;
    status = signal(port, &line);
    if (status == 0) row[key] = line;
  };
  read("tx_disable", FW_GetPortSfpTxDisable);
  read("tx_fault", FW_GetPortSfpTxFault);
  read("los", FW_GetPortSfpLos);
  row["status"] = statusName(status);
  return row;
}

static void operateCage() {
  if (cage_port == kNoPort) refuseArgument("PORT", "is required");
  if (tx_disable != kKeep) return requirePort(FW_SetPortSfpTxDisable(cage_port, tx_disable), cage_port);
  uint8_t line = 0;
  requirePort(FW_GetPortSfpPresnt(cage_port, &line), cage_port);
  show(portRecord(cage_port, Signals::All));
}

/** A copper board has no cages: its slot is passed over. */
static void initCages() {
  require(FW_InitOnBoardExpender(), "main board's expanders");
  Json rows = Json::array({record("board", "main", "expanders", "initialised")});
  for (uint32_t slot = 1; slot <= kSlots; ++slot) {
    const std::string type = boardInSlot(slot);
    if (type == "sfp") require(FW_InitDauExpender(slot), format("expanders of slot %u", slot));
    rows.push_back(record("board", format("slot %u", slot), "expanders", type == "sfp" ? "initialised" : type));
  }
  show(rows);
}

Json board() {
  const bool clock = byteOf(FW_GetRTC_Alive, "real-time clock") != 0;
  const bool sensor = byteOf(FW_GetLM75_Alive, "temperature sensor") != 0;
  uint8_t copper = 0;
  BoardType_Check(1, 0, &copper);
  Json slots = Json::array();
  for (uint32_t slot = 1; slot <= kSlots; ++slot)
    slots.push_back(record("slot", slot, "ports", format("%u-%u", (slot - 1) * kPortsPerSlot, slot * kPortsPerSlot - 1),
                           "board", boardInSlot(slot)));
  return record("copper_boards", copper, "clock", clock, "temperature_sensor", sensor, "slots", slots);
}

Json ports(Signals wanted) {
  Json rows = Json::array();
  for (uint32_t port = 0; port < kPorts; ++port) rows.push_back(portRecord(port, wanted));
  return rows;
}

void addPortCommands(App &app) {
  command(app, "board", "Daughter boards, clock and sensor", "board", [] { show(board()); });
  command(app, "ports", "All 28 ports: slot, type, module and cage signals", "ports --json",
          [] { show(ports(Signals::All)); });
  App *cage = command(app, "cage", "One cage's signals, or its transmitter", "cage 5 --tx-disable on", operateCage);
  number(cage, "PORT", cage_port, "Port", 0, kPorts - 1)->required(false);
  choice(cage, "--tx-disable", tx_disable, "Switch the module's transmitter: on = disabled", kOnOff);
  command(*cage, "init", "Initialises the expanders: every transmitter off", "cage init", initCages);
}
