// rastertok905job: the options of a job and the queue's PPD file become a private PPD file, and the
// filter's log is passed on to CUPS with additional lines. An input is a letter and data: "o" takes
// options for the usual PPD file, "p" options, a NUL and a PPD file, "l" a byte for the size of the
// pieces, and a log.
#include <cups/ppd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "apps/adapter/cups_log.h"
#include "apps/adapter/job_ppd.h"
#include "apps/adapter/log_relay.h"
#include "apps/adapter/sheet_watch.h"
#include "fuzz/expect.h"
#include "fuzz/memory_file.h"
#include "ppd/ppd_text.h"

// libcups leaks two options of the cache that it makes when `media` or `print-color-mode` is
// marked, and two strings of a malformed file.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:cupsAddOption\nleak:_ppdOpen\n";
}
extern "C" const char* __lsan_default_options();
extern "C" const char* __lsan_default_options() { return "print_suppressions=0"; }

namespace {

struct PpdCloser {
  void operator()(ppd_file_t* ppd) const { ppdClose(ppd); }
};
using Ppd = std::unique_ptr<ppd_file_t, PpdCloser>;

std::vector<std::string> lines_of(std::string text) {
  // All three kinds of line ends become one.
  for (std::size_t at = 0; (at = text.find('\r', at)) != std::string::npos;) {
    text.replace(at, text.compare(at, 2, "\r\n") == 0 ? 2 : 1, "\n");
  }
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

bool is_default(const std::string& line) { return line.starts_with("*Default"); }

std::vector<std::string> lines_but_defaults(const std::string& text) {
  std::vector<std::string> lines = lines_of(text);
  std::erase_if(lines, is_default);
  return lines;
}

std::string rest_of(int descriptor) {
  std::string text;
  char block[65536];
  for (ssize_t count = 0; (count = read(descriptor, block, sizeof block)) > 0;) {
    text.append(block, static_cast<std::size_t>(count));
  }
  return text;
}

// The text of the job's copy of the PPD file; "" if none is made.
std::string job_copy(const std::string& ppd, const std::string& options) {
  const MemoryFile file(ppd.data(), ppd.size());
  const JobPpd job = make_job_ppd(file.path().c_str(), options.c_str());
  expect((job.descriptor >= 0) == (job.failure.empty() && job.refusal.empty()),
         "a copy, or a reason");
  expect(job.ribbon.empty() || job.ribbon == "6x4" || job.ribbon == "6x8",
         "the ribbon is a known one");
  if (job.descriptor < 0) return "";
  std::string text = rest_of(job.descriptor);  // its position is at the beginning
  close(job.descriptor);
  return text;
}

// For any options, every choice that the filter reads is one that the queue offers.
void expect_choices_of_the_queue(const std::string& copy) {
  const MemoryFile file(copy.data(), copy.size());
  const Ppd ppd(ppdOpenFile(file.path().c_str()));
  expect(ppd != nullptr, "the copy is a PPD file");
  for (int g = 0; g < ppd->num_groups; ++g) {
    for (int o = 0; o < ppd->groups[g].num_options; ++o) {
      ppd_option_t* option = &ppd->groups[g].options[o];
      expect(option->defchoice[0] == '\0' || ppdFindChoice(option, option->defchoice) != nullptr,
             "a default is one of the choices");
    }
  }
}

void check_options(const std::string& options) {
  static const std::string queue = ppd::ppd_text(ppd::models.front(), "1");
  const std::string copy = job_copy(queue, options);
  if (copy.empty()) return;  // a paper that the printer does not have
  expect(lines_but_defaults(copy) == lines_but_defaults(queue), "only defaults differ");
  expect_choices_of_the_queue(copy);
  expect(job_copy(copy, "") == copy, "a copy of the copy is the copy");
}

void check_options_and_ppd(const std::string& input) {
  // Options end at a NUL as every argument does.
  const std::size_t end = std::min(input.find('\0'), input.size());
  const std::string ppd = input.substr(std::min(end + 1, input.size()));
  const std::string copy = job_copy(ppd, input.substr(0, end));
  if (copy.empty()) return;
  expect(lines_but_defaults(copy) == lines_but_defaults(ppd), "only defaults differ");
}

constexpr std::size_t kLongestLine = 8192;  // of the filter's own

// The expected output for `log`, computed line by line.
std::string log_with_own_lines(const std::string& log) {
  SheetWatch watch;
  std::string text;
  unsigned long pages = 0;
  for (std::size_t at = 0; at < log.size();) {
    const std::size_t newline = log.find('\n', at);
    if (newline == std::string::npos) return text + log.substr(at);
    const std::string line = log.substr(at, newline - at);
    const std::string own = line.size() > kLongestLine ? "" : watch.lines_after(line);
    (text += line) += '\n';
    text += own;
    for (const std::string& added : lines_of(own)) {
      const bool page = added == "PAGE: " + std::to_string(pages + 1) + " 1";
      pages += page ? 1 : 0;
      expect(page || added.starts_with("ATTR: job-media-progress="),
             "an added line reports a page or the progress");
    }
    at = newline + 1;
  }
  return text;
}

void check_log(const std::string& input) {
  const std::size_t piece =
      1 + (input.empty() ? 0 : static_cast<unsigned char>(input.front()) * std::size_t{16});
  const std::string log = input.substr(std::min<std::size_t>(1, input.size()));
  LogRelay relay;
  std::string arrived;
  for (std::size_t at = 0; at < log.size(); at += piece) {
    relay.take(log.substr(at, piece));
    // CUPS reads as much as it can.
    const std::string_view pending = relay.pending().substr(0, piece);
    arrived += pending;
    relay.written(pending.size());
  }
  relay.finish();
  arrived += relay.pending();
  expect(arrived == log_with_own_lines(log), "the log and our own lines, in their order");
  const std::string quoted = one_line(log);
  expect(quoted.size() <= 512 && std::ranges::all_of(quoted,
                                                     [](char c) {
                                                       const auto byte =
                                                           static_cast<unsigned char>(c);
                                                       return byte >= 0x20 && byte != 0x7F;
                                                     }),
         "quoted text is at most 512 bytes without control characters");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string input(data + 1, data + size);
  switch (data[0]) {
    case 'o':
      check_options(input.substr(0, input.find('\0')));
      break;
    case 'p':
      check_options_and_ppd(input);
      break;
    default:
      check_log(input);
  }
  return 0;
}
