// The page that is held, and the sheet on which two pages are merged.
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

// The odd page that waits for its even page; null if there is none.
const SheetImage* held_page = nullptr;

// All sheets of a job with two-up are printed here, so that none is printed once the job is
// canceled: the cancel can arrive while two pages are merged, or while the first of two sheets is
// printed.
void print_unless_canceled(const SheetImage& sheet) {
  if (job_canceled()) {
    return;
  }
  print_single_page_to_printer(sheet.planes.plane[0].get(), sheet.planes.plane[1].get(),
                               sheet.planes.plane[2].get(), sheet.width, sheet.height);
}

bool lacks_a_plane(const SheetImage& sheet) {
  return std::any_of(std::begin(sheet.planes.plane), std::end(sheet.planes.plane),
                     [](const Plane& plane) { return plane == nullptr; });
}

bool make_white(SheetImage& sheet, std::int32_t width, std::int32_t height) {
  const auto columns = static_cast<std::size_t>(std::max(width, 0));
  const auto rows = static_cast<std::size_t>(std::max(height, 0));
  sheet.width = width;
  sheet.height = height;
  if (!make_planes(sheet.planes, columns, rows)) {
    return false;
  }
  for (Plane& plane : sheet.planes.plane) {
    std::memset(plane.get(), kWhite, columns * rows);
  }
  return true;
}

// Copies the part of `image` within width x height onto a sheet: horizontally centered, its first
// row on row `first_row`. Rows outside the sheet are left out.
void place(const SheetImage& image, std::int32_t width, std::int32_t height, std::int32_t first_row,
           SheetImage& sheet) {
  const std::int32_t columns = std::min(width, image.width);
  if (columns <= 0) {
    return;
  }
  const std::int32_t offset_x = (sheet.width - width) / 2;
  for (std::int32_t r = 0; r < std::min(height, image.height); ++r) {
    const std::int64_t row = std::int64_t{first_row} + r;
    if (row < 0 || row >= sheet.height) {
      continue;
    }
    for (std::size_t i = 0; i < 3; ++i) {
      std::memcpy(sheet.planes.plane[i].get() + row * sheet.width + offset_x,
                  image.planes.plane[i].get() + std::int64_t{r} * image.width,
                  static_cast<std::size_t>(columns));
    }
  }
}

void save_image(const char* tag, const SheetImage& image) {
  save_debug_image(tag, image.planes.plane[0].get(), image.planes.plane[1].get(),
                   image.planes.plane[2].get(), static_cast<unsigned>(image.width), image.height);
}

// Saves the debug image of an input, cropped or padded to width x height, the size in which both
// inputs are placed on the sheet. Does nothing if there is no memory.
void save_input(const char* tag, const SheetImage& image, std::int32_t width, std::int32_t height) {
  if (!debug_images_wanted()) {
    return;
  }
  if (image.width == width && image.height == height) {
    save_image(tag, image);
    return;
  }
  SheetImage padded;
  if (make_white(padded, width, height)) {
    place(image, width, height, 0, padded);
    save_image(tag, padded);
  }
}

void log_merged(std::int32_t width, std::int32_t height, std::int32_t top_row,
                std::int32_t bottom_row) {
  const std::int32_t offset_x = (MERGE_CANVAS_WIDTH - width) / 2;
  // Deliberate: "K905-2", the only line of its kind; people search logs for it.
  log_line("K905-2: Merged 6x4 images (simple center merge) %dx%d, src %dx%d", MERGE_CANVAS_WIDTH,
           MERGE_CANVAS_HEIGHT, width, height);
  log_line("        Top: offset_y=%d, offset_x=%d", top_row, offset_x);
  log_line("        Bottom: offset_y=%d, offset_x=%d", bottom_row, offset_x);
  log_line("        Gap: %dpx", MERGE_GAP_ROWS);
}

}  // namespace

bool decide_merge_mode() {
  const char* paper = current_options.paper_config != nullptr
                          ? current_options.paper_config->ppd_name
                          : current_options.ppd_paper_name;
  // Deliberate: found anywhere in the name, so that a cut variant of the paper is paired as well.
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

bool is_held(const SheetImage& sheet) { return held_page == &sheet; }

void store_odd_page(const SheetImage& sheet, int page_number) {
  log_line("K905-1: Page %d is ODD - storing in buffer", page_number);
  if (held_page != nullptr) {
    log_line("K905-1: Buffer already has image, printing it first");
    print_unless_canceled(*held_page);
  }
  held_page = &sheet;
}

void merge_even_page(const SheetImage& sheet, int page_number) {
  if (held_page == nullptr) {
    log_line("K905-1: Page %d is EVEN but no buffered ODD page - printing single", page_number);
    print_unless_canceled(sheet);
    return;
  }
  const SheetImage& held = *std::exchange(held_page, nullptr);
  log_line("K905-1: Page %d is EVEN - merging with buffered ODD page", page_number);
  log_line("K905-1: Merging ODD page (%dx%d) with EVEN page (%dx%d)", held.width, held.height,
           sheet.width, sheet.height);
  log_line("K905-1: Merging two 6x4 pages to 6x8 (width=%d, height=%d)", held.width, held.height);
  if (merge_two_up(held, sheet)) {
    return;
  }
  log_line("K905-1: Merge failed, printing separately");
  print_unless_canceled(held);
  print_unless_canceled(sheet);
}

void print_held_page() {
  if (held_page == nullptr) {
    return;
  }
  log_line("K905-1: Program end - found buffered ODD page (single 6x4)");
  print_unless_canceled(*std::exchange(held_page, nullptr));
}

void drop_held_page() { held_page = nullptr; }

bool merge_two_up(const SheetImage& top, const SheetImage& bottom) {
  if (lacks_a_plane(top) || lacks_a_plane(bottom)) {
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

  SheetImage sheet;
  if (!make_white(sheet, MERGE_CANVAS_WIDTH, MERGE_CANVAS_HEIGHT)) {
    log_line("K905-1: Failed to merge pages");
    return false;
  }
  // Deliberate: the first rows of the top image are dropped, so that the printer cuts the sheet
  // between the two images.
  const std::int32_t top_row = -MERGE_TOP_RAISED_ROWS;
  const std::int32_t bottom_row = static_cast<std::int32_t>(std::min<std::int64_t>(
      std::int64_t{height} - MERGE_TOP_RAISED_ROWS + MERGE_GAP_ROWS, INT32_MAX));
  place(top, width, height, top_row, sheet);
  place(bottom, width, height, bottom_row, sheet);
  log_merged(width, height, top_row, bottom_row);
  save_image("08c_merged_before_bleed", sheet);
  log_line("K905-1: Successfully merged to 6x8 (%dx%d)", MERGE_CANVAS_WIDTH, MERGE_CANVAS_HEIGHT);
  print_unless_canceled(sheet);
  return true;
}
