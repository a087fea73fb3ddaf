#include "records.h"

Fitted fitted_in(uint32_t slot) {
  uint8_t alive = 0;
  require(FW_GetDau_Alive(slot, &alive), format("presence of the board in slot %u", slot));
  if (alive == 0) return Fitted::None;
  uint8_t type = 0;
  require(FW_GetDauBoard(slot, &type), format("type of the board in slot %u", slot));
  return type == FW_BOARD_COPPER ? Fitted::Copper : Fitted::Cages;
}

Fitted fitted_at(uint32_t port) { return port < FW_PORT_FIRST_10G ? fitted_in(slot_of(port)) : Fitted::Cages; }

std::string fitted_name(Fitted fitted) { return name_of("none|copper|sfp", static_cast<uint32_t>(fitted)); }

uint32_t copper_boards() {
  uint32_t count = 0;
  for (uint32_t slot = FW_SLOT_FIRST; slot <= FW_SLOT_LAST; ++slot) {
    if (fitted_in(slot) == Fitted::Copper) ++count;
  }
  return count;
}

void require_cage(uint32_t port) {
  const Fitted fitted = fitted_at(port);
  if (fitted == Fitted::Cages) return;
  const uint32_t slot = slot_of(port);
  if (fitted == Fitted::None) throw Failure{format("FW_ABSENT: no daughter board in slot %u", slot), FW_ABSENT};
  throw Failure{format("FW_NOT_SFP: port %u has no SFP cage: copper board in slot %u", port, slot), FW_NOT_SFP};
}

void require_port(uint32_t status, uint32_t port, const char *what) {
  // The port has a cage. The library still returns these if its own question about the board gets no answer.
  if (status == FW_ABSENT || status == FW_NOT_SFP) {
    const std::string line = format(": port %u: %s: the board in its slot did not answer", port, what);
    throw Failure{status_name(status) + line, status};
  }
  require(status, format("port %u: %s", port, what));
}

Json port_rows(const std::function<Json(uint32_t port, Fitted fitted)> &row) {
  Json rows = Json::array();
  Fitted fitted = Fitted::None;
  for (uint32_t port = 0; port <= FW_PORT_LAST; ++port) {
    const bool is_first = port % FW_PORTS_PER_SLOT == 0;  // of a slot, or of the main board
    if (is_first) fitted = fitted_at(port);
    rows.push_back(row(port, fitted));
  }
  return rows;
}

Json board() {
  const bool clock = byte_of(FW_GetRTC_Alive, "real-time clock") != 0;
  const bool sensor = byte_of(FW_GetLM75_Alive, "temperature sensor") != 0;
  uint32_t copper = 0;
  Json slots = Json::array();
  for (uint32_t slot = FW_SLOT_FIRST; slot <= FW_SLOT_LAST; ++slot) {
    const Fitted fitted = fitted_in(slot);
    if (fitted == Fitted::Copper) ++copper;
    const uint32_t first = (slot - FW_SLOT_FIRST) * FW_PORTS_PER_SLOT;
    const std::string ports = format("%u-%u", first, first + FW_PORTS_PER_SLOT - 1);
    slots.push_back(record("slot", slot, "ports", ports, "board", fitted_name(fitted)));
  }
  return record("copper_boards", copper, "clock", clock, "temperature_sensor", sensor, "slots", slots);
}
