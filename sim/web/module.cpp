#include "../../cli/diagnostics_page.h"
#include "made_diagnostics.h"
#include "web.h"

// A module's pages, decoded as zelctl does.

namespace zelsim::web {

Json module_document(const std::string &board, unsigned port) {
  tool::OpenBoard open = tool::look_at(board);
  const Cage &cage = open->cages[port];
  if (!cage.fitted) throw Failure("PORT: " + std::to_string(port) + " has no module");
  const ModulePage identification = std::span(cage.page).first<kPageLength>();
  Json document = {{"port", port}, {"decoded", decode_page(identification)}, {"page", hex_text(cage.page)}};
  if (!cage.diagnostics.present) return document;
  const std::vector<uint8_t> page = tool::diagnostics_bytes(*open, port);
  document["diagnostics"] = decode_diagnostics(identification, std::span(page).first<kPageLength>());
  document["diagnostics_page"] = hex_text(page);
  return document;
}

}  // namespace zelsim::web
