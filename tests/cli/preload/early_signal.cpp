// Sends the program the signal with the number K905_EARLY_SIGNAL before main(), when constructors
// of libraries run (LD_PRELOAD).
#include <csignal>
#include <cstdlib>

namespace {

[[gnu::constructor]] void send_early_signal() {
  if (const char* number = std::getenv("K905_EARLY_SIGNAL")) {
    const auto signal = static_cast<int>(std::strtol(number, nullptr, 10));
    unsetenv("K905_EARLY_SIGNAL");
    unsetenv("LD_PRELOAD");  // for programs that this program starts
    std::raise(signal);
  }
}

}  // namespace
