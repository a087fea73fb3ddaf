#include "board/command.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

void zel::run_command(const char *format, ...) {
  char line[128];
  va_list numbers;
  va_start(numbers, format);
  vsnprintf(line, sizeof line, format, numbers);
  va_end(numbers);
  [[maybe_unused]] const int status = system(line);
}
