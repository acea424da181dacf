// The colour models of the library by the names the tool's commands take:
// a model's name (any case) or its number.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace nadiro::cli {

struct ModelName {
  const char* name;         // upper case, as shown
  int32_t id;               // NADIRO_MODEL_*
  const char* channels[4];  // components in model order (three or four)
  uint32_t tag;             // the compression-field tag of a picture holding the model
};

// All ten models, in number order.
std::span<const ModelName> colorModels();

// The model named `text` (any case) or numbered by it; null for neither.
const ModelName* findModel(const std::string& text);

// The model a picture's compression-field tag names (CMYK for 12); null for
// 0 and unknown tags.
const ModelName* modelOfTag(uint32_t tag);

// CMYK and the under-colour-removal CMYK form have four components.
inline bool fourComponents(int32_t id) {
  return id == 4 || id == 10;
}

}  // namespace nadiro::cli
