// Servers for the two connections of the simulated printer.
#pragma once

#include <poll.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devtools/sim/client.h"
#include "devtools/sim/line.h"

// Clients of the terminal have no separate connections: when the last one closes it, incomplete
// input and unread replies are discarded, so that the next one finds a printer that is ready.
class TerminalServer {
 public:
  // `link`: a symbolic link that always points to the current terminal, "" for none.
  TerminalServer(Printer& printer, LineEvents& events, std::string link);
  ~TerminalServer();
  TerminalServer(const TerminalServer&) = delete;
  TerminalServer& operator=(const TerminalServer&) = delete;

  // Opens a terminal and stores its path. False with the reason in `error`.
  [[nodiscard]] bool plug(std::string& error);
  // Removes the terminal: its clients read an error.
  void unplug();

  [[nodiscard]] const std::string& path() const { return terminal_->path; }
  [[nodiscard]] bool has_clients() const { return terminal_ && !is_closed_by_clients(*terminal_); }

  void serve();
  void add_waits(std::vector<pollfd>& waits) const;
  [[nodiscard]] const Client* client() const { return client_.get(); }

 private:
  void prepare_for_client();
  void discard_replies();
  void end_session();

  Printer& printer_;
  LineEvents& events_;
  std::string link_;
  std::optional<Terminal> terminal_;
  std::unique_ptr<Client> client_;
  bool closed_ = false;  // no client has the terminal open, and everything was read
  int max_clients_ = 0;  // at the same time, since it was closed
};

// Serves one client at a time; the others wait in the queue of the system.
class NetworkServer {
 public:
  NetworkServer(Printer& printer, LineEvents& events, Listener listener);

  [[nodiscard]] std::uint16_t port() const { return listener_.port; }

  // Disconnects the client; no client can connect before plug().
  void unplug();
  void plug();
  void disconnect();

  void serve();
  void add_waits(std::vector<pollfd>& waits) const;
  [[nodiscard]] const Client* client() const { return client_.get(); }

 private:
  Printer& printer_;
  LineEvents& events_;
  Listener listener_;
  Descriptor connection_;
  std::unique_ptr<Client> client_;
  bool client_has_finished_ = false;  // it sends no more data
};
