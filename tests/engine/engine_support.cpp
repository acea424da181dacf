#include "engine/engine_support.h"

namespace nadiro::test {

Dithered ditherToIndices(const Pixels& picture, const NadiroDitherOptions& options) {
  Dithered d;
  d.indices.assign(size_t{picture.width} * picture.height, 0);
  NadiroDitherTarget target{};
  target.pixels = d.indices.data();
  target.stride = picture.width;
  target.format = NADIRO_PIXELS_INDEX8;
  const NadiroDitherSource source = picture.source();
  d.status = NadiroDither(&source, &target, &options);
  d.palette.assign(&target.palette[0][0], &target.palette[0][0] + 3 * target.paletteCount);
  return d;
}

NadiroDitherOptions optionsWith(uint32_t palette, uint32_t method) {
  NadiroDitherOptions o;
  NadiroDitherOptionsInit(&o);
  o.palette = palette;
  o.method = method;
  return o;
}

}  // namespace nadiro::test
