// One export returning a three-byte record by value, declared the way the
// library's pixel conversions are: it reverses the input record's bytes and
// adds 1 to each.
#include <cstdint>

#include "nadiro/nadiro.h"

struct ProbeRecord {
  uint8_t c[3];
};
static_assert(sizeof(ProbeRecord) == 3);

extern "C" __declspec(dllexport) ProbeRecord NADIRO_RECORD_RETURN NADIRO_CALL
    ProbeReverseRecord(const uint8_t* input) {
  ProbeRecord r;
  for (int i = 0; i < 3; ++i) r.c[i] = static_cast<uint8_t>(input[2 - i] + 1);
  return r;
}
