#include "environment.h"

#include <stdlib.h>
#include <string.h>

namespace zelsim {

const char *variable(const char *name) {
  const char *value = getenv(name);
  return value != nullptr ? value : "";
}

bool is_on(const char *name) {
  const char *value = variable(name);
  return value[0] != '\0' && strcmp(value, "0") != 0;
}

}  // namespace zelsim
