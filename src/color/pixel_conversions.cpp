// The 72 single-colour conversions: one export per member of the family
// list, each a shell that runs the member on the caller's record.
#include <cstring>

#include "color/models.h"
#include "nadiro/nadiro.h"

namespace nadiro::color {
namespace {

// The record types of the interface, by model.
template <class M>
struct Record {
  using Input = NadiroColor3;
  using Result = NadiroColor3;
};
template <>
struct Record<model::CMYK> {
  using Input = NadiroColor4;
  using Result = NadiroPackedCMYK;
};

inline NadiroColor3 toResult(const uint8_t* bytes, NadiroColor3*) {
  NadiroColor3 r;
  std::memcpy(r.v, bytes, 3);
  return r;
}
inline NadiroPackedCMYK toResult(const uint8_t* bytes, NadiroPackedCMYK*) {
  return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 |
         uint32_t{bytes[3]} << 24;
}

template <class Member, class From, class To>
typename Record<To>::Result runMember(const typename Record<From>::Input* in) {
  uint8_t out[Member::kOut];
  Member::apply(in->v, out);
  return toResult(out, static_cast<typename Record<To>::Result*>(nullptr));
}

}  // namespace
}  // namespace nadiro::color

using namespace nadiro::color;

#define NADIRO_DEFINE_MEMBER(FROM, TO, KIND)                                    \
  extern "C" NADIRO_API Record<model::TO>::Result NADIRO_CALL FROM##to##TO(     \
      const Record<model::FROM>::Input* in) {                                   \
    return runMember<KIND<model::FROM, model::TO>, model::FROM, model::TO>(in); \
  }
NADIRO_COLOR_MEMBERS(NADIRO_DEFINE_MEMBER)
#undef NADIRO_DEFINE_MEMBER
