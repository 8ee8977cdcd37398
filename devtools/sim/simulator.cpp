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

  void refuse(const StreamError& error) {
    data_error_ = true;
    tell("data error: " + describe(error));
  }

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

  [[nodiscard]] std::string picture_of(const Sheet& sheet) const {
    if (options_.sheets.empty()) {
      return "";
    }
    std::string error;
    const std::string path = keep_sheet(options_.sheets, sheet, error);
    if (path.empty()) {
      warn(error);
      return "";
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
};

// A client that never stops must not keep the others, and the end of the program, waiting.
constexpr int kMostReadsInARow = 64;

// Reads what there is, within measure. False at the end of the line.
bool read_available(int descriptor, std::string& bytes) {
  bytes.clear();
  char piece[65536];
  for (int round = 0; round < kMostReadsInARow; ++round) {
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
                   .nonsense = [this](const StreamError& error) { printer_.refuse(error); }}) {}
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  void hear(const std::string& bytes) {
    dialogue_.hear(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  void end() { dialogue_.end(); }

  [[nodiscard]] bool talked_nonsense() const { return dialogue_.is_deaf(); }

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
  bool first_question_ = true;
};

// The terminal's clients have no connection of their own: when the last one leaves, what it left
// half said and half heard is forgotten, so that the next one finds a printer that is ready.
class TerminalDesk {
 public:
  TerminalDesk(Printer& printer, Terminal terminal)
      : printer_(printer), terminal_(std::move(terminal)) {
    welcome();
  }

  // Bytes are read before the news of who came and went, and heard after them: a newcomer's
  // question is never answered before the last one's answers have been thrown away.
  void serve() {
    std::string bytes;
    bool departed = false;
    do {
      read_available(client_->descriptor(), bytes);
      const bool left = last_client_left(terminal_);
      if (left) {
        departed = true;
        forget_unread(terminal_);
        client_->forget_answers();
        if (client_->talked_nonsense()) {
          welcome();
        }
      }
      client_->hear(bytes);
      if (departed && !left && bytes.empty() && terminal_.clients == 0) {
        client_->end();
        welcome();
        departed = false;
      }
    } while (departed && terminal_.clients == 0);
    (void)client_->send();
  }

  void add_waits(std::vector<pollfd>& waits) const {
    waits.push_back({.fd = client_->descriptor(), .events = POLLIN, .revents = 0});
    waits.push_back({.fd = terminal_.arrivals.get(), .events = POLLIN, .revents = 0});
  }
  [[nodiscard]] const Outbox& outbox() const { return client_->outbox(); }

 private:
  void welcome() { client_ = std::make_unique<Client>(printer_, terminal_.printer_side.get()); }

  Printer& printer_;
  Terminal terminal_;
  std::unique_ptr<Client> client_;
};

// One client at a time; the others wait in the queue of the system.
class NetworkDesk {
 public:
  NetworkDesk(Printer& printer, Listener listener)
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
    if (!finished_talking_) {
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
    } else if (!finished_talking_) {
      waits.push_back({.fd = connection_.get(), .events = POLLIN, .revents = 0});
    }
  }
  [[nodiscard]] const Outbox* outbox() const { return client_ ? &client_->outbox() : nullptr; }

 private:
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

}  // namespace

bool run_simulator(const SimulatorOptions& options, std::string& error) {
  std::signal(SIGPIPE, SIG_IGN);
  const Descriptor endings = signals_as_descriptor();
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
  TerminalDesk terminal_desk(printer, std::move(*terminal));
  std::unique_ptr<NetworkDesk> network_desk;
  if (listener) {
    network_desk = std::make_unique<NetworkDesk>(printer, std::move(*listener));
  }

  for (;;) {
    std::vector<pollfd> waits = {{.fd = endings.get(), .events = POLLIN, .revents = 0}};
    terminal_desk.add_waits(waits);
    int wait_ms = milliseconds_until_due(&terminal_desk.outbox());
    if (network_desk) {
      network_desk->add_waits(waits);
      wait_ms = shorter_wait(wait_ms, milliseconds_until_due(network_desk->outbox()));
    }
    poll(waits.data(), waits.size(), wait_ms);
    if (waits.front().revents != 0) {
      return true;
    }
    terminal_desk.serve();
    if (network_desk) {
      network_desk->serve();
    }
  }
}
