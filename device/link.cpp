// Non-blocking descriptors, and poll with a deadline around every call.

#include "device/link.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <thread>

namespace k905 {

namespace {

using Clock = std::chrono::steady_clock;

// A CR without an LF within this time ends a line.
constexpr std::chrono::milliseconds kLineFeedWait{50};

// Some drivers report "no data yet" as a read of 0 bytes.
constexpr std::chrono::milliseconds kEmptyReadPause{10};

// A device that never stops sending must not block the program. Late replies are much shorter.
constexpr std::size_t kMaxDiscarded = std::size_t{1} << 16;

Link::Milliseconds time_until(Clock::time_point deadline) {
  const auto remaining = std::chrono::ceil<Link::Milliseconds>(deadline - Clock::now());
  return std::max(remaining, Link::Milliseconds(0));
}

// A small send buffer, so that "written" means nearly the same as "received by the printer".
constexpr int kSendBufferBytes = 128 * 1024;

// Detects a host that disappeared without closing the connection, even while nothing is sent.
void set_socket_options(int socket_number) {
  const int on = 1;
  const int idle_s = 10;
  const int interval_s = 5;
  const int probes = 3;
  setsockopt(socket_number, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  setsockopt(socket_number, IPPROTO_TCP, TCP_KEEPIDLE, &idle_s, sizeof idle_s);
  setsockopt(socket_number, IPPROTO_TCP, TCP_KEEPINTVL, &interval_s, sizeof interval_s);
  setsockopt(socket_number, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
  setsockopt(socket_number, SOL_SOCKET, SO_SNDBUF, &kSendBufferBytes, sizeof kSendBufferBytes);
  // Questions are short, and each waits for its reply.
  setsockopt(socket_number, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

int pending_error(int socket_number) {
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(socket_number, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

}  // namespace

int Link::open(const PrinterAddress& address, Milliseconds timeout, const UsbFolders& folders) {
  close();
  switch (address.kind) {
    case PrinterAddress::Kind::kNetwork:
      return connect_to(address, timeout);
    case PrinterAddress::Kind::kSerial: {
      const std::string path = usb_device_file(address.name, folders);
      return path.empty() ? ENODEV : open_file(path);
    }
    case PrinterAddress::Kind::kPath:
      break;
  }
  return open_file(address.name);
}

void Link::close() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
    descriptor_ = -1;
  }
}

int Link::open_file(const std::string& path) {
  descriptor_ = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  is_socket_ = false;
  if (descriptor_ < 0) {
    return errno;
  }
  // Only character devices are accepted: into a regular file, for example, questions and sheets
  // would be written.
  struct stat status {};
  if (fstat(descriptor_, &status) != 0 || !S_ISCHR(status.st_mode)) {
    close();
    return ENOTTY;
  }
  // The kernel lets only one program open a printer device, but several open the terminal of a
  // simulator. With the lock both behave alike.
  if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    close();
    return EBUSY;
  }
  return 0;
}

int Link::connect_to(const PrinterAddress& address, Milliseconds timeout) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  if (getaddrinfo(address.name.c_str(), address.port.c_str(), &hints, &list) != 0) {
    return EHOSTUNREACH;
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, freeaddrinfo);
  int error = EHOSTUNREACH;
  for (const addrinfo* candidate = list; candidate != nullptr; candidate = candidate->ai_next) {
    descriptor_ =
        socket(candidate->ai_family, candidate->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    is_socket_ = true;
    if (descriptor_ < 0) {
      error = errno;
      continue;
    }
    error = connect(descriptor_, candidate->ai_addr, candidate->ai_addrlen) == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
      error = wait_for(POLLOUT, timeout);
      error = error == 0 ? pending_error(descriptor_) : error;
    }
    if (error == 0) {
      set_socket_options(descriptor_);
      return 0;
    }
    close();
  }
  return error;
}

// 0 as soon as read or write would not block; those calls report errors of the connection.
int Link::wait_for(short events, Milliseconds timeout) const {
  const Clock::time_point deadline = Clock::now() + timeout;
  pollfd wait{.fd = descriptor_, .events = events, .revents = 0};
  for (;;) {
    const int ready = poll(&wait, 1, static_cast<int>(time_until(deadline).count()));
    if (ready > 0) {
      return 0;
    }
    if (ready == 0) {
      return ETIMEDOUT;
    }
    if (errno != EINTR) {
      return errno;
    }
  }
}

int Link::write(std::span<const std::uint8_t> bytes, Milliseconds stall, std::size_t& written) {
  while (!bytes.empty()) {
    const ssize_t taken = ::write(descriptor_, bytes.data(), bytes.size());
    if (taken > 0) {
      written += static_cast<std::size_t>(taken);
      bytes = bytes.subspan(static_cast<std::size_t>(taken));
      continue;
    }
    if (taken < 0 && errno == EINTR) {
      continue;
    }
    if (taken < 0 && errno != EAGAIN) {
      return errno;
    }
    if (const int error = wait_for(POLLOUT, stall)) {
      return error;
    }
  }
  return 0;
}

int Link::read_some(char* buffer, std::size_t capacity, Milliseconds timeout,
                    std::size_t& got) const {
  const Clock::time_point deadline = Clock::now() + timeout;
  for (;;) {
    if (const int error = wait_for(POLLIN, time_until(deadline))) {
      return error;
    }
    const ssize_t count = ::read(descriptor_, buffer, capacity);
    if (count > 0) {
      got = static_cast<std::size_t>(count);
      return 0;
    }
    if (count == 0 && is_socket_) {
      return ECONNRESET;  // closed by the printer
    }
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
      return errno;
    }
    if (Clock::now() >= deadline) {
      return ETIMEDOUT;
    }
    if (count == 0) {
      std::this_thread::sleep_for(kEmptyReadPause);
    }
  }
}

int Link::read_line(std::string& line, std::size_t capacity, Milliseconds timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  line.clear();
  char piece[256];
  while (line.size() < capacity && !line.ends_with('\n')) {
    const bool ended_by_cr = line.ends_with('\r');
    const Milliseconds wait =
        ended_by_cr ? std::min(kLineFeedWait, time_until(deadline)) : time_until(deadline);
    std::size_t got = 0;
    const int error = read_some(piece, std::min(sizeof piece, capacity - line.size()), wait, got);
    if (error == ETIMEDOUT && ended_by_cr) {
      break;
    }
    if (error != 0) {
      return error;
    }
    line.append(piece, got);
  }
  line.erase(std::min(line.find_first_of("\r\n"), line.size()));
  return 0;
}

void Link::discard_input() {
  char piece[256];
  std::size_t discarded = 0;
  std::size_t got = 0;
  while (discarded < kMaxDiscarded && read_some(piece, sizeof piece, Milliseconds(0), got) == 0) {
    discarded += got;
  }
}

}  // namespace k905
