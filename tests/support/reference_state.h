// Shared by the files of the reference, and by tests that compare single steps with it.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/support/reference.h"

namespace reference {

struct Paper {
  std::string name;
  std::string label;
  float width_pt;
  float height_pt;
  int target_width;
  int target_height;
  int canvas_width;
  int canvas_height;
  int top;
  int bottom;
  int left;
  int right;
};

// The ten rows; the last is the fallback.
const std::vector<Paper>& papers();

struct Settings {
  Paper paper = papers().back();
  bool rotate = false;
  std::string ppd_paper_name;
  bool interlace = false;
  int interlace_factor = 1;
  bool mirror = true;
  int brightness = 0;
  int contrast = 0;
  int saturation = 0;
  int gamma = 1000;
  int copies = 1;
  std::string color_model = "RGB";
  std::string color_precision = "Normal";
  std::string image_type = "Photo";
  std::string color_correction = "None";
  std::string resolution = "300x300";
  std::string overcoat = "Glossy";
  int legacy_gamma = 0;
  int no_cut_waste = 0;
  std::string shrink_output = "Shrink";
  int cyan_gamma = 1000;
  int magenta_gamma = 1000;
  int yellow_gamma = 1000;
  int cyan_balance = 1000;
  int magenta_balance = 1000;
  int yellow_balance = 1000;
  int linear_contrast = 0;
  std::string icc_name;
  std::string icc_path;
  bool icc_enabled = false;
  std::string icc_intent = "Perceptual";
  std::string color_base_name;
  std::string color_base_path;
  std::string color_base;
  std::string ribbon;
  bool ribbon_detected = false;
  bool cache_optimization = true;
  int bleed_top = 0;
  int bleed_bottom = 0;
  int bleed_left = 0;
  int bleed_right = 0;
};

// Three planes and their size, rows from the top, no padding.
struct Image {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> plane[3];
};

Image make_image(int width, int height, std::uint8_t value = 0);
std::size_t index_of(const Image& image, int x, int y);
// The byte at an index, 0 after the last one.
std::uint8_t pixel(const Image& image, int channel, std::size_t index);

// One page as libcups returns it, with the lines that exist.
struct Page {
  cups_page_header2_t header;
  std::vector<std::vector<std::uint8_t>> lines;
};

struct Pages {
  bool opened = false;
  std::vector<Page> pages;
  bool refused_header = false;  // libcups stopped at a header, not at the end of the input
};

Pages read_pages(const std::string& stream);

// One run of the filter.
class PlainFilter {
 public:
  explicit PlainFilter(const ReferenceJob& job) : job_(job), arguments_(job.arguments) {}

  ReferenceResult run_job();

  struct Layout {
    int target_width, target_height;
    int canvas_width, canvas_height;
    int top, bottom, left, right;
    int effective_width, effective_height;
  };
  [[nodiscard]] Layout layout() const;

  // The steps, in the order of a job. Public for tests of single steps.
  void read_ppd();
  void read_arguments();
  void read_paper_argument();
  void log_summary();
  void interpret_header(const cups_page_header2_t& header);
  bool build(const Page& page, Image& canvas);
  void resize(Image& image, int width, int height);
  void convert_colors(Image& image);
  void deinterlace(Image& image);
  void mirror(Image& image);
  void adjust(Image& image);
  void convert_icc(Image& image);
  void rotate(Image& image);
  void place(const Image& image, Image& canvas);
  void print_sheet(const Image& sheet);
  bool merge(const Image& top, const Image& bottom);

  Settings settings;
  std::vector<std::string> log;
  std::string output;
  std::map<std::string, std::string> images;

 private:
  [[gnu::format(printf, 2, 3)]] void log_message(const char* format, ...);
  // The beginning of a line, which the next log_message() completes.
  [[gnu::format(printf, 2, 3)]] void begin_log_message(const char* format, ...);
  // Whether memory is missing now, at the `line` that reports it.
  bool short_of_memory(const char* line);
  void heading(const char* title, bool first = false);
  void dump_header(const cups_page_header2_t& header);
  void save_image(const char* tag, const Image& image);

  void apply_ppd_option(const std::string& keyword, const std::string& value);
  // All options except profiles; an argument can set fewer options than the PPD and logs less.
  void apply_option(const std::string& keyword, const std::string& value, bool from_ppd);
  void apply_key(const std::string& key, const std::string& value);
  void apply_flag(const std::string& flag, const std::string& value);
  bool known_flag(const std::string& flag) const;
  void apply_profile_choice(const std::string& value);
  bool find_profile(const std::string& name, std::string& path);
  bool parse_profile_name(const std::string& value, std::string& name);
  [[nodiscard]] std::string resolve_path(const std::string& path) const;
  void* open_profile(const char* which, const std::string& path);
  unsigned choose_intent();
  bool transform_image(Image& image, void* source, void* target);
  void log_sample_colors(void* transform, std::size_t samples);
  void transform_pixels(Image& image, void* transform, std::size_t samples);

  bool allocate_everything(const cups_page_header2_t& header, const Layout& layout);
  Image read_lines(const Page& page, bool& complete);
  void tone(Image& image) const;
  void send_plane(char letter, const std::vector<std::uint8_t>& plane, int width, int height);
  void send_control(const char* name, unsigned value);
  [[nodiscard]] bool decide_merge();

  const ReferenceJob& job_;
  std::vector<std::string> arguments_;
  std::string open_line_;
  std::map<std::string, int> visits_;
  int sheets_ = 0;
  bool has_buffered_page_ = false;
  Image buffered_page_;
};

}  // namespace reference
