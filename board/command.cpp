#include "board/command.h"

#include <stdio.h>
#include <stdlib.h>

void zel::run_command(const char *format, uint32_t first, uint32_t second, uint32_t third) {
  char line[128] = {};
  snprintf(line, sizeof line, format, first, second, third);
  [[maybe_unused]] const int status = system(line);
}
