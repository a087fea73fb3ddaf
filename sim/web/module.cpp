#include "../../tools/records.h"
#include "web.h"

// A module's page, decoded as zelctl does.

namespace zelsim::web {

namespace {

// What the other end of a copper module's cable offers.
Json link_of(const Cage &cage) {
  if (cage.phy == PhyKind::None) return {};
  return {{"speed", cage.link_speed > 0 ? std::to_string(cage.link_speed) : "down"},
          {"duplex", cage.full_duplex ? "full" : "half"}};
}

}  // namespace

Json module_document(const std::string &board, unsigned port) {
  tool::OpenBoard open = tool::look_at(board);
  const Cage &cage = open->cages[port];
  if (!cage.fitted) throw tool::Failure("PORT: port " + std::to_string(port) + " has no module");
  return {{"port", port},
          {"module", std::string(cage.name, strnlen(cage.name, sizeof cage.name))},
          {"link", link_of(cage)},
          {"decoded", decodePage(std::span(cage.page).first<kPageLength>())},
          {"page", hexText(cage.page)}};
}

}  // namespace zelsim::web
