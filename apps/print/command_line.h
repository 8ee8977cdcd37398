// The command line of k905-print.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/base/choices.h"

namespace k905 {

struct CommandLineOptions {
  std::vector<std::string> photos;
  std::string queue;
  std::string to;
  std::string preview;
  bool canvas = false;
  std::optional<int> timeout;
  bool wait = false;
  bool json = false;

  std::string paper;
  std::string finish;
  std::string brightness;
  std::string contrast;
  std::string saturation;
  std::string gamma;
  std::vector<std::string> choices;  // KEYWORD=CHOICE
  int copies = 1;
  std::string layout;
  std::string frame;
  std::string caption;
  bool test_page = false;
  bool two_up = false;
  std::optional<int> partner_wait;  // seconds
  bool fit = false;
  bool no_turn = false;

  std::string folder;
  int limit = 0;
  std::string event;
  bool new_only = false;
  bool move = false;  // the default without --leave
  bool leave = false;
  bool history = false;
  std::int64_t reprint = 0;
  std::string ledger;
  bool verbose = false;
};

void describe(CLI::App& app, CommandLineOptions& options);

// The error of inconsistent options; nothing if they are consistent.
[[nodiscard]] std::optional<std::string> check(const CommandLineOptions& options);

// The choices of the print dialog that the options set. Returns the error, nothing if there is
// none.
[[nodiscard]] std::optional<std::string> collect_choices(const CommandLineOptions& options,
                                                         Choices& choices);

}  // namespace k905
