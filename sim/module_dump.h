#pragma once

#include <string>

namespace zelsim::tool {

/** Page A0h; with diagnostics page A2h follows. */
constexpr size_t kOnePage = 256;
constexpr size_t kTwoPages = 2 * kOnePage;

/** The refusal of a file that does not begin with page A0h. */
constexpr char kDiagnosticsAlone[] = "MODULE: the dump has page A2h alone: a module begins with page A0h";

/** The bytes of a hexadecimal dump of a module's pages, as diagnostic tools print it. Throws Usage. */
std::string parse_module_dump(const std::string &dump);

}  // namespace zelsim::tool
