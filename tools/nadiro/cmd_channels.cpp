// `nadiro split` and `nadiro merge`: SplitColorChannels and
// MergeColorChannels on picture files, one greyscale picture per channel.
#include <string>
#include <vector>

#include "cli.h"
#include "demo.h"
#include "color_models.h"
#include "formats.h"

namespace nadiro::cli {
namespace {

// Channel names in the order the split writes them: the model's components,
// but M, Y, K, C for the four-component models (bytes 2, 1, 0, 3 of a pixel
// stored K, Y, M, C).
const char* splitChannelName(const ModelName& m, size_t i) {
  static constexpr size_t kFourOrder[4] = {1, 2, 3, 0};
  return m.channels[fourComponents(m.id) ? kFourOrder[i] : i];
}

#define NADIRO_MODELS_HELP                                                                  \
  "  --model MODEL   a name (any case) or its number (default rgb):\n"                      \
  "                  1 rgb, 2 yuv, 3 cmy, 4 cmyk, 5 yiq, 6 hsv, 7 hsi, 8 xyz, 9 lab,\n"    \
  "                  10 cmyk-ucr (CMYK with under-colour removal, inks stored as\n"       \
  "                  complements)\n"

// OUTPREFIX "dir/photo.bmp" gives "dir/photo" and ".bmp"; without a known
// extension the whole prefix is kept and the pictures are PNG.
void splitPrefix(const std::string& prefix, std::string& stem, std::string& extension) {
  const auto slash = prefix.find_last_of('/');
  const auto dot = prefix.find_last_of('.');
  if (dot != std::string::npos && (slash == std::string::npos || dot > slash) &&
      knownOutputExtension(prefix)) {
    stem = prefix.substr(0, dot);
    extension = prefix.substr(dot);
  } else {
    stem = prefix;
    extension = ".png";
  }
}

// The channel pictures of `picture` in `model`, or a reason.
bool splitPicture(const Dib& picture, const ModelName& model, std::vector<Dib>& channels,
                  std::string& error) {
  const Handle source(toRgb24(picture));
  NadiroHandle made[4] = {};
  const uint32_t count = SplitColorChannels(source.get(), made, static_cast<uint32_t>(model.id));
  if (count == 0) {
    error = "the library refused the picture (code " +
            std::to_string(GetLastColorConvertError()) + ")";
    return false;
  }
  channels.clear();
  for (uint32_t i = 0; i < count; ++i) {
    const Handle h(made[i]);
    channels.push_back(h.dib());
  }
  return true;
}

int runSplit(std::span<const std::string> args) {
  const Args a(args, {"--model"});
  if (!a.ok()) return usage("split", a.error());
  const ModelName* model = findModel(a.value("--model").value_or("rgb"));
  if (!model) return usage("split", "--model must be a model name or a number from 1 to 10");
  if (a.positional().size() != 2) return usage("split", "give one input and one output prefix");
  const std::string& input = a.positional()[0];
  ReadResult read;
  std::string error;
  if (!readImage(input, ReadOptions{}, read, error)) return fail(input, error);
  std::vector<Dib> channels;
  if (!splitPicture(read.dib, *model, channels, error)) return fail(input, error);
  std::string stem, extension;
  splitPrefix(a.positional()[1], stem, extension);
  for (size_t i = 0; i < channels.size(); ++i) {
    const std::string out = stem + "-" + splitChannelName(*model, i) + extension;
    if (!writeImage(out, channels[i], error)) return fail(out, error);
    std::printf("%s\n", out.c_str());
  }
  return kExitOk;
}

int runMerge(std::span<const std::string> args) {
  const Args a(args, {"--model"});
  if (!a.ok()) return usage("merge", a.error());
  const ModelName* model = findModel(a.value("--model").value_or("rgb"));
  if (!model) return usage("merge", "--model must be a model name or a number from 1 to 10");
  const size_t needed = fourComponents(model->id) ? 4 : 3;
  if (a.positional().size() != needed + 1)
    return usage("merge", std::string("--model ") + model->name + " takes " +
                              std::to_string(needed) + " channel pictures and one output");
  std::vector<Handle> channels;
  int32_t width = 0, height = 0;
  for (size_t i = 0; i < needed; ++i) {
    const std::string& path = a.positional()[i];
    ReadResult read;
    std::string error;
    if (!readImage(path, ReadOptions{}, read, error)) return fail(path, error);
    const Dib grey = toGrey8(read.dib);
    if (i == 0) {
      width = grey.width();
      height = grey.height();
    } else if (grey.width() != width || grey.height() != height) {
      return fail(path, "its size differs from the first channel's " + std::to_string(width) +
                            " x " + std::to_string(height));
    }
    channels.emplace_back(grey);
  }
  const Handle dest(Dib::blank(width, height, 24));
  if (!MergeColorChannels(channels[0].get(), channels[1].get(), channels[2].get(),
                          needed == 4 ? channels[3].get() : nullptr, dest.get(), static_cast<uint32_t>(model->id)))
    return fail(a.positional()[0], "the library refused the channels (code " +
                                       std::to_string(GetLastColorConvertError()) + ")");
  const std::string& out = a.positional()[needed];
  std::string error;
  if (!writeImage(out, dest.dib(), error)) return fail(out, error);
  return kExitOk;
}

}  // namespace

void demoChannels(DemoContext& demo) {
  const ModelName& hsv = *findModel("hsv");
  std::vector<Dib> channels;
  std::string error;
  if (!splitPicture(demo.sample, hsv, channels, error)) {
    demo.failed("split: " + error);
    return;
  }
  for (size_t i = 0; i < channels.size(); ++i)
    demo.add("Channels", std::string("split-hsv-") + splitChannelName(hsv, i) + ".png",
             std::string("HSV channel ") + splitChannelName(hsv, i), "nadiro split --model hsv IN out.png",
             channels[i]);
  // And back together.
  std::vector<Handle> handles;
  for (const Dib& c : channels) handles.emplace_back(c);
  const Handle dest(Dib::blank(demo.sample.width(), demo.sample.height(), 24));
  if (!MergeColorChannels(handles[0].get(), handles[1].get(), handles[2].get(), nullptr,
                          dest.get(), static_cast<uint32_t>(hsv.id))) {
    demo.failed("merge: the library refused the HSV channels");
    return;
  }
  demo.add("Channels", "merge-hsv.png", "HSV channels merged back",
           "nadiro merge --model hsv out-H.png out-S.png out-V.png merged.png", dest.dib());
}

extern const Command kSplitCommand = {
    "split", "Channels", "one greyscale picture per component of a colour model",
    "Usage: nadiro split [--model MODEL] IN OUTPREFIX\n\n"
    "Expresses the picture in a colour model and writes each component as an\n"
    "8-bit greyscale picture named OUTPREFIX-<channel>.<ext>. The format comes\n"
    "from OUTPREFIX's extension (.bmp .png .jpg) when it has one, PNG otherwise.\n\n"
    NADIRO_MODELS_HELP "\n"
    "Channels are written in the library's order: R G B, Y U V, C M Y, Y I Q,\n"
    "H S V, H S I (lightness), X Y Z, L A B; for the two CMYK models M Y K C.\n"
    "Input: any BMP, PNG or JPEG; it is made 24-bit first.\n\n"
    "Example:\n  nadiro split --model hsv photo.jpg out/photo.png\n"
    "  (writes out/photo-H.png, out/photo-S.png, out/photo-V.png)\n",
    runSplit};

extern const Command kMergeCommand = {
    "merge", "Channels", "rebuild an RGB picture from greyscale channel pictures",
    "Usage: nadiro merge [--model MODEL] C1 C2 C3 [C4] OUT\n\n"
    "Reads three greyscale pictures of the same size (four for cmyk and\n"
    "cmyk-ucr) as the components of a colour model, in the model's order,\n"
    "converts every pixel to RGB and writes a 24-bit picture; OUT's extension\n"
    "(.bmp .png .jpg) picks the format.\n\n"
    NADIRO_MODELS_HELP "\n"
    "Components: C1 C2 C3 are R G B, Y U V, C M Y, Y I Q, H S V, H S I, X Y Z or\n"
    "L A B; the CMYK models take C M Y K (split writes them as M Y K C, so pass\n"
    "the C picture first). Colour inputs are made grey with\n"
    "(30 R + 59 G + 11 B) / 100.\n\n"
    "Example:\n  nadiro merge --model hsv out/photo-H.png out/photo-S.png out/photo-V.png "
    "back.png\n",
    runMerge};

}  // namespace nadiro::cli
