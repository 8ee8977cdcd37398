#include "filter/two_up.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "diag/debug_image.h"
#include "diag/log.h"
#include "filter/cancellation.h"
#include "paper/paper_table.h"
#include "protocol/print_page.h"
#include "settings/print_options.h"

namespace {

constexpr std::uint8_t kWhite = 255;

// The odd page that waits for its even one.
struct HeldPage {
  PlaneSet planes;
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool held = false;
};
HeldPage page_buffer;

// Every sheet of a paired job begins here, and none does once the job is cancelled: a cancel may
// come while two pages are merged, or while the first of two is printed.
void print_unless_cancelled(const PlaneSet& planes, std::int32_t width, std::int32_t height) {
  if (job_cancelled()) {
    return;
  }
  print_single_page_to_printer(planes.plane[0].get(), planes.plane[1].get(), planes.plane[2].get(),
                               width, height);
}

PageImage image_of(const PlaneSet& planes, std::int32_t width, std::int32_t height) {
  return {{planes.plane[0].get(), planes.plane[1].get(), planes.plane[2].get()}, width, height};
}

// Copies what `image` has of width x height onto a sheet plane, its first row on row `first_row`.
// Rows that fall off the sheet are left out.
void place(const PageImage& image, std::size_t plane, std::int32_t width, std::int32_t height,
           std::int32_t first_row, std::uint8_t* sheet) {
  const std::int32_t offset_x = (MERGE_CANVAS_WIDTH - width) / 2;
  const auto columns = static_cast<std::size_t>(std::min(width, image.width));
  for (std::int32_t r = 0; r < std::min(height, image.height); ++r) {
    const std::int64_t row = std::int64_t{first_row} + r;
    if (row >= 0 && row < MERGE_CANVAS_HEIGHT) {
      std::memcpy(sheet + row * MERGE_CANVAS_WIDTH + offset_x,
                  image.plane[plane] + std::size_t(r) * std::size_t(image.width), columns);
    }
  }
}

// The picture of an input in the size both inputs are laid out with.
void save_input(const char* tag, const PageImage& image, std::int32_t width, std::int32_t height) {
  if (!debug_images_wanted()) {
    return;
  }
  if (image.width == width && image.height == height) {
    save_debug_image(tag, image.plane[0], image.plane[1], image.plane[2],
                     static_cast<unsigned>(width), height);
    return;
  }
  PlaneSet padded;
  const auto columns = static_cast<std::size_t>(std::max(width, 0));
  const auto rows = static_cast<std::size_t>(std::max(height, 0));
  if (!make_planes(padded, columns, rows)) {
    return;
  }
  for (std::size_t i = 0; i < 3; ++i) {
    std::memset(padded.plane[i].get(), kWhite, columns * rows);
    for (std::int32_t r = 0; r < std::min(height, image.height); ++r) {
      std::memcpy(padded.plane[i].get() + std::size_t(r) * columns,
                  image.plane[i] + std::size_t(r) * std::size_t(image.width),
                  static_cast<std::size_t>(std::max(0, std::min(width, image.width))));
    }
  }
  save_debug_image(tag, padded.plane[0].get(), padded.plane[1].get(), padded.plane[2].get(),
                   static_cast<unsigned>(width), height);
}

}  // namespace

bool decide_merge_mode() {
  const char* paper = current_options.paper_config != nullptr
                          ? current_options.paper_config->ppd_name
                          : current_options.ppd_paper_name;
  const bool is_6x4 = std::strstr(paper, "w288h432") != nullptr ||
                      std::strstr(paper, "6x4") != nullptr || std::strstr(paper, "4x6") != nullptr;
  if (std::strcmp(current_options.ribbon_size, "6x8") == 0 && is_6x4) {
    log_line("K905-1: ENABLING merge mode: 6x8 ribbon + 6x4 paper");
    log_line("K905-1:   Ribbon size: %s", current_options.ribbon_size);
    log_line("K905-1:   Paper name: %s", paper);
    return true;
  }
  log_line("K905-1: DISABLING merge mode: ribbon=%s, paper=%s", current_options.ribbon_size,
           paper[0] != '\0' ? paper : "unknown");
  log_line("K905-1:   Direct print mode (no caching)");
  return false;
}

void store_odd_page(PlaneSet planes, std::int32_t width, std::int32_t height, int page_number) {
  log_line("K905-1: Page %d is ODD - storing in buffer", page_number);
  if (page_buffer.held) {
    log_line("K905-1: Buffer already has image, printing it first");
    print_unless_cancelled(page_buffer.planes, page_buffer.width, page_buffer.height);
  }
  page_buffer = {std::move(planes), width, height, true};
}

void merge_even_page(PlaneSet planes, std::int32_t width, std::int32_t height, int page_number) {
  if (!page_buffer.held) {
    log_line("K905-1: Page %d is EVEN but no buffered ODD page - printing single", page_number);
    print_unless_cancelled(planes, width, height);
    return;
  }
  const HeldPage held = std::exchange(page_buffer, {});
  log_line("K905-1: Page %d is EVEN - merging with buffered ODD page", page_number);
  log_line("K905-1: Merging ODD page (%dx%d) with EVEN page (%dx%d)", held.width, held.height,
           width, height);
  log_line("K905-1: Merging two 6x4 pages to 6x8 (width=%d, height=%d)", held.width, held.height);
  if (merge_two_up(image_of(held.planes, held.width, held.height),
                   image_of(planes, width, height))) {
    return;
  }
  log_line("K905-1: Merge failed, printing separately");
  print_unless_cancelled(held.planes, held.width, held.height);
  print_unless_cancelled(planes, width, height);
}

void print_held_page() {
  if (!page_buffer.held) {
    return;
  }
  log_line("K905-1: Program end - found buffered ODD page (single 6x4)");
  print_unless_cancelled(page_buffer.planes, page_buffer.width, page_buffer.height);
  page_buffer = {};
}

void drop_held_page() { page_buffer = {}; }

bool merge_two_up(const PageImage& top, const PageImage& bottom) {
  const auto has_null = [](const PageImage& image) {
    return std::any_of(std::begin(image.plane), std::end(image.plane),
                       [](const std::uint8_t* plane) { return plane == nullptr; });
  };
  if (has_null(top) || has_null(bottom)) {
    log_line("K905-1: ERROR: Null pointers in merge function");
    return false;
  }
  const std::int32_t width = top.width;
  const std::int32_t height = top.height;
  log_line("K905-1: Saving input 6x4 images for debugging...");
  save_input("merge_input_top", top, width, height);
  save_input("merge_input_bottom", bottom, width, height);
  if (width <= 0 || height <= 0 || width > MERGE_CANVAS_WIDTH) {
    log_line("K905-1: Failed to merge pages");
    return false;
  }
  log_line("K905-1: Merging 6x4 images: input size=%dx%d, simple center merge with %dpx gap", width,
           height, MERGE_GAP_ROWS);

  PlaneSet sheet;
  if (!make_planes(sheet, MERGE_CANVAS_WIDTH, MERGE_CANVAS_HEIGHT)) {
    log_line("K905-1: Failed to merge pages");
    return false;
  }
  // Deliberate: the first rows of the top image are dropped, so that both images sit where the
  // sheet is cut.
  const std::int32_t top_row = -MERGE_TOP_RAISED_ROWS;
  const std::int32_t bottom_row = static_cast<std::int32_t>(std::min<std::int64_t>(
      std::int64_t{height} - MERGE_TOP_RAISED_ROWS + MERGE_GAP_ROWS, INT32_MAX));
  for (std::size_t i = 0; i < 3; ++i) {
    std::uint8_t* plane = sheet.plane[i].get();
    std::memset(plane, kWhite, std::size_t{MERGE_CANVAS_WIDTH} * MERGE_CANVAS_HEIGHT);
    place(top, i, width, height, top_row, plane);
    place(bottom, i, width, height, bottom_row, plane);
  }

  const std::int32_t offset_x = (MERGE_CANVAS_WIDTH - width) / 2;
  // Deliberate: "K905-2", the only line of its kind; people search logs for it.
  log_line("K905-2: Merged 6x4 images (simple center merge) %dx%d, src %dx%d", MERGE_CANVAS_WIDTH,
           MERGE_CANVAS_HEIGHT, width, height);
  log_line("        Top: offset_y=%d, offset_x=%d", top_row, offset_x);
  log_line("        Bottom: offset_y=%d, offset_x=%d", bottom_row, offset_x);
  log_line("        Gap: %dpx", MERGE_GAP_ROWS);
  save_debug_image("08c_merged_before_bleed", sheet.plane[0].get(), sheet.plane[1].get(),
                   sheet.plane[2].get(), MERGE_CANVAS_WIDTH, MERGE_CANVAS_HEIGHT);
  log_line("K905-1: Successfully merged to 6x8 (%dx%d)", MERGE_CANVAS_WIDTH, MERGE_CANVAS_HEIGHT);
  print_unless_cancelled(sheet, MERGE_CANVAS_WIDTH, MERGE_CANVAS_HEIGHT);
  return true;
}
