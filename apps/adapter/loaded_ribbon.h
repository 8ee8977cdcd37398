// The ribbon in the printer, as far as it affects the filter.
#pragma once

#include <chrono>
#include <string>

namespace k905 {

// Asks the backend. Returns "6x4" or "6x8"; "" if the backend does not support the request or does
// not answer in time, if other media is loaded, or if the job was canceled. While the backend k905
// waits for the printer, this waits as well: nothing could be printed anyway.
[[nodiscard]] std::string loaded_ribbon(std::chrono::seconds limit = std::chrono::seconds(20));

}  // namespace k905
