// k905-raster: converts images to the raster pages that the filter reads, as the print system makes
// them.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "apps/base/program.h"
#include "apps/base/progress.h"
#include "apps/image/photo.h"
#include "apps/image/resize.h"
#include "apps/image/write_png.h"
#include "apps/layout/raster_writer.h"
#include "apps/print/output_file.h"
#include "devtools/raster/page_plan.h"
#include "devtools/raster/test_pictures.h"

namespace {

struct Options {
  std::vector<std::string> pictures;
  std::string output = "-";
  std::string paper = "w288h432";
  std::string size = "page";
  std::string resolution = "300x300";
  std::string format = "rgb8";
  std::string color_space;
  std::string orientation = "portrait";
  std::string fit = "fill";
  std::string points;
  std::string page_png;
  unsigned copies = 1;
  bool compressed = false;
  bool list = false;
};

constexpr const char* kTestPrefix = "test:";

std::string joined_formats() {
  std::string text;
  for (const PageFormat& format : page_formats) {
    text += (text.empty() ? "" : ", ") + std::string(format.name);
  }
  return text;
}

void describe_options(CLI::App& app, Options& options) {
  app.add_option(
      "IMAGE", options.pictures,
      "photos (JPEG, PNG, TIFF, ...), one page each; \"-\" is standard input, \"test:NAME\" or "
      "\"test:NAME:WxH\" a test image");
  app.add_option("-o,--output", options.output,
                 "write the raster to this file; \"-\" is standard output")
      ->capture_default_str();
  app.add_option("-p,--paper", options.paper, "paper, by either of its names (w288h432 or 6x4)")
      ->capture_default_str();
  app.add_option(
         "-s,--size", options.size,
         "size of the page in pixels: \"page\" for that of the paper, \"picture\" for that of the "
         "image, or WxH")
      ->capture_default_str();
  app.add_option("--points", options.points,
                 "page size in the header, WxH in points; the default is that of the paper");
  app.add_option("-r,--resolution", options.resolution, "dots per inch")
      ->check(CLI::IsMember({"300x300", "300x600"}))
      ->capture_default_str();
  app.add_option("-f,--format", options.format, "colors and bits: " + joined_formats())
      ->capture_default_str();
  app.add_option("--color-space", options.color_space,
                 "color space in the header, by number or name (W, RGB, RGBA, K, CMY, YMC, CMYK); "
                 "the default is that of the format");
  app.add_option("--orientation", options.orientation, "orientation in the header")
      ->check(CLI::IsMember({"portrait", "landscape", "reverse-portrait", "reverse-landscape"}))
      ->capture_default_str();
  app.add_option("--fit", options.fit,
                 "place an image whose shape differs from that of the page: crop it (fill), add "
                 "white edges (whole) or distort it (stretch)")
      ->check(CLI::IsMember({"fill", "whole", "stretch"}))
      ->capture_default_str();
  app.add_option("-n,--copies", options.copies, "number of copies in the header")
      ->capture_default_str();
  app.add_flag("-c,--compressed", options.compressed, "write a compressed stream");
  app.add_option("--page-png", options.page_png,
                 "also write the first page, as it is in the raster, to this PNG file");
  app.add_flag("--list", options.list, "list papers, formats and test images");
}

void print_lists() {
  std::printf("Papers (either name):\n");
  for (const PaperConfig& paper : paper_sizes) {
    std::printf("  %-14s %-8s %7.2f x %6.2f points, canvas of %d x %d pixels\n", paper.ppd_name,
                paper.label, static_cast<double>(paper.page_width_pt),
                static_cast<double>(paper.page_height_pt), paper.canvas_width, paper.canvas_height);
  }
  std::printf("Formats:\n");
  for (const PageFormat& format : page_formats) {
    std::printf("  %-14s %u x %u bit%s%s\n", format.name, format.colors, format.bits,
                *format.note != '\0' ? ", " : "", format.note);
  }
  std::printf("Test images (test:NAME):\n");
  for (const TestPicture& picture : test_pictures()) {
    std::printf("  %-14s %s\n", picture.name, picture.shows);
  }
}

// A number of 1 to 65535, digits only.
bool parse_length(const std::string& text, unsigned& length) {
  constexpr std::size_t max_digits = 5;
  if (text.empty() || text.size() > max_digits ||
      text.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  length = static_cast<unsigned>(std::stoul(text));
  return length >= 1 && length <= 65535;
}

// "1920x1240"
bool parse_size(const std::string& text, unsigned& width, unsigned& height) {
  const std::size_t x = text.find('x');
  return x != std::string::npos && parse_length(text.substr(0, x), width) &&
         parse_length(text.substr(x + 1), height);
}

const PaperConfig* find_paper(const std::string& name) {
  for (const PaperConfig& paper : paper_sizes) {
    if (name == paper.ppd_name || name == paper.label) {
      return &paper;
    }
  }
  return nullptr;
}

// A name of the list or any number: the filter must handle unknown codes too.
bool parse_color_space(const std::string& text, unsigned& code) {
  for (std::size_t i = 0; i < color_space_names.size(); ++i) {
    if (text == color_space_names[i]) {
      code = static_cast<unsigned>(i);
      return true;
    }
  }
  return CLI::detail::lexical_cast(text, code) && code <= 1000;
}

unsigned orientation_code(const std::string& name) {
  return name == "landscape"           ? 1
         : name == "reverse-portrait"  ? 2
         : name == "reverse-landscape" ? 3
                                       : 0;
}

// Null if the options are valid, otherwise the error.
std::optional<std::string> make_plan(const Options& options, PagePlan& plan) {
  if (options.pictures.empty()) {
    return "no image given";
  }
  plan.paper = find_paper(options.paper);
  if (plan.paper == nullptr) {
    return "--paper: no paper is called \"" + options.paper + "\" (see --list)";
  }
  plan.format = find_page_format(options.format);
  if (plan.format == nullptr) {
    return "--format: not one of " + joined_formats() + ": \"" + options.format + "\"";
  }
  plan.color_space = plan.format->color_space;
  if (!options.color_space.empty() && !parse_color_space(options.color_space, plan.color_space)) {
    return "--color-space: neither a name nor a number: \"" + options.color_space + "\"";
  }
  if (options.size == "picture") {
    plan.size_source = PixelSizeSource::picture;
  } else if (options.size != "page") {
    plan.size_source = PixelSizeSource::plan;
    if (!parse_size(options.size, plan.width, plan.height)) {
      return "--size: neither \"page\" nor \"picture\" nor WxH: \"" + options.size + "\"";
    }
  }
  if (!options.points.empty() &&
      !parse_size(options.points, plan.page_width_pt, plan.page_height_pt)) {
    return "--points: not WxH: \"" + options.points + "\"";
  }
  plan.vertical_dpi = options.resolution == "300x600" ? 600 : 300;
  plan.orientation = orientation_code(options.orientation);
  plan.copies = options.copies;
  return std::nullopt;
}

k905::PixelSize wanted_pixels(const PagePlan& plan) {
  return plan.size_source == PixelSizeSource::paper ? page_pixels(plan)
                                                    : k905::PixelSize{plan.width, plan.height};
}

// "test:NAME" at the size of the page, or 1800 x 1200 if the page takes the size of the image;
// "test:NAME:WxH" at the given size.
std::optional<k905::Picture> draw_named(const std::string& text, const PagePlan& plan,
                                        std::string& error) {
  const std::string name = text.substr(0, text.find(':'));
  k905::PixelSize size = plan.size_source == PixelSizeSource::picture ? k905::PixelSize{1800, 1200}
                                                                      : wanted_pixels(plan);
  if (name.size() < text.size() &&
      !parse_size(text.substr(name.size() + 1), size.width, size.height)) {
    error = "the size of a test image is written WxH";
    return std::nullopt;
  }
  std::optional<k905::Picture> picture = draw_test_picture(name, size.width, size.height);
  if (!picture) {
    error = "no such test image (see --list)";
  }
  return picture;
}

std::optional<k905::Picture> read_or_draw(const std::string& name, const PagePlan& plan,
                                          std::string& error) {
  if (name.rfind(kTestPrefix, 0) == 0) {
    return draw_named(name.substr(std::strlen(kTestPrefix)), plan, error);
  }
  return k905::read_photo(name, error);
}

k905::Fit fit_of(const std::string& name) {
  return name == "whole"     ? k905::Fit::whole
         : name == "stretch" ? k905::Fit::stretch
                             : k905::Fit::fill;
}

// The image, fitted to the size of the page.
k905::Picture page_of(const k905::Picture& picture, const PagePlan& plan, k905::Fit fit) {
  if (plan.size_source == PixelSizeSource::picture) {
    return picture;
  }
  // The two resolutions are exchanged on a page that the filter will rotate.
  const double dpi_ratio = plan.vertical_dpi / static_cast<double>(plan.horizontal_dpi);
  return fitted(picture, wanted_pixels(plan), fit, plan.is_rotated() ? 1 / dpi_ratio : dpi_ratio);
}

bool write_page(const std::string& name, const PagePlan& plan, const Options& options,
                k905::RasterWriter& writer, bool first, std::string& error) {
  const std::optional<k905::Picture> picture = read_or_draw(name, plan, error);
  if (!picture) {
    error = name + ": " + error;
    return false;
  }
  const k905::Picture page = page_of(*picture, plan, fit_of(options.fit));
  const k905::PixelDensity density{static_cast<int>(plan.horizontal_dpi),
                                   static_cast<int>(plan.vertical_dpi)};
  if (first && !options.page_png.empty() && !write_png(options.page_png, page, density, error)) {
    error = options.page_png + ": " + error;
    return false;
  }
  std::vector<std::uint8_t> line;
  const auto rows = [&](std::uint32_t y) {
    encode_line(page, y, *plan.format, plan.color_space, line);
    return line.data();
  };
  const cups_page_header2_t header = make_page_header(plan, {page.width, page.height});
  if (!writer.write_page(header, rows, error)) {
    error = "the raster cannot be written: " + error;
    return false;
  }
  return true;
}

bool write_pages(const Options& options, const PagePlan& plan, k905::RasterWriter& writer,
                 std::string& error) {
  Progress progress("page", static_cast<int>(options.pictures.size()));
  for (std::size_t i = 0; i < options.pictures.size(); ++i) {
    progress.show(static_cast<int>(i) + 1);
    if (!write_page(options.pictures[i], plan, options, writer, i == 0, error)) {
      return false;
    }
  }
  return true;
}

// A regular file is replaced when the raster is complete.
bool write_to_file(const Options& options, const PagePlan& plan, std::string& error) {
  k905::OutputFile output;
  const auto sink = [&](const std::uint8_t* bytes, std::size_t count) -> const char* {
    return output.write(bytes, count) ? nullptr : std::strerror(errno);
  };
  if (!output.open(options.output, false, error)) {
    return false;
  }
  if (k905::RasterWriter writer(sink, options.compressed);
      !write_pages(options, plan, writer, error)) {
    return false;
  }
  if (!output.commit()) {
    error = options.output + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

// Whether writing to `path` would destroy a photo.
bool is_a_photo(const std::string& path, const std::vector<std::string>& photos) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(path, ignored) &&
         std::any_of(photos.begin(), photos.end(), [&](const std::string& photo) {
           return std::filesystem::equivalent(path, photo, ignored);
         });
}

int run(const CLI::App& app, const Options& options) {
  PagePlan plan;
  if (const auto problem = make_plan(options, plan)) {
    return wrong_usage(app, *problem);
  }
  if (options.output == "-" && isatty(STDOUT_FILENO) == 1) {
    return wrong_usage(app, "refusing to write raster data to a terminal; use --output");
  }
  for (const std::string& path : {options.output, options.page_png}) {
    if (is_a_photo(path, options.pictures)) {
      return wrong_usage(app, "refusing to overwrite: " + path + " is one of the photos");
    }
  }
  std::string error;
  bool written = false;
  if (options.output == "-") {
    k905::RasterWriter writer(STDOUT_FILENO, options.compressed);
    written = write_pages(options, plan, writer, error);
  } else {
    written = write_to_file(options, plan, error);
  }
  if (!written) {
    print_message(app, error);
    return kExitFailed;
  }
  return 0;
}

int raster_program(int argc, char** argv) {
  CLI::App app("Converts images to CUPS raster pages for rastertok905.", "k905-raster");
  Options options;
  describe_options(app, options);
  if (const auto status = parse_command_line(app, argc, argv)) {
    return *status;
  }
  if (options.list) {
    print_lists();
    return 0;
  }
  return run(app, options);
}

}  // namespace

int main(int argc, char** argv) { return guarded_main("k905-raster", raster_program, argc, argv); }
