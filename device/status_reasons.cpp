// The table from status codes to printer-state-reasons.

#include "device/status_reasons.h"

#include <algorithm>
#include <array>

#include "protocol/status_texts.h"

namespace k905 {

namespace {

constexpr char kService[] =
    "turn the printer off and on; if the error persists, the printer needs service";
constexpr char kClearJam[] = "open the printer, remove the paper, close it";
constexpr char kClearDuplexJam[] = "open the duplex unit, remove the paper, close it";
constexpr char kDuplexService[] =
    "turn the printer off and on; if the error persists, the duplex unit needs service";

// Deliberate: 1600 counts as ready. An interrupted sheet causes it, and the printer clears it with
// the next valid sheet.
constexpr auto kReasons = std::to_array<StatusReason>({
    {0, true, "", ""},
    {1, true, "", ""},
    {500, false, "other-report", "printing continues when it has cooled down"},
    {510, false, "other-report", "printing continues when it has cooled down"},
    {900, true, "", ""},
    {1000, false, "cover-open-error", "close the cover"},
    {1010, false, "output-tray-missing-error", "insert the scrap box"},
    {1100, false, "media-empty-error", "load new paper and a new ribbon"},
    {1200, false, "marker-supply-empty-error", "load new paper and a new ribbon"},
    {1300, false, "media-jam-error", kClearJam},
    {1400, false, "marker-supply-missing-error", "check the ribbon and insert it again"},
    {1500, false, kMediaNeeded, "load the media that the printer is set to"},
    {1600, true, "", ""},
    {2000, false, "other-error", kService},
    {2100, false, "other-error", kService},
    {2200, false, "other-error", kService},
    {2300, false, "other-error",
     "remove cut paper from the cutter; if the error persists, the printer needs service"},
    {2400, false, "other-error", kService},
    {2500, false, "other-error",
     "let the printer cool down; if the error persists, the printer needs service"},
    {2600, false, "other-error",
     "let the printer cool down; if the error persists, the printer needs service"},
    {2610, false, "other-error",
     "let the printer cool down; if the error persists, the printer needs service"},
    {2700, false, "other-error",
     "check the ribbon; if the error persists, the printer needs service"},
    {2800, false, "other-error",
     "insert the ribbon again; if the error persists, the printer needs service"},
    {3000, false, "other-error", kService},
    {5017, false, "media-jam-error", kClearDuplexJam},
    {5019, false, "media-jam-error", kClearDuplexJam},
    {5023, false, "media-jam-error", kClearDuplexJam},
    {5027, false, "media-jam-error", kClearDuplexJam},
    {5049, false, "other-error", kDuplexService},
    {5065, false, "other-error", kDuplexService},
    {5081, false, "other-error", kDuplexService},
    {5097, false, "other-error", kDuplexService},
    {5113, false, "other-error", kDuplexService},
    {5129, false, "other-error", kDuplexService},
    {5145, false, "other-error", kDuplexService},
    {5161, false, "other-error", kDuplexService},
    {5177, false, "other-error", kDuplexService},
    {5193, false, "input-tray-missing-error", "insert the tray of the duplex unit"},
    {5209, false, "cover-open-error", "close the cover of the duplex unit"},
    {5241, false, "other-error", kDuplexService},
});

constexpr StatusReason kUnknown{-1, false, "other-error", "look at the printer's display"};

}  // namespace

const StatusReason& status_reason(int code) {
  const auto* found = std::find_if(kReasons.begin(), kReasons.end(),
                                   [code](const StatusReason& row) { return row.code == code; });
  return found == kReasons.end() ? kUnknown : *found;
}

std::string status_sentence(int code) {
  std::string sentence = status_text(code);
  if (sentence.empty()) {
    sentence = "Printer status " + std::to_string(code);
  }
  const std::string advice = status_reason(code).advice;
  return advice.empty() ? sentence : sentence + ": " + advice;
}

std::span<const StatusReason> status_reasons() { return kReasons; }

std::vector<std::string_view> all_reason_keywords() {
  std::vector<std::string_view> keywords{kOffline, kConnecting, kMediaLow};
  for (const StatusReason& row : kReasons) {
    const std::string_view keyword = row.keyword;
    if (!keyword.empty() &&
        std::find(keywords.begin(), keywords.end(), keyword) == keywords.end()) {
      keywords.push_back(keyword);
    }
  }
  return keywords;
}

}  // namespace k905
