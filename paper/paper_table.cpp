#include "paper/paper_table.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// PageSize is in whole points: some print filters round the size, others truncate it.
constexpr float kPageTolerancePt = 5.0F;

bool near(float a, float b) { return std::fabs(a - b) <= kPageTolerancePt; }

template <typename Predicate>
const PaperConfig* first_paper(Predicate matches) {
  const auto row = std::find_if(selectable_papers.begin(), selectable_papers.end(), matches);
  return row != selectable_papers.end() ? &*row : nullptr;
}

}  // namespace

const PaperConfig* find_paper_by_ppd_name(const char* name) {
  if (name == nullptr) {
    return nullptr;
  }
  return first_paper(
      [name](const PaperConfig& paper) { return std::strcmp(paper.ppd_name, name) == 0; });
}

const PaperConfig* find_paper_by_name_or_label(const char* name) {
  if (name == nullptr) {
    return nullptr;
  }
  return first_paper([name](const PaperConfig& paper) {
    return std::strcmp(paper.ppd_name, name) == 0 || std::strcmp(paper.label, name) == 0;
  });
}

const PaperConfig* find_paper_by_size(float width_pt, float height_pt) {
  return first_paper([width_pt, height_pt](const PaperConfig& paper) {
    const bool upright =
        near(paper.page_width_pt, width_pt) && near(paper.page_height_pt, height_pt);
    const bool rotated =
        near(paper.page_width_pt, height_pt) && near(paper.page_height_pt, width_pt);
    return upright || rotated;
  });
}
