// Checks a whole-flash image file by its size and its byte sum.
#include <fcntl.h>
#include <stdio.h>

#include "board/descriptor.h"
#include "flash/file.h"
#include "flash/map.h"

uint32_t FW_CheckFile(const char *path, uint32_t sum) {
  const zel::Descriptor file(open(path, O_RDONLY));
  if (!file) {
    printf("FW_CheckFile() Open image file %s fail\n", path);
    return FW_FAIL;
  }
  const zel::FileSum found = zel::sum_file(file.get());
  const bool valid = !found.read_error && found.size == zel::whole_flash() && found.sum == sum;
  return valid ? 0 : FW_FAIL;
}
