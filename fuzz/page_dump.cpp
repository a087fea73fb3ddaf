// Files given as modules: raw pages and hexadecimal dumps of any tool.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fake_board.h"
#include "modules.h"
#include "tool.h"

// The name that a complaint begins with.
const char *const kProgram = "fuzz_page_dump";

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const int fd = memfd_create("dump", 0);
  static const std::string path = "/proc/self/fd/" + std::to_string(fd);
  fake::require(ftruncate(fd, 0) == 0 && pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));
  try {
    zelsim::tool::read_pages(path);
  } catch (const zelsim::tool::Usage &) {
    // a refusal names the argument
  }
  return 0;
}
