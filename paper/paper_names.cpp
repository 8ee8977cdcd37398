#include "paper/paper_names.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

#include "paper/physical_size.h"

namespace {

constexpr double kPointsPerCm = kPointsPerInch / 2.54;
constexpr double kPointsPerMm = kPointsPerInch / 25.4;
// 9x13 cm and 3.5x5 inches differ by 3 mm; different papers by at least 25.
constexpr double kTolerancePt = 10.0;

bool near(double a, double b) { return std::fabs(a - b) <= kTolerancePt; }

// "6x2in*4": the sides of a sheet, their unit, and how many such sheets the paper is cut into.
struct Size {
  double width = 0;
  double height = 0;
  std::string_view unit;
  double sheets = 1;
};

std::optional<double> take_number(std::string_view& text) {
  double number = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || !(number > 0)) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
  return number;
}

std::optional<Size> parse_size(std::string_view text) {
  Size size;
  const std::optional<double> width = take_number(text);
  if (!width || text.empty() || text.front() != 'x') return std::nullopt;
  text.remove_prefix(1);
  const std::optional<double> height = take_number(text);
  if (!height) return std::nullopt;
  size.width = *width;
  size.height = *height;
  const std::size_t star = std::min(text.find('*'), text.size());
  size.unit = text.substr(0, star);
  if (star == text.size()) return size;
  text.remove_prefix(star + 1);
  const std::optional<double> sheets = take_number(text);
  if (!sheets || !text.empty()) return std::nullopt;
  size.sheets = *sheets;
  return size;
}

// The sheets that `paper` is cut into.
Size sheet_of(const PaperConfig& paper) { return parse_size(paper.label).value_or(Size{}); }

const PaperConfig* find_paper_of_sheets(double width_pt, double height_pt, double sheets) {
  const auto found = std::find_if(selectable_papers.begin(), selectable_papers.end(),
                                  [&](const PaperConfig& paper) {
                                    const Size sheet = sheet_of(paper);
                                    const double width = sheet.width * kPointsPerInch;
                                    const double height = sheet.height * kPointsPerInch;
                                    return std::fabs(sheet.sheets - sheets) < 0.5 &&
                                           ((near(width, width_pt) && near(height, height_pt)) ||
                                            (near(width, height_pt) && near(height, width_pt)));
                                  });
  return found == selectable_papers.end() ? nullptr : &*found;
}

const PaperConfig* find_in_unit(const Size& size, double points) {
  return find_paper_of_sheets(size.width * points, size.height * points, size.sheets);
}

std::string without_blanks_in_lower_case(std::string_view text) {
  std::string compact;
  for (const char letter : text) {
    const bool upper = letter >= 'A' && letter <= 'Z';
    if (letter != ' ' && letter != '\t') {
      compact += static_cast<char>(upper ? letter - 'A' + 'a' : letter);
    }
  }
  return compact;
}

// The side of a paper in whole centimeters as it is sold: 6 inches are 15, 3.5 are 9.
int usual_cm(double points) { return static_cast<int>(std::lround(points / kPointsPerCm)); }

}  // namespace

const PaperConfig* find_paper_by_physical_size(double width_pt, double height_pt) {
  return find_paper_of_sheets(width_pt, height_pt, 1);
}

const PaperConfig* find_paper_by_usual_name(std::string_view name) {
  if (const PaperConfig* paper = find_paper_by_name_or_label(std::string(name).c_str()))
    return paper;
  const std::string compact = without_blanks_in_lower_case(name);
  const std::optional<Size> size = parse_size(compact);
  if (!size) return nullptr;
  if (size->unit == "in") return find_in_unit(*size, kPointsPerInch);
  if (size->unit == "cm") return find_in_unit(*size, kPointsPerCm);
  if (size->unit == "mm") return find_in_unit(*size, kPointsPerMm);
  if (!size->unit.empty()) return nullptr;
  const PaperConfig* paper = find_in_unit(*size, kPointsPerInch);
  return paper != nullptr ? paper : find_in_unit(*size, kPointsPerCm);
}

bool is_cut_paper(const PaperConfig& paper) {
  return std::string_view(paper.label).find('*') != std::string_view::npos;
}

const PaperConfig* find_cut_variant(const PaperConfig& paper, std::string_view cut) {
  struct Cut {
    std::string_view sheet;
    std::string_view uncut;
    const char* paper;
  };
  constexpr std::array<Cut, 4> cuts{{
      {"6x4", "w288h432", "w288h432"},
      {"6x4", "w432h576", "w432h576-div2"},
      {"6x2", "w288h432", "w288h432-div2"},
      {"6x2", "w432h576", "w432h576-div4"},
  }};
  if (cut == "None" || is_cut_paper(paper)) return &paper;
  const auto* found = std::find_if(cuts.begin(), cuts.end(), [&](const Cut& entry) {
    return entry.sheet == cut && entry.uncut == paper.ppd_name;
  });
  return found == cuts.end() ? nullptr : find_paper_by_ppd_name(found->paper);
}

std::string usual_paper_names() {
  std::string names;
  for (const PaperConfig& paper : selectable_papers) {
    if (is_cut_paper(paper)) continue;
    const PaperPoints size = paper_points(paper);
    if (!names.empty()) names += ", ";
    names += std::string(paper.label) + " (" + std::to_string(usual_cm(size.across)) + "x" +
             std::to_string(usual_cm(size.down)) + ")";
  }
  return names;
}
