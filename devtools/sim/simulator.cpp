#include "devtools/sim/simulator.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "apps/wire/stream_dump.h"
#include "devtools/sim/dialogue.h"
#include "devtools/sim/line.h"
#include "devtools/sim/outbox.h"
#include "devtools/sim/replies.h"
#include "devtools/sim/sheet_folder.h"
#include "devtools/sim/state_file.h"

namespace {

// SIGINT and SIGTERM as a descriptor that becomes readable.
Descriptor signals_as_descriptor() {
  sigset_t endings;
  sigemptyset(&endings);
  sigaddset(&endings, SIGINT);
  sigaddset(&endings, SIGTERM);
  sigprocmask(SIG_BLOCK, &endings, nullptr);
  return Descriptor(signalfd(-1, &endings, SFD_CLOEXEC));
}

void tell(const std::string& line) {
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

void warn(const std::string& line) { std::fprintf(stderr, "k905-sim: %s\n", line.c_str()); }

std::string describe_sheet(const Sheet& sheet) {
  return std::to_string(sheet.width) + "x" + std::to_string(sheet.height) +
         (sheet.matte ? ", matte" : ", glossy") + ", cutter " + std::to_string(sheet.cutter);
}

// What the printer has and does, whoever the client is.
class Printer {
 public:
  explicit Printer(const SimulatorOptions& options) : options_(options), state_(options.state) {}

  [[nodiscard]] const Fault& fault() const { return options_.fault; }

  // Null when the printer says nothing to this question.
  std::optional<std::string> answer(const std::string& group, const std::string& name,
                                    bool printing) {
    read_state_file();
    return reply_to(state_, status(printing), group, name);
  }

  // What is told has happened: picture and state file are complete when the line appears.
  void print(const Sheet& sheet) {
    read_state_file();
    if (state_.remaining == 0) {
      tell("no paper: " + describe_sheet(sheet) + " was not printed");
      return;
    }
    data_error_ = false;
    --state_.remaining;
    ++state_.life;
    state_.matte += sheet.matte ? 1 : 0;
    ++printed_;
    const std::string picture = picture_of(sheet);
    write_state_file();
    tell("sheet " + std::to_string(printed_) + ": " + describe_sheet(sheet) + picture + ", " +
         std::to_string(state_.remaining) + " left");
  }

  // `hint`: a possible reason, "" for none.
  void refuse(const StreamError& error, const std::string& hint) {
    data_error_ = true;
    tell("data error: " + describe(error) + (hint.empty() ? "" : "; " + hint));
  }

  // Sheets whose image could not be stored.
  [[nodiscard]] int images_lost() const { return images_lost_; }

 private:
  [[nodiscard]] int status(bool printing) const {
    if (state_.status != kStatusIdle) {
      return state_.status;
    }
    if (printing) {
      return kStatusPrinting;
    }
    if (data_error_) {
      return kStatusDataError;
    }
    return state_.remaining == 0 ? kStatusPaperEnd : kStatusIdle;
  }

  std::string picture_of(const Sheet& sheet) {
    if (options_.sheets.empty()) {
      return "";
    }
    std::string error;
    const std::string path = keep_sheet(
        options_.sheets, sheet, options_.canvas ? SheetView::canvas : SheetView::paper, error);
    if (path.empty()) {
      ++images_lost_;
      warn(options_.sheets + ": the image of sheet " + std::to_string(printed_) +
           " is not stored: " + error);
      return ", image not stored";
    }
    return ", " + path;
  }

  // A file that a person is in the middle of editing may be wrong for a moment: the state stays.
  void read_state_file() {
    if (options_.state_file.empty()) {
      return;
    }
    if (const auto wrong = load_state(options_.state_file, state_)) {
      warn(*wrong);
    }
  }

  void write_state_file() const {
    if (options_.state_file.empty()) {
      return;
    }
    if (const auto wrong = save_state(options_.state_file, state_)) {
      warn(*wrong);
    }
  }

  const SimulatorOptions& options_;
  PrinterState state_;
  bool data_error_ = false;  // until the next sheet that can be printed
  int printed_ = 0;
  int images_lost_ = 0;
};

// A client that never stops must not keep the others, and the end of the program, waiting, and its
// questions of one round must not fill the memory with replies.
constexpr int kMostReadsInARow = 64;
constexpr std::size_t kMostBytesInARow = std::size_t{1} << 18;

// Reads what there is, within measure. False at the end of the line.
bool read_available(int descriptor, std::string& bytes) {
  bytes.clear();
  char piece[65536];
  for (int round = 0; round < kMostReadsInARow && bytes.size() < kMostBytesInARow; ++round) {
    const ssize_t got = read(descriptor, piece, sizeof piece);
    if (got == 0) {
      return false;
    }
    if (got < 0) {
      return errno == EAGAIN || errno == EINTR;
    }
    bytes.append(piece, static_cast<std::size_t>(got));
  }
  return true;
}

// A line with somebody at its other end.
class Client {
 public:
  Client(Printer& printer, int descriptor)
      : printer_(printer),
        descriptor_(descriptor),
        dialogue_({.question = [this](const auto& group, const auto& name) { ask(group, name); },
                   .sheet = [this](Sheet&& sheet) { printer_.print(sheet); },
                   .protocol_error =
                       [this](const StreamError& error) { printer_.refuse(error, error_hint_); }}) {
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  void hear(const std::string& bytes) {
    dialogue_.hear(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  void end() { dialogue_.end(); }

  [[nodiscard]] bool has_protocol_error() const { return dialogue_.has_protocol_error(); }

  // A possible reason for an error in the bytes that follow, "" for none.
  void set_error_hint(std::string hint) { error_hint_ = std::move(hint); }

  void forget_answers() {
    outbox_.clear();
    first_question_ = true;
  }

  [[nodiscard]] bool send() { return outbox_.send(descriptor_, Outbox::Clock::now()); }
  [[nodiscard]] const Outbox& outbox() const { return outbox_; }
  [[nodiscard]] int descriptor() const { return descriptor_; }

 private:
  void ask(const std::string& group, const std::string& name) {
    const std::string& question = name.empty() ? group : name;
    if (const auto text = printer_.answer(group, name, dialogue_.inside_sheet())) {
      outbox_.add(pieces_of_reply(*text, printer_.fault(), question, first_question_),
                  Outbox::Clock::now());
      first_question_ = false;
    }
  }

  Printer& printer_;
  int descriptor_;
  Dialogue dialogue_;
  Outbox outbox_;
  std::string error_hint_;
  bool first_question_ = true;
};

// The terminal's clients have no connection of their own: when the last one closes it, incomplete
// input and unread replies are discarded, so that the next one finds a printer that is ready.
class TerminalServer {
 public:
  TerminalServer(Printer& printer, Terminal terminal)
      : printer_(printer), terminal_(std::move(terminal)) {
    welcome();
  }

  // Bytes are read before the events and processed after them: the question of a new client is
  // never answered before the replies to the last one have been discarded.
  void serve() {
    std::string bytes;
    // Questions wait while replies are not taken, unless whoever asked has left.
    const bool reads = !client_->outbox().is_full() || is_closed_by_clients(terminal_);
    closed_ = reads && !read_available(client_->descriptor(), bytes);
    const ClientEvents events = take_client_events(terminal_);
    most_clients_ = std::max(most_clients_, events.most_clients);
    if (events.changed_hands) {
      forget_replies();
      if (client_->has_protocol_error()) {
        welcome();
      }
    }
    client_->set_error_hint(hint_for(most_clients_));
    client_->hear(bytes);
    if (closed_) {
      close_conversation();
    }
    (void)client_->send();
  }

  void add_waits(std::vector<pollfd>& waits) const {
    const short input = client_->outbox().is_full() ? 0 : POLLIN;
    waits.push_back({.fd = closed_ ? -1 : client_->descriptor(), .events = input, .revents = 0});
    waits.push_back({.fd = terminal_.events.get(), .events = POLLIN, .revents = 0});
  }
  [[nodiscard]] const Outbox& outbox() const { return client_->outbox(); }

 private:
  // The devices of real printers can be opened once only; a terminal cannot refuse the second.
  static std::string hint_for(int clients) {
    if (clients < 2) {
      return "";
    }
    return std::to_string(clients) +
           " programs had the terminal open at the same time, which mixes their jobs";
  }

  void welcome() { client_ = std::make_unique<Client>(printer_, terminal_.printer_side.get()); }

  void forget_replies() {
    if (client_->outbox().has_sent()) {
      discard_unread_replies(terminal_);
    }
    client_->forget_answers();
  }

  void close_conversation() {
    client_->end();
    forget_replies();
    welcome();
    terminal_.clients = 0;
    most_clients_ = 0;
  }

  Printer& printer_;
  Terminal terminal_;
  std::unique_ptr<Client> client_;
  bool closed_ = false;   // no client has the terminal open, and all that was written has been read
  int most_clients_ = 0;  // at the same time, since it was closed
};

// One client at a time; the others wait in the queue of the system.
class NetworkServer {
 public:
  NetworkServer(Printer& printer, Listener listener)
      : printer_(printer), listener_(std::move(listener)) {}

  void serve() {
    if (!client_) {
      connection_ = accept_client(listener_);
      if (!connection_) {
        return;
      }
      client_ = std::make_unique<Client>(printer_, connection_.get());
      finished_talking_ = false;
    }
    if (is_listening()) {
      listen();
    }
    const bool reachable = client_->send();
    if (!reachable || (finished_talking_ && client_->outbox().empty())) {
      client_.reset();
      connection_ = Descriptor();
    }
  }

  void add_waits(std::vector<pollfd>& waits) const {
    if (!client_) {
      waits.push_back({.fd = listener_.socket.get(), .events = POLLIN, .revents = 0});
    } else if (is_listening()) {
      waits.push_back({.fd = connection_.get(), .events = POLLIN, .revents = 0});
    }
  }
  [[nodiscard]] const Outbox* outbox() const { return client_ ? &client_->outbox() : nullptr; }

 private:
  // Questions wait while replies are not taken.
  [[nodiscard]] bool is_listening() const {
    return !finished_talking_ && !client_->outbox().is_full();
  }

  void listen() {
    std::string bytes;
    finished_talking_ = !read_available(connection_.get(), bytes);
    client_->hear(bytes);
    if (finished_talking_) {
      client_->end();
    }
  }

  Printer& printer_;
  Listener listener_;
  Descriptor connection_;
  std::unique_ptr<Client> client_;
  bool finished_talking_ = false;
};

// A client that is slow to read is looked after again so often.
constexpr int kRetryMs = 20;

int milliseconds_until_due(const Outbox* outbox) {
  const auto due = outbox != nullptr ? outbox->due() : std::nullopt;
  if (!due) {
    return -1;
  }
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(*due - Outbox::Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : kRetryMs;
}

int shorter_wait(int one, int other) {
  if (one < 0 || other < 0) {
    return std::max(one, other);
  }
  return std::min(one, other);
}

// `signals` becomes readable when the program shall end. The network desk may be null.
void serve_until_signal(int signals, TerminalServer& terminal_desk, NetworkServer* network_desk) {
  for (;;) {
    std::vector<pollfd> waits = {{.fd = signals, .events = POLLIN, .revents = 0}};
    terminal_desk.add_waits(waits);
    int wait_ms = milliseconds_until_due(&terminal_desk.outbox());
    if (network_desk != nullptr) {
      network_desk->add_waits(waits);
      wait_ms = shorter_wait(wait_ms, milliseconds_until_due(network_desk->outbox()));
    }
    poll(waits.data(), waits.size(), wait_ms);
    if (waits.front().revents != 0) {
      return;
    }
    terminal_desk.serve();
    if (network_desk != nullptr) {
      network_desk->serve();
    }
  }
}

}  // namespace

bool run_simulator(const SimulatorOptions& options, std::string& error) {
  std::signal(SIGPIPE, SIG_IGN);
  const Descriptor endings = signals_as_descriptor();
  if (!options.sheets.empty()) {
    if (const auto wrong = check_sheet_folder(options.sheets)) {
      error = *wrong;
      return false;
    }
  }
  std::optional<Terminal> terminal = open_terminal(error);
  if (!terminal) {
    return false;
  }
  std::optional<Listener> listener;
  if (options.port && !(listener = listen_on(*options.port, error))) {
    return false;
  }
  tell(terminal->path);
  if (listener) {
    tell("listening on 127.0.0.1:" + std::to_string(listener->port));
  }

  Printer printer(options);
  TerminalServer terminal_desk(printer, std::move(*terminal));
  std::unique_ptr<NetworkServer> network_desk;
  if (listener) {
    network_desk = std::make_unique<NetworkServer>(printer, std::move(*listener));
  }

  serve_until_signal(endings.get(), terminal_desk, network_desk.get());
  if (printer.images_lost() > 0) {
    error = options.sheets +
            ": images that could not be stored: " + std::to_string(printer.images_lost());
    return false;
  }
  return true;
}
