// Headers in which each field in turn contradicts the page: 0, 1, the largest value, a random
// value.
//
// Headers that do not change the length of a page are compared with the reference, which reads the
// same headers. The others make the following bytes unreadable for any reader, or need more memory
// than the reference, which stores complete planes, can allocate: for these the job must end
// normally and all sheets must be complete. K905_HEADER_SEED selects other random values.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <random>

#include "apps/wire/printer_stream.h"
#include "tests/jobs/job_check.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"

namespace {

using Header = cups_page_header2_t;

// ---- the fields ----

struct Field {
  std::size_t offset;
  std::size_t size;  // 4 for a number, 64 for a text
};

constexpr std::size_t kNumber = 4;
constexpr std::size_t kText = 64;

std::vector<Field> every_field() {
  std::vector<Field> fields;
  const auto add = [&fields](std::size_t begin, std::size_t end, std::size_t size) {
    for (std::size_t offset = begin; offset < end; offset += size) {
      fields.push_back({offset, size});
    }
  };
  add(0, offsetof(Header, AdvanceDistance), kText);
  add(offsetof(Header, AdvanceDistance), offsetof(Header, cupsString), kNumber);
  add(offsetof(Header, cupsString), sizeof(Header), kText);
  return fields;
}

constexpr std::array kLengthFields = {
    offsetof(Header, cupsWidth),        offsetof(Header, cupsHeight),
    offsetof(Header, cupsBitsPerPixel), offsetof(Header, cupsBytesPerLine),
    offsetof(Header, cupsColorOrder),   offsetof(Header, cupsNumColors)};

bool sets_length(const Field& field) {
  return std::find(kLengthFields.begin(), kLengthFields.end(), field.offset) != kLengthFields.end();
}

std::vector<Field> fields_that_set_length(bool wanted) {
  std::vector<Field> fields = every_field();
  fields.erase(
      std::remove_if(fields.begin(), fields.end(),
                     [wanted](const Field& field) { return sets_length(field) != wanted; }),
      fields.end());
  return fields;
}

// ---- the inconsistencies ----

enum class FieldValue { kZero, kOne, kAllOnes, kRandom };
constexpr std::array kFieldValues = {FieldValue::kZero, FieldValue::kOne, FieldValue::kAllOnes,
                                     FieldValue::kRandom};

// A text as long as its field has no terminating NUL.
void overwrite(Header& header, const Field& field, FieldValue value, std::mt19937& random) {
  std::array<unsigned char, kText> bytes{};
  if (value == FieldValue::kOne) {
    bytes[0] = 1;
  } else if (value == FieldValue::kAllOnes) {
    bytes.fill(0xFF);
  } else if (value == FieldValue::kRandom) {
    std::generate(bytes.begin(), bytes.end(),
                  [&random] { return static_cast<unsigned char>(random()); });
  }
  std::memcpy(reinterpret_cast<unsigned char*>(&header) + field.offset, bytes.data(), field.size);
}

std::mt19937 random_for(std::size_t group) {
  const char* seed = std::getenv("K905_HEADER_SEED");
  return std::mt19937(static_cast<unsigned>(
      group + 1000 * (seed != nullptr ? std::strtoul(seed, nullptr, 10) : 1)));
}

RasterPage small_page(std::mt19937& random) {
  RasterPage page = blank_page(smallest_page_header(50, 40));
  fill_with_gradient(page, random);
  return page;
}

// ---- compared with the reference ----

constexpr std::size_t kFieldsAtOnce = 10;

// By default a field that is only listed in the log gets one kind of inconsistency; with
// K905_HEADER_SEED set, or if the image may depend on the field, it gets all four.
bool is_tested(std::size_t index, const Field& field, FieldValue value) {
  const bool matters = field.size == kNumber && field.offset < offsetof(Header, cupsInteger);
  return matters || std::getenv("K905_HEADER_SEED") != nullptr ||
         index % kFieldValues.size() == static_cast<std::size_t>(value);
}

class InconsistentHeaders : public ::testing::TestWithParam<std::size_t> {};

// Each inconsistency has its own page; a valid page follows them.
TEST_P(InconsistentHeaders, AreHandledAsTheReferenceHandlesThem) {
  std::mt19937 random = random_for(GetParam());
  const std::vector<Field> fields = fields_that_set_length(false);
  const std::size_t end = std::min(fields.size(), (GetParam() + 1) * kFieldsAtOnce);
  for (const FieldValue value : kFieldValues) {
    std::vector<RasterPage> pages;
    for (std::size_t i = GetParam() * kFieldsAtOnce; i < end; ++i) {
      if (is_tested(i, fields[i], value)) {
        pages.push_back(small_page(random));
        overwrite(pages.back().header, fields[i], value, random);
      }
    }
    pages.push_back(small_page(random));
    JobRecipe job;
    job.input = raw_raster_stream(pages);
    expect_like_reference(job);
  }
}

INSTANTIATE_TEST_SUITE_P(Jobs, InconsistentHeaders,
                         ::testing::Range(std::size_t{0}, (fields_that_set_length(false).size() +
                                                           kFieldsAtOnce - 1) /
                                                              kFieldsAtOnce));

// ---- fields that change the length ----

// The job ends with exit status 0, complete sheets and its last log line.
void expect_clean_end(const std::string& input) {
  ChildSetup setup;
  setup.program = filter_program();
  setup.arguments = {"K905", "17", "me", "holiday", "1", ""};
  setup.environment = {{"PPD", "/nonexistent/queue.ppd"}};
  setup.input = input;
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.status, 0);
  const k905::ParsedStream printed = k905::parse_printer_stream(
      reinterpret_cast<const std::uint8_t*>(result.output.data()), result.output.size());
  EXPECT_FALSE(printed.error.has_value());
  ASSERT_FALSE(lines_of(result.log).empty());
  EXPECT_EQ(lines_of(result.log).back(), "=== rastertok905 end ===");
}

TEST(InconsistentLengths, EndTheJobCleanlyWhereverTheyAre) {
  const std::vector<Field> fields = fields_that_set_length(true);
  ASSERT_EQ(fields.size(), kLengthFields.size());
  std::mt19937 random = random_for(100);
  for (const Field& field : fields) {
    for (const FieldValue value : kFieldValues) {
      SCOPED_TRACE("byte " + std::to_string(field.offset) + ", value " +
                   std::to_string(static_cast<int>(value)));
      RasterPage wrong = small_page(random);
      overwrite(wrong.header, field, value, random);
      expect_clean_end(raw_raster_stream({small_page(random), wrong, small_page(random)}));
      // Alone, and followed by the lines of several pages.
      const RasterPage page = small_page(random);
      expect_clean_end(raw_raster_stream({wrong, page, page, page}));
    }
  }
}

TEST(InconsistentLengths, SeveralAtOnceEndTheJobCleanly) {
  const std::vector<Field> fields = fields_that_set_length(true);
  std::mt19937 random = random_for(200);
  for (int i = 0; i < 60; ++i) {
    SCOPED_TRACE("attempt " + std::to_string(i));
    RasterPage wrong = small_page(random);
    for (unsigned count = 2 + random() % 2; count > 0; --count) {
      overwrite(wrong.header, fields[random() % fields.size()],
                kFieldValues[random() % kFieldValues.size()], random);
    }
    expect_clean_end(raw_raster_stream({wrong, small_page(random), small_page(random)}));
  }
}

}  // namespace
