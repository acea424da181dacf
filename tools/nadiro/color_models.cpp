#include "color_models.h"

#include "nadiro/nadiro.h"

namespace nadiro::cli {
namespace {

const ModelName kModels[] = {
    {"RGB", NADIRO_MODEL_RGB, {"R", "G", "B", nullptr}},
    {"YUV", NADIRO_MODEL_YUV, {"Y", "U", "V", nullptr}},
    {"CMY", NADIRO_MODEL_CMY, {"C", "M", "Y", nullptr}},
    {"CMYK", NADIRO_MODEL_CMYK, {"C", "M", "Y", "K"}},
    {"YIQ", NADIRO_MODEL_YIQ, {"Y", "I", "Q", nullptr}},
    {"HSV", NADIRO_MODEL_HSV, {"H", "S", "V", nullptr}},
    {"HSI", NADIRO_MODEL_HSI, {"H", "S", "I", nullptr}},
    {"XYZ", NADIRO_MODEL_XYZ, {"X", "Y", "Z", nullptr}},
    {"LAB", NADIRO_MODEL_LAB, {"L", "A", "B", nullptr}},
    {"CMYK-UCR", NADIRO_MODEL_CMYK_UCR, {"C", "M", "Y", "K"}},
};

}  // namespace

std::span<const ModelName> colorModels() { return kModels; }

const ModelName* findModel(const std::string& text) {
  std::string upper;
  for (char c : text) upper += static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
  for (const auto& m : kModels)
    if (upper == m.name || upper == std::to_string(m.id)) return &m;
  return nullptr;
}

}  // namespace nadiro::cli
