// The raster job with the largest copy count. Everything that a copy does is replaced, so that two
// billion copies take half a minute.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "filter/raster_job.h"
#include "pipeline/page_pipeline.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"
#include "tests/support/raster_builder.h"

namespace {

constexpr std::int32_t kMostCopies = std::numeric_limits<std::int32_t>::max();

std::int64_t copies_logged = 0;
std::int64_t copies_printed = 0;
bool logged_wrong = false;

// Whether the line is the first one of a copy. Comparing the pointer is enough for nearly all
// calls.
bool begins_copy(const char* format) {
  static const char* known = nullptr;
  static const char* other = nullptr;
  if (format != known && format != other) {
    const bool begins = std::strcmp(format, "K905-1: === Processing page %d, copy %d/%d ===") == 0;
    (begins ? known : other) = format;
  }
  return format == known;
}

}  // namespace

extern "C" {

// Checks that the log counts every copy in order.
void __wrap__Z8log_linePKcz(const char* format, ...) {
  if (!begins_copy(format)) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  const int page = va_arg(arguments, int);
  const int copy = va_arg(arguments, int);
  const int all = va_arg(arguments, int);
  va_end(arguments);
  ++copies_logged;
  logged_wrong |= page != 1 || copy != copies_logged || all != kMostCopies;
}

bool __wrap__ZNK12PagePipeline12report_againERK19cups_page_header2_sRK10SheetImage(
    const PagePipeline* /*pipeline*/, const cups_page_header2_t& /*header*/,
    const SheetImage& /*sheet*/) {
  return true;
}

void __wrap__Z28print_single_page_to_printerPKhS0_S0_ii(const std::uint8_t* /*plane0*/,
                                                        const std::uint8_t* /*plane1*/,
                                                        const std::uint8_t* /*plane2*/,
                                                        std::int32_t /*width*/,
                                                        std::int32_t /*height*/) {
  ++copies_printed;
}

// Ends a job that would print too many.
bool __wrap__Z12job_canceledv() { return copies_logged > kMostCopies; }

}  // extern "C"

namespace {

TEST(MostCopies, AreAllPrintedAndNoMore) {
  const SettingsGuard settings;
  current_options.copies = kMostCopies;
  const std::string stream = raster_stream({blank_page(page_header(4, 4))});
  const Pipe input = make_pipe();
  ASSERT_EQ(write(input.write_end, stream.data(), stream.size()),
            static_cast<ssize_t>(stream.size()));
  close(input.write_end);
  const int saved = dup(STDIN_FILENO);
  dup2(input.read_end, STDIN_FILENO);
  close(input.read_end);

  EXPECT_EQ(run_raster_job(), 0);

  dup2(saved, STDIN_FILENO);
  close(saved);
  EXPECT_EQ(copies_printed, kMostCopies);
  EXPECT_EQ(copies_logged, kMostCopies);
  EXPECT_FALSE(logged_wrong);
}

}  // namespace
