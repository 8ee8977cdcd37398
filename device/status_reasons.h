// What each status code of the printer means for a job: print or wait, and what the queue shows.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace k905 {

struct StatusReason {
  int code = 0;
  bool ready = false;   // a sheet can be sent
  const char* keyword;  // printer-state-reason, "" for none
  const char* advice;   // what the operator must do, "" for nothing
};

// The row of a status code; an unknown code needs operator attention.
[[nodiscard]] const StatusReason& status_reason(int code);

// The sentence for the code: the printer's own text and the advice.
[[nodiscard]] std::string status_sentence(int code);

// The whole table.
[[nodiscard]] std::span<const StatusReason> status_reasons();

inline constexpr char kOffline[] = "offline-report";
inline constexpr char kConnecting[] = "connecting-to-device";
inline constexpr char kMediaNeeded[] = "media-needed-error";
inline constexpr char kMediaLow[] = "media-low-warning";

// All keywords that the backend uses, each once.
[[nodiscard]] std::vector<std::string_view> all_reason_keywords();

}  // namespace k905
