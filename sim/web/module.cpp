#include "../../cli/module_page.h"
#include "web.h"

// A module's page, decoded as zelctl does.

namespace zelsim::web {

Json module_document(const std::string &board, unsigned port) {
  tool::OpenBoard open = tool::look_at(board);
  const Cage &cage = open->cages[port];
  if (!cage.fitted) throw Failure("PORT: port " + std::to_string(port) + " has no module");
  return {{"port", port},
          {"decoded", decode_page(std::span(cage.page).first<kPageLength>())},
          {"page", hex_text(cage.page)}};
}

}  // namespace zelsim::web
