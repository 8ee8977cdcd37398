// Stage 2: selects the kernel of a color model.
#include <cstring>

#include "diag/log.h"
#include "pipeline/stages.h"

void ColorModelStage::prepare(const char* color_model, std::size_t width, std::size_t height) {
  width_ = width;
  // Exact names; any other, "RGB" among them, leaves the image as it is.
  struct Rule {
    const char* name;
    InPlace convert;
  };
  const kernels::Table& table = kernels::chosen_table();
  const Rule rules[] = {
      {"Gray", table.to_gray}, {"Black", table.to_black}, {"CMY", table.invert},
      {"CMYK", table.invert},  {"KCMY", table.to_kcmy},
  };
  for (const Rule& rule : rules) {
    if (std::strcmp(color_model, rule.name) == 0) {
      convert_ = rule.convert;
    }
  }
  converted_.prepare(width, height);
}

void ColorModelStage::row(std::uint8_t* rgb) {
  if (convert_ != nullptr) {
    convert_(rgb, width_);
  }
  converted_.take_rgb(rgb);
}

void ColorModelStage::report(const char* color_model) const {
  log_line("K905-1: === STAGE 2: Color model conversion (%s) ===", color_model);
  converted_.save("02_color_converted");
  log_line("K905-1: Color conversion completed");
}
