#include "devtools/sim/device.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <variant>

#include "devtools/sim/sheet_folder.h"

namespace {

// The interval at which a slow client, a connection with limited speed and a printer without a free
// buffer are checked again.
constexpr int kRetryMs = 20;

int milliseconds_until(std::optional<Outbox::Clock::time_point> due) {
  if (!due) {
    return kNoWaitLimit;
  }
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(*due - Outbox::Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : kRetryMs;
}

int max_wait_for(const Client* client, const LineEvents& events) {
  if (client == nullptr) {
    return kNoWaitLimit;
  }
  const bool needs_retry =
      events.is_slow() || (client->has_unprocessed_bytes() && events.takes_data());
  return std::min(milliseconds_until(client->outbox().due()),
                  needs_retry ? kRetryMs : kNoWaitLimit);
}

}  // namespace

Device::Device(const DeviceOptions& options)
    : printer_(options.printer),
      events_(options.bytes_per_second),
      port_(options.port),
      terminal_(printer_, events_, options.link) {}

bool Device::open(std::string& error) {
  if (!printer_.sheet_folder().empty()) {
    if (const auto problem = check_sheet_folder(printer_.sheet_folder())) {
      error = *problem;
      return false;
    }
  }
  if (!terminal_.plug(error)) {
    return false;
  }
  if (port_) {
    std::optional<Listener> listener = listen_on(*port_, error);
    if (!listener) {
      return false;
    }
    network_ = std::make_unique<NetworkServer>(printer_, events_, std::move(*listener));
  }
  printer_.print_line(terminal_.path());
  if (network_) {
    printer_.print_line("listening on 127.0.0.1:" + std::to_string(network_->port()));
  }
  return true;
}

void Device::serve() {
  printer_.work();
  terminal_.serve();
  disconnect_if_due();
  if (network_) {
    network_->serve();
    disconnect_if_due();
  }
}

void Device::add_waits(std::vector<pollfd>& waits) const {
  terminal_.add_waits(waits);
  if (network_ && is_plugged_) {
    network_->add_waits(waits);
  }
}

int Device::max_wait_ms() const {
  return std::min({milliseconds_until(printer_.due()), max_wait_for(terminal_.client(), events_),
                   max_wait_for(network_ ? network_->client() : nullptr, events_)});
}

void Device::execute(const Command& command) {
  const std::optional<std::string> problem =
      std::visit([this](const auto& action) { return perform(action); }, command.action);
  disconnect_if_due();
  printer_.print_line(problem ? "error: " + *problem : "ok");
}

std::optional<std::string> Device::perform(PlainCommand command) {
  switch (command) {
    case PlainCommand::show:
      show();
      break;
    case PlainCommand::resume:
      events_.resume();
      break;
    case PlainCommand::plug:
      return plug();
    case PlainCommand::power_off:
      power_off();
      break;
    case PlainCommand::power_cycle:
      power_off();
      return plug();
  }
  return std::nullopt;
}

std::optional<std::string> Device::perform(const SetField& command) {
  return printer_.set(command.key, command.text);
}

std::optional<std::string> Device::perform(const LoadMedia& command) {
  std::string prints = command.prints;
  if (prints.empty()) {
    prints = std::to_string(printer_.state().initial);
  }
  for (const auto& [key, text] : {std::pair<std::string, std::string>{"media", command.media},
                                  {"initial", prints},
                                  {"remaining", prints}}) {
    if (auto problem = printer_.set(key, text)) {
      return problem;
    }
  }
  printer_.resume();
  return std::nullopt;
}

std::optional<std::string> Device::perform(const StopPrinter& command) {
  printer_.stop(command.status);
  return std::nullopt;
}

std::optional<std::string> Device::perform(const LineCommand& command) {
  if (command.at_once) {
    events_.apply(command.event.event);
  } else {
    events_.plan(command.event);
  }
  return std::nullopt;
}

void Device::disconnect_if_due() {
  const std::optional<LineEvent> disconnection = events_.take_disconnection();
  if (disconnection == LineEvent::unplug) {
    unplug();
  } else if (disconnection == LineEvent::disconnect && is_plugged_) {
    if (network_) {
      network_->disconnect();
    }
    std::string error;
    if (terminal_.has_clients()) {
      terminal_.unplug();
      if (terminal_.plug(error)) {
        printer_.print_line("terminal " + terminal_.path());
      } else {
        printer_.print_line("no terminal: " + error);
      }
    }
  }
}

void Device::power_off() {
  unplug();
  printer_.lose_buffers();
}

void Device::unplug() {
  if (std::exchange(is_plugged_, false)) {
    events_.resume();
    terminal_.unplug();
    if (network_) {
      network_->unplug();
    }
  }
}

std::optional<std::string> Device::plug() {
  std::string error;
  if (is_plugged_) {
    return std::nullopt;
  }
  if (!terminal_.plug(error)) {
    return error;
  }
  is_plugged_ = true;
  if (network_) {
    network_->plug();
  }
  printer_.print_line("terminal " + terminal_.path());
  return std::nullopt;
}

void Device::show() const {
  for (const StateField& field : state_fields()) {
    printer_.print_line(std::string(field.key) + " = " + field_text(printer_.state(), field));
  }
  if (const int status = printer_.stopped_with()) {
    printer_.print_line("stopped with status " + std::to_string(status));
  }
  if (events_.holds()) {
    printer_.print_line("holding");
  }
  printer_.print_line(is_plugged_ ? "connected to " + terminal_.path() : "unplugged");
}
