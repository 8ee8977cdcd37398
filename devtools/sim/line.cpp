#include "devtools/sim/line.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pty.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

std::string failure(const char* what) { return std::string(what) + ": " + std::strerror(errno); }

void make_non_blocking(int descriptor) {
  fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

// Small, so that few bytes are in transit when the connection is lost in the middle of a sheet.
constexpr int kReceiveBufferBytes = 128 * 1024;

Descriptor bound_socket(std::uint16_t port) {
  Descriptor bound(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int again = 1;
  setsockopt(bound.get(), SOL_SOCKET, SO_REUSEADDR, &again, sizeof again);
  const sockaddr_in address = loopback(port);
  if (bind(bound.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    bound.reset();
    errno = error;
  }
  return bound;
}

std::uint16_t port_of(const Descriptor& bound) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(bound.get(), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

}  // namespace

std::optional<Terminal> open_terminal(std::string& error) {
  int printer_side = -1;
  int client_side = -1;
  char path[128] = "";
  // Raw mode is set before a client can open the terminal: no echo, unchanged line ends, no signals
  // from control bytes.
  termios mode{};
  cfmakeraw(&mode);
  mode.c_cflag |= CREAD | CS8;
  mode.c_cc[VMIN] = 1;
  if (openpty(&printer_side, &client_side, path, &mode, nullptr) != 0) {
    error = failure("cannot open a pseudo-terminal");
    return std::nullopt;
  }
  close(client_side);
  Terminal terminal{.path = path,
                    .printer_side = Descriptor(printer_side),
                    .events = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))};
  make_non_blocking(printer_side);
  if (!terminal.events || inotify_add_watch(terminal.events.get(), path, IN_OPEN | IN_CLOSE) < 0) {
    error = failure("cannot watch the pseudo-terminal");
    return std::nullopt;
  }
  return terminal;
}

ClientEvents take_client_events(Terminal& terminal) {
  ClientEvents result{.max_clients = terminal.clients};
  alignas(inotify_event) char events[4096];
  for (ssize_t got = 0; (got = read(terminal.events.get(), events, sizeof events)) > 0;) {
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(events + at);
      if ((event->mask & IN_OPEN) != 0) {
        result.has_new_client = result.has_new_client || terminal.clients == 0;
        ++terminal.clients;
        result.max_clients = std::max(result.max_clients, terminal.clients);
      } else if ((event->mask & IN_CLOSE) != 0) {
        terminal.clients = std::max(terminal.clients - 1, 0);
      }
      at += static_cast<ssize_t>(sizeof *event + event->len);
    }
  }
  return result;
}

bool is_closed_by_clients(const Terminal& terminal) {
  pollfd side{.fd = terminal.printer_side.get(), .events = 0, .revents = 0};
  return poll(&side, 1, 0) > 0 && (side.revents & POLLHUP) != 0;
}

void discard_unread_replies(const Terminal& terminal) {
  const Descriptor client_side(open(terminal.path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  tcflush(client_side.get(), TCIFLUSH);
}

std::optional<Listener> listen_on(std::uint16_t port, std::string& error) {
  const auto fail = [&]() -> std::optional<Listener> {
    error = failure(("cannot listen on port " + std::to_string(port)).c_str());
    return std::nullopt;
  };
  const Descriptor chosen = bound_socket(port);
  if (!chosen) {
    return fail();
  }
  Listener listener{.socket = {}, .port = port_of(chosen)};
  // If the port was requested by number, the kernel keeps it reserved after stop_listening().
  listener.socket = bound_socket(listener.port);
  if (!listener.socket) {
    return fail();
  }
  const int socket_number = listener.socket.get();
  setsockopt(socket_number, SOL_SOCKET, SO_RCVBUF, &kReceiveBufferBytes,
             sizeof kReceiveBufferBytes);
  make_non_blocking(socket_number);
  if (listen(socket_number, SOMAXCONN) != 0) {
    return fail();
  }
  return listener;
}

// On Linux a listening socket that is shut down for reading stops listening and stays bound.
void stop_listening(const Listener& listener) { shutdown(listener.socket.get(), SHUT_RD); }

void listen_again(const Listener& listener) { (void)listen(listener.socket.get(), SOMAXCONN); }

Descriptor accept_client(const Listener& listener) {
  return Descriptor(accept4(listener.socket.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}
