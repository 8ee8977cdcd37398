// Long jobs and many jobs through the simulated printer: memory and open descriptors do not grow,
// and no sheet is lost, repeated or out of order. The pixels of each sheet contain its number.
//
// K905_SOAK_PAGES and K905_SOAK_JOBS make the test longer; tools/soak sets them.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <iostream>
#include <sstream>
#include <thread>

#include "apps/base/write_all.h"
#include "apps/wire/printer_stream.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"
#include "tests/support/raster_builder.h"
#include "tests/support/simulated_printer.h"

namespace {

unsigned from_environment(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

// ---- a page with a number in its pixels ----

// Stripes, black for a 1 bit, after one black and one white stripe that show the orientation.
constexpr unsigned kBits = 20;
constexpr unsigned kStripes = kBits + 2;
constexpr unsigned kStripeWidth = 4;

bool is_black(unsigned stripe, unsigned number) {
  return stripe == 0 || (stripe > 1 && (number >> (stripe - 2) & 1U) != 0);
}

std::string page_with(unsigned number) {
  RasterPage page = blank_page(smallest_page_header(kStripes * kStripeWidth, 8));
  for (std::size_t i = 0; i < page.pixels.size(); ++i) {
    const auto column = static_cast<unsigned>(i % page.header.cupsBytesPerLine / 3);
    page.pixels[i] = is_black(column / kStripeWidth, number) ? 0 : 255;
  }
  return raw_page(page);
}

// The number of a sheet; its rows are mirrored. Anything but clean stripes fails the test.
unsigned number_of(const k905::Sheet& sheet) {
  // The image is between the bleeds of the paper, left and right.
  constexpr unsigned kLeft = 50;
  constexpr unsigned kRight = 70;
  const unsigned width = sheet.width - kLeft - kRight;
  const std::size_t row = std::size_t{sheet.height} / 2 * sheet.width;
  unsigned number = 0;
  for (unsigned stripe = 0; stripe < kStripes; ++stripe) {
    const unsigned from_right = (2 * stripe + 1) * width / (2 * kStripes);
    const std::size_t at = row + sheet.width - kRight - 1 - from_right;
    for (const auto& plane : sheet.plane) {
      EXPECT_TRUE(plane[at] == 0 || plane[at] == 255) << "stripe " << stripe;
    }
    if (stripe > 1 && sheet.plane[0][at] == 0) {
      number |= 1U << (stripe - 2);
    }
    EXPECT_EQ(sheet.plane[0][at] == 0, is_black(stripe, number)) << "stripe " << stripe;
  }
  return number;
}

// ---- memory and descriptors of a process ----

struct Figures {
  long peak_kb = 0;
  long resident_kb = 0;
  long descriptors = 0;
};

Figures figures_of(int process) {
  const std::string folder = "/proc/" + std::to_string(process);
  Figures figures;
  std::istringstream status(read_file(folder + "/status"));
  for (std::string line; std::getline(status, line);) {
    std::istringstream words(line);
    std::string name;
    words >> name;
    if (name == "VmHWM:") {
      words >> figures.peak_kb;
    } else if (name == "VmRSS:") {
      words >> figures.resident_kb;
    }
  }
  const std::filesystem::directory_iterator descriptors(folder + "/fd");
  figures.descriptors = std::distance(begin(descriptors), end(descriptors));
  return figures;
}

std::ostream& operator<<(std::ostream& stream, const Figures& figures) {
  return stream << "peak " << figures.peak_kb << " KiB, resident " << figures.resident_kb
                << " KiB, descriptors " << figures.descriptors;
}

// A page needs 6 MB; a few memory pages more or less are normal. A sanitizer keeps freed memory.
void expect_flat(const Figures& early, const Figures& late) {
#ifndef __SANITIZE_ADDRESS__
  EXPECT_LE(late.peak_kb, early.peak_kb + 256);
  EXPECT_LE(late.resident_kb, early.resident_kb + 256);
#endif
  EXPECT_EQ(late.descriptors, early.descriptors);
}

// ---- the filter, a printer, and the programs between them ----

// The simulated printer, reached through the network as by the socket backend of CUPS.
class NetworkPrinter {
 public:
  NetworkPrinter()
      : state_file_(folder_.write("printer", kNewRoll)),
        plain_memory_("MALLOC_MMAP_THRESHOLD_", "65536"),
        trimmed_memory_("MALLOC_TRIM_THRESHOLD_", "65536"),
        printer_({"--listen", "0", "--state", state_file_}) {
    const std::string line = printer_.next_line();
    port_ = static_cast<std::uint16_t>(
        std::strtoul(line.substr(line.rfind(':') + 1).c_str(), nullptr, 10));
    without_client_ = figures_of(printer_.process_id());
  }

  [[nodiscard]] int open_connection() const {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port_);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return connection;
  }

  // Waits until the printer has reported another sheet.
  void expect_sheet() {
    const std::string begin = "sheet " + std::to_string(++sheets_) + ": ";
    const std::string line = printer_.next_line();
    EXPECT_EQ(line.substr(0, begin.size()), begin) << line;
    if (sheets_ % kSheetsOfARoll == 0) {
      (void)folder_.write("printer", kNewRoll);  // the printer is idle now
    }
  }

  // The figures of the printer after it has closed the connection, which may take a moment: then it
  // holds no data of a sheet.
  [[nodiscard]] Figures figures() const {
    Figures now = figures_of(printer_.process_id());
    for (int i = 0; i < 500 && now.descriptors > without_client_.descriptors; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      now = figures_of(printer_.process_id());
    }
    return now;
  }

 private:
  static constexpr unsigned kSheetsOfARoll = 400;
  static constexpr char kNewRoll[] = "initial = 400\nremaining = 400\n";

  ScratchFolder folder_;
  std::string state_file_;
  // How much of a sheet arrives at once is random, and so is where the C library allocates it and
  // whether it returns the memory. With fixed limits all memory is returned: a leak of a few memory
  // pages per job in the printer is then visible.
  EnvironmentGuard plain_memory_;
  EnvironmentGuard trimmed_memory_;
  SimulatedPrinter printer_;
  std::uint16_t port_ = 0;
  Figures without_client_;
  unsigned sheets_ = 0;
};

// Prints pages with the numbers from `first` on in one job. Records the figures of the filter after
// each of these numbers of sheets; at the last one the filter waits for another page.
std::vector<Figures> print_job(NetworkPrinter& printer, unsigned first, unsigned pages,
                               const std::vector<unsigned>& when) {
  ChildSetup setup;
  setup.program = filter_program();
  setup.arguments = {"K905", "1", "me", "t", "1", ""};
  setup.environment = {{"PPD", "/nonexistent/queue.ppd"}};
  const Pipe in = make_pipe();
  const Pipe out = make_pipe();
  const int log = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const int filter = start_child(setup, in.read_end, out.write_end, log);
  close(in.read_end);
  close(out.write_end);
  close(log);

  std::promise<void> all_seen;
  std::thread writer([&] {
    const std::string opening = raw_raster_stream({});
    (void)write_all(in.write_end, opening);
    for (unsigned i = 0; i < pages; ++i) {
      (void)write_all(in.write_end, page_with(first + i));
    }
    all_seen.get_future().wait();
    close(in.write_end);
  });

  std::vector<Figures> figures;
  unsigned seen = 0;
  k905::PrinterStreamParser parser([&](k905::Sheet&& sheet) {
    EXPECT_EQ(number_of(sheet), first + seen);
    ++seen;
    printer.expect_sheet();
    if (std::find(when.begin(), when.end(), seen) != when.end()) {
      figures.push_back(figures_of(filter));
    }
    if (seen == pages) {
      all_seen.set_value();
    }
  });
  const int connection = printer.open_connection();
  std::vector<char> piece(std::size_t{256} * 1024);
  ssize_t got = 0;
  while (!::testing::Test::HasFailure() &&
         (got = read(out.read_end, piece.data(), piece.size())) > 0) {
    EXPECT_TRUE(write_all(connection, {piece.data(), static_cast<std::size_t>(got)}));
    parser.feed(reinterpret_cast<const std::uint8_t*>(piece.data()), static_cast<std::size_t>(got));
  }
  close(connection);
  close(out.read_end);
  if (seen < pages) {
    all_seen.set_value();
  }
  EXPECT_TRUE(parser.finish());
  EXPECT_EQ(wait_for_child(filter).status, 0);
  writer.join();
  EXPECT_EQ(seen, pages);
  return figures;
}

class Soak : public ::testing::Test {
 protected:
  void SetUp() override { std::signal(SIGPIPE, SIG_IGN); }
};

TEST_F(Soak, LongJobIsPrintedInOrderAndNeedsNoMoreMemoryThanAShortOne) {
  const unsigned pages = from_environment("K905_SOAK_PAGES", 200);
  NetworkPrinter printer;
  std::vector<unsigned> when = {10, pages / 10, pages};
  const std::vector<Figures> figures = print_job(printer, 1, pages, when);
  ASSERT_EQ(figures.size(), when.size());
  for (std::size_t i = 0; i < when.size(); ++i) {
    std::cout << "page " << when[i] << ": " << figures[i] << "\n";
  }
  expect_flat(figures.front(), figures.back());
}

TEST_F(Soak, ManySuccessiveJobsArePrintedInOrderAndNeedNoMoreMemory) {
  const unsigned jobs = from_environment("K905_SOAK_JOBS", 20);
  constexpr unsigned kPages = 2;
  NetworkPrinter printer;
  std::vector<Figures> filters;
  Figures early;
  for (unsigned job = 0; job < jobs && !HasFailure(); ++job) {
    const std::vector<Figures> figures = print_job(printer, job * kPages, kPages, {kPages});
    filters.insert(filters.end(), figures.begin(), figures.end());
    if (job == 4) {
      early = printer.figures();
    }
  }
  ASSERT_EQ(filters.size(), jobs);
  const auto smaller = [](const Figures& a, const Figures& b) { return a.peak_kb < b.peak_kb; };
  const auto [least, most] = std::minmax_element(filters.begin(), filters.end(), smaller);
  std::cout << "the smallest filter: " << *least << "\nthe largest filter: " << *most
            << "\nthe printer after 5 jobs: " << early << "\nafter " << jobs
            << " jobs: " << printer.figures() << "\n";
  EXPECT_EQ(least->descriptors, most->descriptors);
  const Figures late = printer.figures();
#ifndef __SANITIZE_ADDRESS__
  EXPECT_LE(late.resident_kb, early.resident_kb + 256);
#endif
  EXPECT_EQ(late.descriptors, early.descriptors);
}

}  // namespace
