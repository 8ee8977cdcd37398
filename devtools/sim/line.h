// The two ways to reach the simulated printer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Closes its descriptor at the end of its life.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;

  [[nodiscard]] int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }

 private:
  int number_ = -1;
};

// A pseudo-terminal in raw mode. The simulator keeps a descriptor of the client's side open, so
// that the terminal stays raw and never hangs up between two clients; who comes and goes is told by
// `arrivals`.
struct Terminal {
  std::string path;
  Descriptor printer_side;  // non-blocking
  Descriptor client_side;
  Descriptor arrivals;  // inotify; invalid where the system does not offer it

  // Clients that have the terminal open, as far as arrivals told.
  int clients = 0;
};

[[nodiscard]] std::optional<Terminal> open_terminal(std::string& error);

// Takes the news of arrivals. True when since the last call there was a moment without any client,
// whether or not somebody has come in the meantime.
[[nodiscard]] bool last_client_left(Terminal& terminal);

// Throws away answers that nobody has read.
void forget_unread(const Terminal& terminal);

struct Listener {
  Descriptor socket;  // non-blocking
  std::uint16_t port = 0;
};

// Listens on the loopback interface; port 0 takes any that is free.
[[nodiscard]] std::optional<Listener> listen_on(std::uint16_t port, std::string& error);
[[nodiscard]] Descriptor accept_client(const Listener& listener);
