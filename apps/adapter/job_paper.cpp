#include "apps/adapter/job_paper.h"

#include <cups/cups.h>
#include <cups/pwg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include "apps/adapter/cups_log.h"
#include "paper/paper_names.h"

namespace k905 {

namespace {

constexpr double kPointsPerHundredthMm = 72.0 / 2540.0;

std::string marked(ppd_file_t* ppd, const char* keyword) {
  const ppd_choice_t* choice = ppdFindMarkedChoice(ppd, keyword);
  return choice == nullptr ? "" : choice->choice;
}

const pwg_media_t* standard_size(const std::string& name) {
  if (const pwg_media_t* media = pwgMediaForPWG(name.c_str())) return media;
  if (const pwg_media_t* media = pwgMediaForLegacy(name.c_str())) return media;
  return pwgMediaForPPD(name.c_str());
}

const PaperConfig* paper_of_size(ppd_file_t* ppd, double width_pt, double height_pt) {
  if (const PaperConfig* paper = find_paper_by_physical_size(width_pt, height_pt)) return paper;
  // A PPD file of an earlier version has its own sizes.
  constexpr double kRoundingPt = 1.0;
  for (int i = 0; i < ppd->num_sizes; ++i) {
    const ppd_size_t& size = ppd->sizes[i];
    if (std::fabs(double{size.width} - width_pt) <= kRoundingPt &&
        std::fabs(double{size.length} - height_pt) <= kRoundingPt) {
      return find_paper_by_ppd_name(size.name);
    }
  }
  return nullptr;
}

const PaperConfig* find_paper(ppd_file_t* ppd, const std::string& name) {
  if (const PaperConfig* paper = find_paper_by_usual_name(name)) return paper;
  const pwg_media_t* media = standard_size(name);
  return media == nullptr ? nullptr
                          : paper_of_size(ppd, media->width * kPointsPerHundredthMm,
                                          media->length * kPointsPerHundredthMm);
}

// Words of "media" that do not name a size: kinds of paper, trays.
bool names_no_size(ppd_file_t* ppd, const std::string& word) {
  for (const char* keyword : {"MediaType", "InputSlot"}) {
    ppd_option_t* option = ppdFindOption(ppd, keyword);
    if (option != nullptr && ppdFindChoice(option, word.c_str()) != nullptr) return true;
  }
  constexpr std::array<std::string_view, 13> beginnings{
      "photographic", "stationery", "auto",   "default", "main",   "roll", "tray",
      "manual",       "by-pass",    "middle", "top",     "bottom", "other"};
  return std::any_of(beginnings.begin(), beginnings.end(),
                     [&](std::string_view beginning) { return word.starts_with(beginning); });
}

struct Request {
  const char* keyword;
  std::string value;
};

// The options of the job that name a page size, the one with the highest priority last.
std::vector<Request> requests(int count, cups_option_t* options) {
  std::vector<Request> all;
  if (const char* media = cupsGetOption("media", count, options)) {
    std::string_view rest = media;
    while (!rest.empty()) {
      const std::size_t comma = std::min(rest.find(','), rest.size());
      if (comma > 0) all.push_back({"media", std::string(rest.substr(0, comma))});
      rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
  }
  for (const char* keyword : {"PageRegion", "PageSize"}) {
    const char* value = cupsGetOption(keyword, count, options);
    if (value != nullptr && *value != '\0') all.push_back({keyword, value});
  }
  return all;
}

std::string refusal_of_size(const std::string& name) {
  return "This printer has no paper \"" + one_line(name) + "\". It has " + usual_paper_names() +
         ".";
}

// The paper that the job names; null with an empty refusal if it names none.
JobPaper named_paper(ppd_file_t* ppd, int count, cups_option_t* options) {
  JobPaper named;
  for (const Request& request : requests(count, options)) {
    if (const PaperConfig* paper = find_paper(ppd, request.value)) {
      named = {.paper = paper, .refusal = {}};
    } else if (std::strcmp(request.keyword, "media") != 0 || !names_no_size(ppd, request.value)) {
      named = {.paper = nullptr, .refusal = refusal_of_size(request.value)};
    }
  }
  return named;
}

JobPaper cut(const PaperConfig& paper, const std::string& choice) {
  const PaperConfig* cut = find_cut_variant(paper, choice.empty() ? "None" : choice);
  if (cut != nullptr) return {.paper = cut, .refusal = {}};
  return {.paper = nullptr,
          .refusal = std::string("The ") + paper.label + " paper cannot be cut into " +
                     one_line(choice) + "; 6x4 and 6x8 paper can."};
}

}  // namespace

JobPaper mark_job_choices(ppd_file_t* ppd, int count, cups_option_t* options) {
  JobPaper named = named_paper(ppd, count, options);
  ppdMarkDefaults(ppd);
  std::string size = marked(ppd, "PageSize");
  if (size.empty()) size = marked(ppd, "PageRegion");
  cupsMarkOptions(ppd, count, options);

  const PaperConfig* const queue_paper = find_paper_by_ppd_name(size.c_str());
  if (queue_paper == nullptr) return {};  // a PPD file of another printer
  if (!named.refusal.empty()) return named;
  return cut(named.paper == nullptr ? *queue_paper : *named.paper, marked(ppd, "K905Cut"));
}

}  // namespace k905
