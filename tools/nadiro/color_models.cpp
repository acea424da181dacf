#include "color_models.h"

#include "nadiro/nadiro.h"

namespace nadiro::cli {
namespace {

const ModelName kModels[] = {
    {"RGB", NADIRO_MODEL_RGB, {"R", "G", "B", nullptr}, 0},
    {"YUV", NADIRO_MODEL_YUV, {"Y", "U", "V", nullptr}, 10},
    {"CMY", NADIRO_MODEL_CMY, {"C", "M", "Y", nullptr}, 11},
    {"CMYK", NADIRO_MODEL_CMYK, {"C", "M", "Y", "K"}, 12},
    {"YIQ", NADIRO_MODEL_YIQ, {"Y", "I", "Q", nullptr}, 13},
    {"HSV", NADIRO_MODEL_HSV, {"H", "S", "V", nullptr}, 14},
    {"HSI", NADIRO_MODEL_HSI, {"H", "S", "I", nullptr}, 15},
    {"XYZ", NADIRO_MODEL_XYZ, {"X", "Y", "Z", nullptr}, 16},
    {"LAB", NADIRO_MODEL_LAB, {"L", "A", "B", nullptr}, 17},
    {"CMYK-UCR", NADIRO_MODEL_CMYK_UCR, {"C", "M", "Y", "K"}, 12},
};

}  // namespace

std::span<const ModelName> colorModels() {
  return kModels;
}

const ModelName* modelOfTag(uint32_t tag) {
  for (const auto& m : kModels)
    if (tag != 0 && m.tag == tag) return &m;  // CMYK comes before CMYK-UCR
  return nullptr;
}

const ModelName* findModel(const std::string& text) {
  std::string upper;
  for (char c : text) upper += static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
  for (const auto& m : kModels)
    if (upper == m.name || upper == std::to_string(m.id)) return &m;
  return nullptr;
}

}  // namespace nadiro::cli
