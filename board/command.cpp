#include "board/command.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

void zel::run_command(const char *format, ...) {
  char line[128] = {};
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  [[maybe_unused]] const int status = system(line);
}
