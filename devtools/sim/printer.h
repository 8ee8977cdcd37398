// The simulated printer, independent of its clients: its fields, the sheets in its buffers and the
// actions of its operator.
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>

#include "apps/wire/printer_stream.h"
#include "devtools/sim/fault.h"
#include "devtools/sim/printer_state.h"

struct PrinterOptions {
  PrinterState state;
  std::string state_file;  // "" for none; read before every reply
  Fault fault;
  std::string sheets;   // folder for images, "" for none
  bool canvas = false;  // images with the margins outside the paper
  // For each sheet, from the beginning of its printing until it is counted.
  std::chrono::milliseconds print_time{0};
  // Sheets that are in the buffers when the printer stops are printed later; otherwise they are
  // lost.
  bool keeps_sheets = false;
  bool traces = false;  // questions with their replies and the beginning of sheets are reported
  std::string label;    // prefix of every line of output: "", or "printer 2: "
};

class Printer {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Printer(PrinterOptions options);

  [[nodiscard]] const Fault& fault() const { return options_.fault; }
  [[nodiscard]] const PrinterState& state() const { return state_; }

  // Writes a line to standard output. To be called when the reported action is complete.
  void print_line(const std::string& line) const;

  // Null if the printer does not reply to this question. `inside_sheet`: asked during a sheet.
  [[nodiscard]] std::optional<std::string> answer(const std::string& group, const std::string& name,
                                                  bool inside_sheet);

  // False when no buffer is free for a sheet.
  [[nodiscard]] bool begin_sheet();
  void take(k905::Sheet&& sheet);
  // `hint`: a possible reason, "" for none.
  void refuse(const k905::StreamError& error, const std::string& hint);

  // Prints the sheets that are due; `due` is the next time, null if there is none.
  void work();
  [[nodiscard]] std::optional<Clock::time_point> due() const;

  // The number of the next sheet, if all sheets in the buffers are printed.
  [[nodiscard]] int next_sheet() const { return printed_ + static_cast<int>(buffers_.size()) + 1; }

  // Actions of the operator. The printer prints nothing between stop() and resume().
  void stop(int status);
  void resume() { stop(kReady); }
  [[nodiscard]] int stopped_with() const { return stopped_; }  // 0 if it is not stopped
  [[nodiscard]] std::optional<std::string> set(const std::string& key, const std::string& text);
  void lose_buffers();  // the power fails

  // Number of sheets whose image could not be stored.
  [[nodiscard]] int images_lost() const { return images_lost_; }
  [[nodiscard]] const std::string& sheet_folder() const { return options_.sheets; }

 private:
  static constexpr int kReady = 0;

  [[nodiscard]] int status(bool inside_sheet) const;
  [[nodiscard]] int free_buffers(bool inside_sheet) const;
  void lose(const std::string& reason);
  void print(const k905::Sheet& sheet);
  std::string save_image(const k905::Sheet& sheet);
  void read_state_file();
  void write_state_file() const;

  PrinterOptions options_;
  PrinterState state_;
  std::deque<k905::Sheet> buffers_;  // complete sheets; the first is being printed
  std::optional<Clock::time_point>
      first_done_at_;        // when the printing of the first one is complete
  int stopped_ = kReady;     // the status while the printer is stopped
  bool data_error_ = false;  // until the next sheet that is printed
  int printed_ = 0;
  int images_lost_ = 0;
};
