// Sends a program the signal that K905_EARLY_SIGNAL names by number, before main and in the place
// of a library's constructor (LD_PRELOAD).
#include <csignal>
#include <cstdlib>

namespace {

[[gnu::constructor]] void send_early_signal() {
  if (const char* number = std::getenv("K905_EARLY_SIGNAL")) {
    const auto signal = static_cast<int>(std::strtol(number, nullptr, 10));
    unsetenv("K905_EARLY_SIGNAL");
    unsetenv("LD_PRELOAD");  // for what this program starts
    std::raise(signal);
  }
}

}  // namespace
