#include "devtools/sim/line.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
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

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) {
    close(number_);
  }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

std::optional<Terminal> open_terminal(std::string& error) {
  int printer_side = -1;
  int client_side = -1;
  char path[128] = "";
  // Raw before anybody can open it: no echo, no line ends changed, no signals from control bytes.
  termios mode{};
  cfmakeraw(&mode);
  mode.c_cflag |= CREAD | CS8;
  mode.c_cc[VMIN] = 1;
  if (openpty(&printer_side, &client_side, path, &mode, nullptr) != 0) {
    error = failure("no pseudo-terminal");
    return std::nullopt;
  }
  Terminal terminal{.path = path,
                    .printer_side = Descriptor(printer_side),
                    .client_side = Descriptor(client_side),
                    .arrivals = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))};
  make_non_blocking(printer_side);
  if (terminal.arrivals &&
      inotify_add_watch(terminal.arrivals.get(), path, IN_OPEN | IN_CLOSE) < 0) {
    terminal.arrivals = Descriptor();
  }
  return terminal;
}

bool last_client_left(Terminal& terminal) {
  if (!terminal.arrivals) {
    return false;
  }
  alignas(inotify_event) char news[4096];
  bool nobody_was_there = false;
  for (;;) {
    const ssize_t got = read(terminal.arrivals.get(), news, sizeof news);
    if (got <= 0) {
      break;
    }
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(news + at);
      if ((event->mask & IN_OPEN) != 0) {
        ++terminal.clients;
      } else if ((event->mask & IN_CLOSE) != 0) {
        terminal.clients = std::max(terminal.clients - 1, 0);
        nobody_was_there = nobody_was_there || terminal.clients == 0;
      }
      at += static_cast<ssize_t>(sizeof *event + event->len);
    }
  }
  return nobody_was_there;
}

void forget_unread(const Terminal& terminal) { tcflush(terminal.client_side.get(), TCIFLUSH); }

std::optional<Listener> listen_on(std::uint16_t port, std::string& error) {
  Listener listener{.socket = Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))};
  const int socket_number = listener.socket.get();
  const int again = 1;
  setsockopt(socket_number, SOL_SOCKET, SO_REUSEADDR, &again, sizeof again);
  sockaddr_in address = loopback(port);
  socklen_t size = sizeof address;
  auto* general = reinterpret_cast<sockaddr*>(&address);
  if (bind(socket_number, general, size) != 0 || listen(socket_number, SOMAXCONN) != 0 ||
      getsockname(socket_number, general, &size) != 0) {
    error = failure(("cannot listen on port " + std::to_string(port)).c_str());
    return std::nullopt;
  }
  make_non_blocking(socket_number);
  listener.port = ntohs(address.sin_port);
  return listener;
}

Descriptor accept_client(const Listener& listener) {
  return Descriptor(accept4(listener.socket.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}
