// `nadiro color` (one colour between models) and `nadiro convert` (a whole
// picture into another colour model), plus the demo's channel gallery.
#include <cstdio>
#include <cstring>
#include <string>

#include "cli.h"
#include "color_models.h"
#include "formats.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

int runColor(std::span<const std::string> args) {
  const Args a(args, {});
  if (!a.ok()) return usage("color", a.error());
  const auto& pos = a.positional();
  if (pos.size() < 2) return usage("color", "expected FROM TO and the colour's components");
  const ModelName* from = findModel(pos[0]);
  const ModelName* to = findModel(pos[1]);
  if (!from || from->id == NADIRO_MODEL_CMYK_UCR)
    return usage("color", "unknown source model '" + pos[0] + "'");
  if (!to || to->id == NADIRO_MODEL_CMYK_UCR)
    return usage("color", "unknown target model '" + pos[1] + "'");
  if (from->id == to->id) return usage("color", "FROM and TO must differ");
  const size_t count = fourComponents(from->id) ? 4 : 3;
  if (pos.size() != 2 + count)
    return usage("color",
                 std::string(from->name) + " takes " + std::to_string(count) + " components");
  uint8_t in[4] = {};
  for (size_t i = 0; i < count; ++i) {
    const auto v = parseInteger(pos[2 + i], 0, 255);
    if (!v) return usage("color", "components are whole numbers from 0 to 255");
    in[i] = static_cast<uint8_t>(*v);
  }
  // The buffer conversion runs the library's pixel function for the pair.
  uint8_t out[4] = {};
  if (ConvertColorSpace(in, out, static_cast<int32_t>(count), from->id, to->id, 0, nullptr) < 0)
    return fail("color", "the library refused the conversion");
  const size_t outCount = fourComponents(to->id) ? 4 : 3;
  for (size_t i = 0; i < outCount; ++i) std::printf(i ? " %u" : "%u", unsigned{out[i]});
  std::printf("\n");
  return kExitOk;
}

// 24-bit copy of any picture the tool reads (palette pictures expanded).
Dib to24(const Dib& in) {
  if (in.bits() == 24 || in.bits() == 32) return in;
  Dib out = Dib::blank(in.width(), in.height(), 24);
  for (int32_t r = 0; r < in.height(); ++r)
    for (int32_t x = 0; x < in.width(); ++x) in.bgr(r, x, out.row(r) + 3 * x);
  return out;
}

int runConvert(std::span<const std::string> args) {
  const Args a(args, withImageFlags({"--from", "--to"}), withImageSwitches({"--tagged"}));
  if (!a.ok()) return usage("convert", a.error());
  if (!a.has("--to"))
    return usage("convert",
                 "--to MODEL is required (RGB YUV CMY CMYK YIQ HSV HSI XYZ LAB CMYK-UCR)");
  const ModelName* given = a.has("--from") ? findModel(*a.value("--from")) : nullptr;
  const ModelName* to = findModel(*a.value("--to"));
  if (a.has("--from") && (!given || given->id == NADIRO_MODEL_CMYK_UCR))
    return usage("convert", "--from must be one of RGB YUV CMY CMYK YIQ HSV HSI XYZ LAB");
  if (!to)
    return usage("convert", "--to must be one of RGB YUV CMY CMYK YIQ HSV HSI XYZ LAB CMYK-UCR");
  // Lossy formats would damage a model's components: refused before any work.
  const auto& pos = a.positional();
  const std::string format =
      a.value("--format")
          .value_or(a.has("--out-dir") || pos.empty() ? "" : outputFormatOf(pos.back()));
  if (to->id != NADIRO_MODEL_RGB && (format == "jpg" || format == "webp"))
    return usage("convert", std::string("JPEG and WebP would damage the ") + to->name +
                                " components: write .png or .bmp");
  return runImageOperation("convert", a, [&](const Dib& picture, Dib& out, std::string& error) {
    // Without --from, a picture says which model it holds (its tag or PNG text).
    const ModelName* from = given ? given : modelOfTag(picture.compression());
    if (!from) from = findModel("RGB");
    Dib in = picture;
    if (from->id != NADIRO_MODEL_RGB && in.compression() == 0 && in.bits() >= 24)
      storeField<uint32_t>(in.bytes, 16, from->tag);  // a plain file of components: tag it
    const Handle source(from->id == NADIRO_MODEL_RGB ? to24(in) : in);
    // With progress on, the tool draws the bar and Ctrl-C cancels the call.
    NadiroHandle result =
        ConvertDIBColorSpace(source.get(), from->id, to->id, kShowProgress, nullptr);
    if (!result) {
      const ModelName* held = modelOfTag(in.compression());
      error = in.bits() < 24 && from->id != NADIRO_MODEL_RGB
                  ? std::string("a ") + std::to_string(in.bits()) + "-bit picture cannot hold " +
                        from->name + " components"
              : held && held->tag != from->tag
                  ? std::string("the picture holds ") + held->name + ", not " + from->name +
                        " (give --from " + held->name + ")"
                  : std::string("the picture cannot be converted from ") + from->name + " to " +
                        to->name;
      return false;
    }
    if (result == source.get()) {  // equal models: the library hands back the input
      out = source.dib();
      return true;
    }
    out = Handle(result).dib();
    return true;
  });
}

}  // namespace

extern const Command kColorCommand = {
    "color", "Colour models", "convert one colour between models: color RGB HSV 255 0 0",
    "Usage: nadiro color FROM TO V1 V2 V3 [V4]\n\n"
    "Converts one colour, given as bytes 0..255 in FROM's component order, and\n"
    "prints the result's bytes in TO's order. Models: RGB, CMY, CMYK (four\n"
    "components C M Y K), HSV, HSI, YIQ, YUV, XYZ, LAB. Hue bytes span 0..360\n"
    "degrees; the signed components of YIQ, YUV and LAB are offset into 0..255.\n"
    "Results are truncated, never rounded.\n\n"
    "Example:\n  nadiro color RGB HSV 255 0 0      prints 0 255 255\n",
    runColor};

extern const Command kConvertCommand = {
    "convert", "Colour models", "a whole picture into another colour model",
    "Usage: nadiro convert [--from MODEL] --to MODEL [--tagged] IN OUT\n"
    "       nadiro convert [--from MODEL] --to MODEL IN... --out-dir DIR\n\n"
    "Converts every pixel of a 24-bit picture (or a 32-bit CMYK one) into another\n"
    "colour model. MODEL is RGB, YUV, CMY, CMYK, YIQ, HSV, HSI, XYZ, LAB, or as\n"
    "target only CMYK-UCR (CMYK with fixed under-colour removal), or the model's\n"
    "number 1..10. --to is required; --from defaults to the model a picture\n"
    "written by convert names, else RGB. Palette pictures are expanded to 24 bits\n"
    "when --from is RGB.\n\n"
    "The result holds the target model's components in the B, G, R slots, in\n"
    "reversed order (the model's first component in the R slot). It is written as\n"
    "a plain RGB picture that any program opens (false colours): a PNG names the\n"
    "model in a text chunk, so convert reads it back without --from; a BMP does\n"
    "not, give --from. CMYK targets have four components: a PNG keeps them as R,\n"
    "G, B and alpha, a BMP as a 32-bit picture stored K, Y, M, C. JPEG and WebP\n"
    "would damage the components and are refused; --out-dir writes PNG.\n\n"
    "  --tagged   BMP only: name the model in the header's compression field\n"
    "             (10..17), the library's own form; other programs refuse such\n"
    "             files\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Example:\n  nadiro convert --to HSV photo.jpg photo-hsv.png\n"
    "  nadiro convert --to RGB photo-hsv.png back.png\n",
    runConvert};

}  // namespace nadiro::cli
