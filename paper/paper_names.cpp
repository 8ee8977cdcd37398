#include "paper/paper_names.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

#include "paper/physical_size.h"

namespace {

constexpr double kPointsPerInch = 72.0;
constexpr double kPointsPerCm = 72.0 / 2.54;
constexpr double kPointsPerMm = 72.0 / 25.4;
// 9x13 cm and 3.5x5 inches differ by 3 mm; different papers by at least 25.
constexpr double kTolerancePt = 10.0;

bool near(double a, double b) { return std::fabs(a - b) <= kTolerancePt; }

bool is_cut(const PaperConfig& paper) {
  return std::string_view(paper.label).find('*') != std::string_view::npos;
}

struct Size {
  double width = 0;
  double height = 0;
  std::string_view unit;
};

std::optional<double> take_number(std::string_view& text) {
  double number = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || !(number > 0)) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
  return number;
}

std::optional<Size> parse_size(std::string_view text) {
  const std::optional<double> width = take_number(text);
  if (!width || text.empty() || (text.front() != 'x' && text.front() != 'X')) return std::nullopt;
  text.remove_prefix(1);
  const std::optional<double> height = take_number(text);
  if (!height) return std::nullopt;
  return Size{.width = *width, .height = *height, .unit = text};
}

const PaperConfig* find_in_unit(const Size& size, double points) {
  return find_paper_by_true_size(size.width * points, size.height * points);
}

// The side of a paper in whole centimeters as it is sold: 6 inches are 15, 3.5 are 9.
int usual_cm(double points) { return static_cast<int>(std::lround(points / kPointsPerCm)); }

}  // namespace

const PaperConfig* find_paper_by_true_size(double width_pt, double height_pt) {
  const auto found = std::find_if(
      selectable_papers.begin(), selectable_papers.end(), [&](const PaperConfig& paper) {
        const PaperPoints size = paper_points(paper);
        return !is_cut(paper) && ((near(size.across, width_pt) && near(size.down, height_pt)) ||
                                  (near(size.across, height_pt) && near(size.down, width_pt)));
      });
  return found == selectable_papers.end() ? nullptr : &*found;
}

const PaperConfig* find_paper_by_usual_name(std::string_view name) {
  if (const PaperConfig* paper = find_paper_by_any_name(std::string(name).c_str())) return paper;
  const std::optional<Size> size = parse_size(name);
  if (!size) return nullptr;
  if (size->unit == "in") return find_in_unit(*size, kPointsPerInch);
  if (size->unit == "cm") return find_in_unit(*size, kPointsPerCm);
  if (size->unit == "mm") return find_in_unit(*size, kPointsPerMm);
  if (!size->unit.empty()) return nullptr;
  const PaperConfig* paper = find_in_unit(*size, kPointsPerInch);
  return paper != nullptr ? paper : find_in_unit(*size, kPointsPerCm);
}

std::string usual_paper_names() {
  std::string names;
  for (const PaperConfig& paper : selectable_papers) {
    if (is_cut(paper)) continue;
    const PaperPoints size = paper_points(paper);
    if (!names.empty()) names += ", ";
    names += std::string(paper.label) + " (" + std::to_string(usual_cm(size.across)) + "x" +
             std::to_string(usual_cm(size.down)) + ")";
  }
  return names;
}
