#include "call_names.h"

#include <fcntl.h>
#include <unistd.h>

namespace zelsim {

const char *access_name(int flags) {
  switch (flags & O_ACCMODE) {
    case O_RDONLY:
      return "O_RDONLY";
    case O_WRONLY:
      return "O_WRONLY";
    default:
      return "O_RDWR";
  }
}

const char *origin_name(int whence) {
  switch (whence) {
    case SEEK_SET:
      return "";
    case SEEK_CUR:
      return "+";
    case SEEK_END:
      return "end+";
    default:
      return "?";
  }
}

}  // namespace zelsim
