// The sheet writer: checks, cutter rules, and the sequence of blocks and images of one sheet.

#include "protocol/print_page.h"

#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "diag/log.h"
#include "paper/paper_table.h"
#include "protocol/bmp_plane.h"
#include "protocol/command_block.h"
#include "protocol/controls.h"
#include "protocol/transport.h"
#include "settings/print_options.h"

namespace {

constexpr std::uint32_t kMaxSide = 5000;

// Smaller images log only their size.
constexpr std::size_t kMinLoggedPixels = 101;

constexpr int kOvercoatMatte = 1;

struct CutterRule {
  bool merged_sheet_only;
  std::array<const char*, 3> name_parts;  // any of them anywhere in the paper's name
  int mode;
  const char* message;
};

// The first rule that matches applies.
//
// Deliberate: the numbers in the messages are the usual names of the cuts, not the modes that are
// passed on. The paper of the last rule already matches the rule before it, so such a sheet is cut
// with mode 2; printers in use rely on that.
constexpr std::array<CutterRule, 3> kCutterRules{{
    {.merged_sheet_only = true,
     .name_parts = {"w288h432", "6x4", "4x6"},
     .mode = 0,
     .message = "K905-1: 6x4 merged to 6x8 (w432h576-div2) detected, setting cutMode = 1 (middle "
                "cut)"},
    {.merged_sheet_only = false,
     .name_parts = {"div2", "div4", nullptr},
     .mode = 2,
     .message = "K905-1: div2 paper detected, setting cutMode = 2"},
    {.merged_sheet_only = false,
     .name_parts = {"w432h576-div2", nullptr, nullptr},
     .mode = 1,
     .message = "K905-1: div4 paper detected, setting cutMode = 4"},
}};

bool rule_applies(const CutterRule& rule, const char* paper_name, bool merged_sheet) {
  if (rule.merged_sheet_only && !merged_sheet) {
    return false;
  }
  for (const char* part : rule.name_parts) {
    if (part != nullptr && std::strstr(paper_name, part) != nullptr) {
      return true;
    }
  }
  return false;
}

int choose_cutter_mode(const char* paper_name, std::int32_t width, std::int32_t height) {
  const bool merged_sheet = width == MERGE_CANVAS_WIDTH && height == MERGE_CANVAS_HEIGHT;
  for (const CutterRule& rule : kCutterRules) {
    if (rule_applies(rule, paper_name, merged_sheet)) {
      log_line("%s", rule.message);
      return rule.mode;
    }
  }
  return 0;
}

// A negative side becomes a large unsigned number, which is out of range.
bool is_valid_side(std::int32_t side) {
  return side != 0 && static_cast<std::uint32_t>(side) <= kMaxSide;
}

void log_pixels(const SheetToPrint& sheet, std::size_t count) {
  log_line("K905-1: DEBUG: Image size: %zu pixels", count);
  if (count < kMinLoggedPixels) {
    return;
  }
  const auto [first, second, third] = sheet.planes;
  log_line("K905-1: DEBUG: First pixel: R=%d, G=%d, B=%d", first[0], second[0], third[0]);
  const std::size_t middle = count / 2;
  log_line("K905-1: DEBUG: Middle pixel: R=%d, G=%d, B=%d", first[middle], second[middle],
           third[middle]);
  const std::size_t last = count - 1;
  log_line("K905-1: DEBUG: Last pixel: R=%d, G=%d, B=%d", first[last], second[last], third[last]);
}

bool is_valid(const SheetToPrint& sheet) {
  for (const std::uint8_t* plane : sheet.planes) {
    if (plane == nullptr) {
      log_line("K905-1: ERROR: Null plane pointers!");
      return false;
    }
  }
  if (!is_valid_side(sheet.width) || !is_valid_side(sheet.height)) {
    log_line("K905-1: ERROR: Invalid image dimensions: %dx%d", sheet.width, sheet.height);
    return false;
  }
  return true;
}

enum class PlaneResult { kComplete, kTruncated, kFailed };

// Writes the block, the image header and the pixels, each in one write. The pixels are written
// directly from the plane: copying 7 to 14 MB per sheet into separate images would cost more than
// everything else here. If the system stops accepting bytes inside the image header, the pixels are
// not written, because they would be in the wrong place.
PlaneResult write_plane(int descriptor, const CommandBlock& block, const BmpHeader& header,
                        const std::uint8_t* pixels, std::size_t count) {
  const std::int64_t block_written = k905_write_all(descriptor, block.data(), block.size());
  if (block_written < 0) {
    return PlaneResult::kFailed;
  }
  const std::int64_t header_written = k905_write_all(descriptor, header.data(), header.size());
  if (header_written < 0) {
    return PlaneResult::kFailed;
  }
  if (header_written < static_cast<std::int64_t>(header.size())) {
    return PlaneResult::kTruncated;
  }
  const std::int64_t pixels_written = k905_write_all(descriptor, pixels, count);
  if (pixels_written < 0) {
    return PlaneResult::kFailed;
  }
  const bool complete = block_written == static_cast<std::int64_t>(block.size()) &&
                        pixels_written == static_cast<std::int64_t>(count);
  return complete ? PlaneResult::kComplete : PlaneResult::kTruncated;
}

bool send_plane(int descriptor, char letter, const BmpHeader& header, const std::uint8_t* pixels,
                std::size_t count) {
  const std::size_t image_size = header.size() + count;
  log_line("K905-1: DEBUG: Sending %c plane (%zu bytes)", letter, image_size);
  const char name[] = {letter, 'P', 'L', 'A', 'N', 'E', '\0'};
  const CommandBlock block = make_command_block("IMAGE", name, image_size);
  log_line("K905-1: send IMAGE %c PLANE, bytes=%d", letter, static_cast<int>(image_size));
  const PlaneResult result = write_plane(descriptor, block, header, pixels, count);
  if (result == PlaneResult::kFailed) {
    log_line("K905-1: send %c plane failed", letter);
  }
  return result == PlaneResult::kComplete;
}

bool send_planes(int descriptor, const SheetToPrint& sheet, std::size_t count) {
  const BmpHeader header = make_bmp_header(static_cast<std::uint32_t>(sheet.width),
                                           static_cast<std::uint32_t>(sheet.height));
  const bool yellow = send_plane(descriptor, 'Y', header, sheet.planes[2], count);
  const bool magenta = send_plane(descriptor, 'M', header, sheet.planes[1], count);
  const bool cyan = send_plane(descriptor, 'C', header, sheet.planes[0], count);
  return yellow && magenta && cyan;
}

bool send_start(int descriptor) {
  const CommandBlock block = make_command_block("CNTRL", "START");
  log_line("K905-1: send CNTRL START");
  return k905_write_all(descriptor, block.data(), block.size()) ==
         static_cast<std::int64_t>(block.size());
}

bool send_controls(int descriptor, const SheetToPrint& sheet, int cutter_mode) {
  const bool overcoat =
      !sheet.matte || send_control(descriptor, "OVERCOAT", kOvercoatMatte, overcoat_mode_to_cmd);
  const bool cutter = send_control(descriptor, "CUTTER", cutter_mode, cutter_mode_to_cmd);
  const bool start = send_start(descriptor);
  return overcoat && cutter && start;
}

// The complete sheet has been written when this returns. A pipe cannot be synced; that error is
// ignored.
void flush_output() {
  std::fflush(stdout);
  fsync(STDOUT_FILENO);
}

}  // namespace

SheetResult send_sheet(int descriptor, const SheetToPrint& sheet) {
  log_line("K905-1: Printing single page %dx%d", sheet.width, sheet.height);
  if (!is_valid(sheet)) {
    return SheetResult::kRefused;
  }
  const std::size_t count =
      static_cast<std::size_t>(sheet.width) * static_cast<std::size_t>(sheet.height);
  log_pixels(sheet, count);
  log_line("K905-1: DEBUG: Creating BMP planes for %dx%d image", sheet.width, sheet.height);
  const std::size_t image_size = count + kBmpHeaderSize;
  log_line("K905-1: DEBUG: BMP plane sizes: Y=%zu, M=%zu, C=%zu bytes", image_size, image_size,
           image_size);
  const int cutter_mode = choose_cutter_mode(sheet.paper_name, sheet.width, sheet.height);
  const bool planes = send_planes(descriptor, sheet, count);
  const bool controls = send_controls(descriptor, sheet, cutter_mode);
  return planes && controls ? SheetResult::kSent : SheetResult::kIncomplete;
}

void print_single_page_to_printer(const std::uint8_t* plane0, const std::uint8_t* plane1,
                                  const std::uint8_t* plane2, std::int32_t width,
                                  std::int32_t height) {
  static int print_count = 0;
  ++print_count;
  log_line("K905-1: ===== PRINT CALL #%d =====", print_count);
  const SheetToPrint sheet{.planes = {plane0, plane1, plane2},
                           .width = width,
                           .height = height,
                           .paper_name = current_options.ppd_paper_name,
                           .matte = std::strcmp(current_options.overcoat, "Matte") == 0};
  if (send_sheet(STDOUT_FILENO, sheet) == SheetResult::kRefused) {
    return;
  }
  flush_output();
  log_line("K905-1: Single page printed successfully (print call #%d)", print_count);
}
