#include "apps/backend/sheet_bytes.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "protocol/print_page.h"
#include "tests/support/captured_log.h"

namespace k905::backend {
namespace {

// The stream that the filter's sheet writer produces for a sheet.
std::vector<std::uint8_t> stream_of(const SheetToPrint& sheet) {
  std::string bytes;
  captured_log([&] {
    bytes = captured_output([&] { EXPECT_EQ(send_sheet(1, sheet), SheetResult::kSent); });
  });
  return {bytes.begin(), bytes.end()};
}

std::vector<std::uint8_t> written_again(const std::vector<std::uint8_t>& stream) {
  const ParsedStream parsed = parse_printer_stream(stream.data(), stream.size());
  EXPECT_EQ(parsed.sheets.size(), 1U);
  const SheetBytes bytes(parsed.sheets.at(0));
  std::vector<std::uint8_t> joined;
  for (const auto& piece : bytes.pieces()) {
    joined.insert(joined.end(), piece.begin(), piece.end());
  }
  return joined;
}

TEST(SheetBytes, ParsedSheetIsWrittenAsItWasRead) {
  const std::vector<std::uint8_t> first{1, 2, 3, 4, 5, 6};
  const std::vector<std::uint8_t> second{7, 8, 9, 10, 11, 12};
  const std::vector<std::uint8_t> third{13, 14, 15, 16, 17, 255};
  for (const bool matte : {false, true}) {
    for (const char* paper : {"w288h432", "w288h432-div2"}) {
      const std::vector<std::uint8_t> stream =
          stream_of({.planes = {first.data(), second.data(), third.data()},
                     .width = 3,
                     .height = 2,
                     .paper_name = paper,
                     .matte = matte});
      EXPECT_EQ(written_again(stream), stream) << paper << matte;
    }
  }
}

TEST(SheetBytes, LargestSheetIsWrittenAsItWasRead) {
  const std::vector<std::uint8_t> plane(std::size_t{5000} * 5000, 77);
  const std::vector<std::uint8_t> stream =
      stream_of({.planes = {plane.data(), plane.data(), plane.data()},
                 .width = 5000,
                 .height = 5000,
                 .paper_name = "",
                 .matte = false});
  EXPECT_TRUE(written_again(stream) == stream);
}

}  // namespace
}  // namespace k905::backend
