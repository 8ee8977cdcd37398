// The ribbon in the printer, as far as it affects the filter.
#pragma once

#include <chrono>
#include <string>

namespace k905 {

// "6x4" or "6x8", asked of the backend; "" when the backend does not know the question or does not
// answer in time, when other media is loaded, and when the job was canceled. While the backend
// k905 waits for the printer, this waits as well: nothing could be printed anyway.
[[nodiscard]] std::string loaded_ribbon(std::chrono::seconds limit = std::chrono::seconds(20));

}  // namespace k905
