#include "exif/tag_parse.h"

int ParseTypedValues(uint32_t, const char*, uint32_t, std::string_view, std::vector<uint8_t>*) { return -1; }
int ParseRationalText(const char*, int32_t rational[2]) {
  rational[0] = 0;
  rational[1] = 1;
  return 1;
}
