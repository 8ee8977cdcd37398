// Previews of layouts, compared with images that a person has accepted: tests/print/previews. After
// a deliberate change, tools/accept_goldens.sh writes them again. Look at each before it is
// committed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/apps/picture_files.h"
#include "tests/apps/programs.h"

namespace k905 {
namespace {

struct Layout {
  const char* name;
  std::vector<std::string> arguments;
};
void PrintTo(const Layout& layout, std::ostream* out) { *out << layout.name; }

// Releases of libvips round differently where two colors meet.
constexpr int kRounding = 4;

// The four quarters differ, so that the image shows how a photo is rotated and cropped.
std::string photo_of(std::uint8_t value) {
  constexpr std::uint32_t kWidth = 60;
  constexpr std::uint32_t kHeight = 40;
  const auto opposite = static_cast<std::uint8_t>(255 - value);
  const std::uint8_t quarters[2][2][3] = {{{255, 255, 255}, {value, 0, 0}},
                                          {{0, value, opposite}, {value, value, value}}};
  std::vector<std::uint8_t> rows;
  for (std::uint32_t y = 0; y < kHeight; ++y) {
    for (std::uint32_t x = 0; x < kWidth; ++x) {
      const auto& color = quarters[y * 2 / kHeight][x * 2 / kWidth];
      rows.insert(rows.end(), std::begin(color), std::end(color));
    }
  }
  return png_file(kWidth, kHeight, {}, rows);
}

// A border of half opacity around nothing.
std::string frame() {
  constexpr std::uint32_t kSide = 12;
  std::vector<std::uint8_t> rows;
  for (std::uint32_t y = 0; y < kSide; ++y) {
    for (std::uint32_t x = 0; x < kSide; ++x) {
      const bool is_border = std::min({x, y, kSide - 1 - x, kSide - 1 - y}) == 0;
      rows.insert(rows.end(), {200, 150, 0, static_cast<std::uint8_t>(is_border ? 128 : 0)});
    }
  }
  return png_file(kSide, kSide, {.color_type = 6}, rows);
}

// Of two samples. Images of different sizes differ more than any samples do.
int largest_difference(const Picture& one, const Picture& other) {
  if (one.width != other.width || one.height != other.height ||
      one.bytes.size() != other.bytes.size()) {
    return 256;
  }
  int largest = 0;
  for (std::size_t i = 0; i < one.bytes.size(); ++i) {
    largest = std::max(largest, std::abs(one.bytes[i] - other.bytes[i]));
  }
  return largest;
}

class LayoutPreview : public testing::TestWithParam<Layout> {
 protected:
  LayoutPreview() {
    for (const int value : {60, 120, 180, 240}) {
      folder_.write(std::to_string(value) + ".png", photo_of(static_cast<std::uint8_t>(value)));
    }
    folder_.write("frame.png", frame());
  }
  ScratchFolder folder_;
};

TEST_P(LayoutPreview, LooksAsAccepted) {
  const std::string accepted = std::string(K905_PREVIEWS) + "/" + GetParam().name + ".png";
  std::vector<std::string> arguments{"--preview", "sheet.png"};
  arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
  const ChildResult printed = run_program(folder_, "k905-print", arguments);
  ASSERT_EQ(printed.status, 0) << printed.log;
  const Picture sheet = picture_in(folder_, "sheet.png");
  const bool accepts = std::getenv("K905_ACCEPT_GOLDENS") != nullptr;
  Picture expected;
  if (!accepts || std::filesystem::exists(accepted)) {
    folder_.write("accepted.png", read_file(accepted));
    expected = picture_in(folder_, "accepted.png");
  }
  const int difference = largest_difference(sheet, expected);
  if (accepts && difference > kRounding) {
    std::filesystem::copy_file(folder_.path() + "/sheet.png", accepted,
                               std::filesystem::copy_options::overwrite_existing);
    GTEST_SKIP() << "accepted: " << accepted;
  }
  EXPECT_LE(difference, kRounding) << sheet.width << " x " << sheet.height << " pixels, accepted "
                                   << expected.width << " x " << expected.height;
}

INSTANTIATE_TEST_SUITE_P(
    Print, LayoutPreview,
    testing::Values(
        Layout{"one-strip-twice", {"--layout", "strips", "60.png"}},
        Layout{"two-strips", {"--layout", "strips", "60.png", "180.png"}},
        Layout{"four-strips",
               {"--layout", "strips", "-p", "6x2*4", "60.png", "120.png", "180.png"}},
        Layout{"grid", {"--layout", "2x2", "-p", "6x4", "60.png", "120.png", "180.png", "240.png"}},
        Layout{"one-and-two", {"--layout", "1+2", "-p", "6x8", "60.png", "120.png", "180.png"}},
        Layout{"fitted", {"--layout", "1+2", "-p", "5x7", "--fit", "60.png", "120.png", "180.png"}},
        Layout{"framed-strips",
               {"--layout", "strips", "--frame", "frame.png", "240.png", "60.png"}}),
    [](const auto& instance) {
      std::string name = instance.param.name;
      std::erase(name, '-');
      return name;
    });

}  // namespace
}  // namespace k905
