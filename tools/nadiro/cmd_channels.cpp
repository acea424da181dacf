// `nadiro split` and `nadiro merge`: SplitColorChannels and
// MergeColorChannels on picture files, one greyscale picture per channel.
#include <cctype>
#include <string>
#include <vector>

#include "cli.h"
#include "color_models.h"
#include "demo.h"
#include "formats.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

// Channel names in the order the split writes them: the model's components,
// but M, Y, K, C for the four-component models (bytes 2, 1, 0, 3 of a pixel
// stored K, Y, M, C).
const char* splitChannelName(const ModelName& m, size_t i) {
  static constexpr size_t kFourOrder[4] = {1, 2, 3, 0};
  return m.channels[fourComponents(m.id) ? kFourOrder[i] : i];
}

#define NADIRO_MODELS_HELP                                                              \
  "  --model MODEL   a name (any case) or its number (default rgb):\n"                  \
  "                  1 rgb, 2 yuv, 3 cmy, 4 cmyk, 5 yiq, 6 hsv, 7 hsi, 8 xyz, 9 lab,\n" \
  "                  10 cmyk-ucr (CMYK with under-colour removal, inks stored as\n"     \
  "                  complements)\n"

// The channel pictures of `picture` in `model`, or a reason.
bool splitPicture(const Dib& picture, const ModelName& model, std::vector<Dib>& channels,
                  std::string& error) {
  const Handle source(toRgb24(picture));
  NadiroHandle made[4] = {};
  const uint32_t count = SplitColorChannels(source.get(), made, static_cast<uint32_t>(model.id));
  if (count == 0) {
    error =
        "the library refused the picture (code " + std::to_string(GetLastColorConvertError()) + ")";
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
  const Args a(args, withImageFlags({"--model"}), withImageSwitches({}));
  if (!a.ok()) return usage("split", a.error());
  const ModelName* model = findModel(a.value("--model").value_or("rgb"));
  if (!model) return usage("split", "--model must be a model name or a number from 1 to 10");
  OperationShape shape;
  shape.outputIsPrefix = true;
  shape.suffixes.clear();
  for (size_t i = 0; i < (fourComponents(model->id) ? 4u : 3u); ++i)
    shape.suffixes.push_back(std::string("-") + splitChannelName(*model, i));
  return runPictureOperation(
      "split", a, shape,
      [&](std::span<const ReadResult> in, std::vector<OutputPicture>& out, std::string& error) {
        std::vector<Dib> channels;
        if (!splitPicture(in[0].dib, *model, channels, error)) return false;
        out.clear();
        for (size_t i = 0; i < channels.size(); ++i)
          out.push_back({shape.suffixes[i], std::move(channels[i])});
        return true;
      });
}

int runMerge(std::span<const std::string> args) {
  const Args a(args, withImageFlags({"--model"}), withImageSwitches({}));
  if (!a.ok()) return usage("merge", a.error());
  const ModelName* model = findModel(a.value("--model").value_or("rgb"));
  if (!model) return usage("merge", "--model must be a model name or a number from 1 to 10");
  OperationShape shape;
  shape.inputsPerJob = fourComponents(model->id) ? 4 : 3;
  // With --out-dir, "photo-C.png ..." makes "photo".
  shape.stem = [](const std::string& stem) {
    const auto dash = stem.find_last_of('-');
    return dash != std::string::npos && dash > 0 && stem.size() - dash == 2 ? stem.substr(0, dash)
                                                                            : stem;
  };
  if (!a.has("--out-dir") && a.positional().size() != shape.inputsPerJob + 1)
    return usage("merge", std::string("--model ") + model->name + " takes " +
                              std::to_string(shape.inputsPerJob) +
                              " channel pictures and one output");
  return runPictureOperation(
      "merge", a, shape,
      [&](std::span<const ReadResult> in, std::vector<OutputPicture>& out, std::string& error) {
        std::vector<Handle> channels;
        const Dib first = toGrey8(in[0].dib);
        for (const ReadResult& r : in) {
          const Dib grey = toGrey8(r.dib);
          if (grey.width() != first.width() || grey.height() != first.height()) {
            error = "the channel pictures differ in size (" + std::to_string(first.width()) +
                    " x " + std::to_string(first.height()) + " and " +
                    std::to_string(grey.width()) + " x " + std::to_string(grey.height()) + ")";
            return false;
          }
          channels.emplace_back(grey);
        }
        const Handle dest(Dib::blank(first.width(), first.height(), 24));
        if (!MergeColorChannels(channels[0].get(), channels[1].get(), channels[2].get(),
                                in.size() == 4 ? channels[3].get() : nullptr, dest.get(),
                                static_cast<uint32_t>(model->id))) {
          error = "the library could not merge the channels";
          return false;
        }
        out.assign(1, OutputPicture{"", dest.dib()});
        return true;
      });
}

}  // namespace

// One-line notes on what the channel pictures show.
const char* channelNote(const ModelName& m, size_t channel) {
  const std::string name = m.name;
  if ((name == "HSV" || name == "HSI") && channel == 0)
    return "hue is a circle: red sits at both ends, so reds look black and white at once";
  if (name == "LAB" || name == "YUV" || name == "YIQ")
    return channel == 0 ? nullptr : "signed components are offset: grey 128 means zero";
  return nullptr;
}

void demoChannels(DemoContext& demo) {
  const char* kSection = "Colour models: the channels split writes";
  for (const ModelName& m : colorModels()) {
    std::vector<Dib> channels;
    std::string error, lower;
    for (const char* c = m.name; *c; ++c)
      lower += char(std::tolower(static_cast<unsigned char>(*c)));
    if (!splitPicture(demo.sample, m, channels, error)) {
      demo.failed("split --model " + lower + ": " + error);
      continue;
    }
    for (size_t i = 0; i < channels.size(); ++i) {
      const std::string channel = splitChannelName(m, i);
      const char* note = channelNote(m, i);
      demo.addMade(kSection, "model-" + lower + "-" + channel + ".png",
                   std::string(m.name) + " channel " + channel,
                   "nadiro split --model " + lower + " sample.png model-" + lower + ".png",
                   channels[i], note ? note : "");
    }
  }
  // And back together.
  const ModelName& hsv = *findModel("hsv");
  std::vector<Dib> channels;
  std::string error;
  if (!splitPicture(demo.sample, hsv, channels, error)) return demo.failed("split: " + error);
  std::vector<Handle> handles;
  for (const Dib& c : channels) handles.emplace_back(c);
  const Handle dest(Dib::blank(demo.sample.width(), demo.sample.height(), 24));
  if (!MergeColorChannels(handles[0].get(), handles[1].get(), handles[2].get(), nullptr, dest.get(),
                          static_cast<uint32_t>(hsv.id)))
    return demo.failed("merge: the library refused the HSV channels");
  demo.addMade(kSection, "merge-hsv.png", "HSV channels merged back",
               "nadiro merge --model hsv model-hsv-H.png model-hsv-S.png model-hsv-V.png "
               "merge-hsv.png",
               dest.dib(),
               "the round trip through HSV bytes loses a little: compare with the input");
}

extern const Command kSplitCommand = {
    "split", "Channels", "one greyscale picture per component of a colour model",
    "Usage: nadiro split [-m MODEL] IN OUTPREFIX\n"
    "       nadiro split [-m MODEL] IN... --out-dir DIR\n\n"
    "Expresses the picture in a colour model and writes each component as an\n"
    "8-bit greyscale picture named OUTPREFIX-<channel>.<ext> (with --out-dir:\n"
    "DIR/<input's name>-<channel>.<ext>). The format comes from OUTPREFIX's\n"
    "extension (.bmp .png .jpg .webp) when it has one, PNG otherwise. A picture's\n"
    "channels are written all together or not at all.\n\n" NADIRO_MODELS_HELP
    "\n"
    "Channels are written in the library's order: R G B, Y U V, C M Y, Y I Q,\n"
    "H S V, H S I (lightness), X Y Z, L A B; for the two CMYK models M Y K "
    "C.\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Example:\n  nadiro split --model hsv photo.jpg out/photo.png\n"
    "  (writes out/photo-H.png, out/photo-S.png, out/photo-V.png)\n",
    runSplit};

extern const Command kMergeCommand = {
    "merge", "Channels", "rebuild an RGB picture from greyscale channel pictures",
    "Usage: nadiro merge [-m MODEL] C1 C2 C3 [C4] OUT\n"
    "       nadiro merge [-m MODEL] C1 C2 C3 [C4] ... --out-dir DIR\n\n"
    "Reads three greyscale pictures of the same size (four for cmyk and\n"
    "cmyk-ucr) as the components of a colour model, in the model's order,\n"
    "converts every pixel to RGB and writes a 24-bit picture; OUT's extension\n"
    "picks the format. With --out-dir, the inputs are taken in groups of three\n"
    "(four) and DIR/photo.<ext> is named after photo-C1.<ext>.\n\n" NADIRO_MODELS_HELP
    "\n"
    "Components: C1 C2 C3 are R G B, Y U V, C M Y, Y I Q, H S V, H S I, X Y Z or\n"
    "L A B; the CMYK models take C M Y K (split writes them as M Y K C, so pass\n"
    "the C picture first). Colour inputs are made grey with\n"
    "(30 R + 59 G + 11 B) / 100.\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Example:\n  nadiro merge --model hsv out/photo-H.png out/photo-S.png out/photo-V.png "
    "back.png\n",
    runMerge};

}  // namespace nadiro::cli
