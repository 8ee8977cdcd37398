#include "devtools/sim/servers.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace {

// A real printer can be opened only once; a terminal cannot refuse a second client.
std::string hint_for(int clients) {
  if (clients < 2) {
    return "";
  }
  return std::to_string(clients) +
         " programs had the terminal open at the same time, which mixed their jobs";
}

void remove_link(const std::string& link) {
  std::error_code ignored;
  if (!link.empty() && std::filesystem::is_symlink(link, ignored)) {
    std::filesystem::remove(link, ignored);
  }
}

// Replaces a link of an earlier run; anything else with this name is an error.
std::error_code make_link(const std::string& target, const std::string& link) {
  std::error_code failure;
  if (!link.empty()) {
    remove_link(link);
    std::filesystem::create_symlink(target, link, failure);
  }
  return failure;
}

}  // namespace

TerminalServer::TerminalServer(Printer& printer, LineEvents& events, std::string link)
    : printer_(printer), events_(events), link_(std::move(link)) {}

TerminalServer::~TerminalServer() {
  if (terminal_) {
    remove_link(link_);
  }
}

bool TerminalServer::plug(std::string& error) {
  terminal_ = open_terminal(error);
  if (!terminal_) {
    return false;
  }
  if (const std::error_code failure = make_link(terminal_->path, link_)) {
    error = link_ + ": " + failure.message();
    terminal_.reset();
    return false;
  }
  closed_ = false;
  max_clients_ = 0;
  prepare_for_client();
  return true;
}

void TerminalServer::unplug() {
  if (terminal_) {
    client_->end();
    client_.reset();
    remove_link(link_);
    terminal_.reset();
  }
}

// Bytes are read before the events and processed after them: a new client's question is not
// answered until the replies to the previous client are discarded.
void TerminalServer::serve() {
  if (!terminal_) {
    return;
  }
  if (client_->wants_bytes(!is_closed_by_clients(*terminal_))) {
    closed_ = !client_->read_available();
  }
  const ClientEvents events = take_client_events(*terminal_);
  max_clients_ = std::max(max_clients_, events.max_clients);
  if (events.has_new_client) {
    discard_replies();
    if (client_->has_protocol_error()) {
      prepare_for_client();
    }
  }
  client_->set_error_hint(hint_for(max_clients_));
  client_->process();
  if (closed_ && !client_->has_unprocessed_bytes()) {
    end_session();
  }
  (void)client_->send();
}

void TerminalServer::add_waits(std::vector<pollfd>& waits) const {
  if (terminal_) {
    const bool ignored = closed_ || events_.is_slow() || !client_->wants_bytes(false);
    const short input = client_->wants_bytes() ? POLLIN : 0;
    waits.push_back({.fd = ignored ? -1 : client_->descriptor(), .events = input, .revents = 0});
    waits.push_back({.fd = terminal_->events.get(), .events = POLLIN, .revents = 0});
  }
}

void TerminalServer::prepare_for_client() {
  client_ = std::make_unique<Client>(printer_, events_, terminal_->printer_side.get());
}

void TerminalServer::discard_replies() {
  if (client_->outbox().has_sent()) {
    discard_unread_replies(*terminal_);
  }
  client_->clear_replies();
}

void TerminalServer::end_session() {
  client_->end();
  discard_replies();
  prepare_for_client();
  terminal_->clients = 0;
  max_clients_ = 0;
}

NetworkServer::NetworkServer(Printer& printer, LineEvents& events, Listener listener)
    : printer_(printer), events_(events), listener_(std::move(listener)) {}

void NetworkServer::serve() {
  if (!client_) {
    connection_ = accept_client(listener_);
    if (!connection_) {
      return;
    }
    client_ = std::make_unique<Client>(printer_, events_, connection_.get());
    client_has_finished_ = false;
  }
  if (!client_has_finished_ && client_->wants_bytes()) {
    client_has_finished_ = !client_->read_available();
  }
  client_->process();
  const bool all_processed = client_has_finished_ && !client_->has_unprocessed_bytes();
  const bool reachable = client_->send();
  if (!reachable || (all_processed && client_->outbox().empty())) {
    disconnect();
  }
}

void NetworkServer::add_waits(std::vector<pollfd>& waits) const {
  if (!client_) {
    waits.push_back({.fd = listener_.socket.get(), .events = POLLIN, .revents = 0});
  } else if (!client_has_finished_ && !events_.is_slow() && client_->wants_bytes()) {
    waits.push_back({.fd = connection_.get(), .events = POLLIN, .revents = 0});
  }
}

void NetworkServer::disconnect() {
  if (client_) {
    client_->end();
    client_.reset();
    connection_.reset();
  }
}

void NetworkServer::unplug() {
  disconnect();
  stop_listening(listener_);
}

void NetworkServer::plug() { listen_again(listener_); }
