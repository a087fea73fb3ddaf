#include "tool.h"

void zelsim::tool::draw_panel(const Line &) {}
