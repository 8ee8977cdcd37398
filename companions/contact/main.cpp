// k905-contact: several pictures side by side on one, each with its name: settings to be compared,
// stages to be followed.
#include <algorithm>

#include "companions/console/program.h"
#include "companions/contact/caption.h"
#include "companions/pictures/read_picture.h"
#include "companions/pictures/scale.h"
#include "companions/pictures/write_png.h"

namespace {

constexpr std::uint32_t kGap = 12;  // pixels around every picture
constexpr std::uint32_t kCaptionScale = 2;

struct Wishes {
  std::vector<std::string> pictures;
  std::string output;
  std::uint32_t columns = 3;
  std::uint32_t width = 480;
};

struct Tile {
  std::string caption;
  Picture picture;
};

void describe_options(CLI::App& app, Wishes& wishes) {
  app.add_option("PICTURE", wishes.pictures, "PNG, JPEG or PPM files, as CAPTION=FILE or FILE")
      ->required();
  app.add_option("-o,--output", wishes.output, "the PNG file to write")->required();
  app.add_option("-c,--columns", wishes.columns, "pictures side by side")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  app.add_option("-w,--width", wishes.width, "pixels of a picture from left to right")
      ->check(CLI::Range(1, 5000))
      ->capture_default_str();
}

// Eight bits of red, green and blue, whatever the file held.
Picture as_colour(const Picture& picture) {
  Picture colour = blank_picture(picture.width, picture.height);
  std::uint8_t* out = colour.bytes.data();
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        const int from = picture.channels == 1 ? 0 : channel;
        *out++ = static_cast<std::uint8_t>(picture.sample(x, y, from) >> 8);
      }
    }
  }
  return colour;
}

std::optional<Tile> read_tile(const std::string& text, std::uint32_t width, std::string& error) {
  // The last sign: a caption may hold one, as in "StpGamma=1600".
  const std::size_t equals = text.rfind('=');
  const std::string file = equals == std::string::npos ? text : text.substr(equals + 1);
  const auto picture = read_picture(file, error);
  if (!picture) {
    error = file + ": " + error;
    return std::nullopt;
  }
  const double shape = static_cast<double>(picture->height) / picture->width;
  const auto height = static_cast<std::uint32_t>(std::clamp(width * shape, 1.0, 20000.0));
  return Tile{equals == std::string::npos ? "" : text.substr(0, equals),
              as_colour(scaled(*picture, width, height))};
}

Picture contact_sheet(const std::vector<Tile>& tiles, std::uint32_t columns, std::uint32_t width) {
  constexpr std::uint32_t caption = kCaptionHeight * kCaptionScale + kGap / 2;
  std::uint32_t tallest = 0;
  for (const Tile& tile : tiles) {
    tallest = std::max(tallest, tile.picture.height);
  }
  const auto count = static_cast<std::uint32_t>(tiles.size());
  columns = std::min(columns, count);
  const std::uint32_t rows = (count + columns - 1) / columns;
  const std::uint32_t cell_height = tallest + caption + kGap;
  Picture sheet = blank_picture(columns * (width + kGap) + kGap, rows * cell_height + kGap);
  std::fill(sheet.bytes.begin(), sheet.bytes.end(), std::uint8_t{222});
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t x = kGap + i % columns * (width + kGap);
    const std::uint32_t y = kGap + i / columns * cell_height;
    paste(sheet, tiles[i].picture, x, y);
    draw_caption(sheet, tiles[i].caption, x, y + tallest + kGap / 2, kCaptionScale);
  }
  return sheet;
}

int run(const CLI::App& app, const Wishes& wishes) {
  std::vector<Tile> tiles;
  std::string error;
  for (const std::string& text : wishes.pictures) {
    std::optional<Tile> tile = read_tile(text, wishes.width, error);
    if (!tile) {
      complain(app, error);
      return kExitFailed;
    }
    tiles.push_back(std::move(*tile));
  }
  const Picture sheet = contact_sheet(tiles, wishes.columns, wishes.width);
  if (!write_png(wishes.output, sheet, {}, error)) {
    complain(app, wishes.output + ": " + error);
    return kExitFailed;
  }
  return 0;
}

int contact_program(int argc, char** argv) {
  CLI::App app("Puts pictures side by side on one.", "k905-contact");
  Wishes wishes;
  describe_options(app, wishes);
  const auto status = parse_command_line(app, argc, argv);
  return status ? *status : run(app, wishes);
}

}  // namespace

int main(int argc, char** argv) {
  return guarded_main("k905-contact", contact_program, argc, argv);
}
