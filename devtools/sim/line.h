// The two connections to the simulated printer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "apps/base/descriptor.h"

using k905::Descriptor;

// A pseudo-terminal in raw mode. It stays raw while no client has it open, since the simulator
// holds the printer's side.
struct Terminal {
  std::string path;
  Descriptor printer_side;  // non-blocking; reading fails with EIO while no client has it open
  Descriptor events;        // inotify: a client opened or closed the terminal

  // Clients that have it open, as counted from the events. Only an estimate: the system merges
  // equal events that follow each other.
  int clients = 0;
};

[[nodiscard]] std::optional<Terminal> open_terminal(std::string& error);

struct ClientEvents {
  bool has_new_client = false;  // a client opened it after all earlier ones had closed it
  int max_clients = 0;          // the most that had it open at the same time
};

// Reads the events since the last call and updates `clients`.
[[nodiscard]] ClientEvents take_client_events(Terminal& terminal);

// All clients have closed the terminal. What they wrote can still be read.
[[nodiscard]] bool is_closed_by_clients(const Terminal& terminal);

// Discards replies that were written but not read. Opens and closes the terminal, which is an event
// like that of any client.
void discard_unread_replies(const Terminal& terminal);

struct Listener {
  Descriptor socket;  // non-blocking
  std::uint16_t port = 0;
};

// Listens on the loopback interface; port 0 selects a free one.
[[nodiscard]] std::optional<Listener> listen_on(std::uint16_t port, std::string& error);
[[nodiscard]] Descriptor accept_client(const Listener& listener);

// Disconnects clients that are not accepted yet and refuses new ones until listen_again(). The port
// stays in use.
void stop_listening(const Listener& listener);
void listen_again(const Listener& listener);
