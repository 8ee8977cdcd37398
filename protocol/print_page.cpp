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

// From here on the first, middle and last pixel tell three different places.
constexpr std::size_t kPixelsWorthLogging = 101;

constexpr int kOvercoatMatte = 1;

struct SheetPlanes {
  const std::uint8_t* first;
  const std::uint8_t* second;
  const std::uint8_t* third;
};

struct CutterRule {
  bool merged_sheet_only;
  std::array<const char*, 3> name_parts;  // any of them anywhere in the paper's name
  int mode;
  const char* message;
};

// The first rule that fits decides.
//
// Deliberate: the numbers in the messages are those that the field knows the cuts by; they are not
// the modes passed on. The name of the last rule is caught by the rule before it, so that such a
// sheet is cut with mode 2; printers in use rely on that.
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

// A negative side is as far out of range as a huge one.
bool is_valid_side(std::int32_t side) {
  return side != 0 && static_cast<std::uint32_t>(side) <= kMaxSide;
}

void log_pixels(const SheetPlanes& planes, std::size_t count) {
  log_line("K905-1: DEBUG: Image size: %zu pixels", count);
  if (count < kPixelsWorthLogging) {
    return;
  }
  log_line("K905-1: DEBUG: First pixel: R=%d, G=%d, B=%d", planes.first[0], planes.second[0],
           planes.third[0]);
  const std::size_t middle = count / 2;
  log_line("K905-1: DEBUG: Middle pixel: R=%d, G=%d, B=%d", planes.first[middle],
           planes.second[middle], planes.third[middle]);
  const std::size_t last = count - 1;
  log_line("K905-1: DEBUG: Last pixel: R=%d, G=%d, B=%d", planes.first[last], planes.second[last],
           planes.third[last]);
}

// Block, image header and pixels, each in one write. The pixels go out from where the pipeline left
// them: copying 7 to 14 MB a sheet into images of their own costs more than everything else here.
// When the system stops taking bytes inside the image header, the pixels would land in the wrong
// place and are left out.
bool write_plane(const CommandBlock& block, const BmpHeader& header, const std::uint8_t* pixels,
                 std::size_t count) {
  if (k905_write_all(STDOUT_FILENO, block.data(), block.size()) < 0) {
    return false;
  }
  const std::int64_t written = k905_write_all(STDOUT_FILENO, header.data(), header.size());
  if (written < static_cast<std::int64_t>(header.size())) {
    return written >= 0;
  }
  return k905_write_all(STDOUT_FILENO, pixels, count) >= 0;
}

void send_plane(char letter, const BmpHeader& header, const std::uint8_t* pixels,
                std::size_t count) {
  const std::size_t image_size = header.size() + count;
  log_line("K905-1: DEBUG: Sending %c plane (%zu bytes)", letter, image_size);
  const char name[] = {letter, 'P', 'L', 'A', 'N', 'E', '\0'};
  const CommandBlock block = make_command_block("IMAGE", name, image_size);
  log_line("K905-1: send IMAGE %c PLANE, bytes=%d", letter, static_cast<int>(image_size));
  if (!write_plane(block, header, pixels, count)) {
    log_line("K905-1: send %c plane failed", letter);
  }
}

void send_planes(const SheetPlanes& planes, std::int32_t width, std::int32_t height,
                 std::size_t count) {
  const BmpHeader header =
      make_bmp_header(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height));
  send_plane('Y', header, planes.third, count);
  send_plane('M', header, planes.second, count);
  send_plane('C', header, planes.first, count);
}

void send_start() {
  const CommandBlock block = make_command_block("CNTRL", "START");
  log_line("K905-1: send CNTRL START");
  (void)k905_write_all(STDOUT_FILENO, block.data(), block.size());
}

// The sheet has left when this returns. A pipe cannot be synced and says so; nobody minds.
void push_out_sheet() {
  std::fflush(stdout);
  fsync(STDOUT_FILENO);
}

}  // namespace

void print_single_page_to_printer(const std::uint8_t* plane0, const std::uint8_t* plane1,
                                  const std::uint8_t* plane2, std::int32_t width,
                                  std::int32_t height) {
  static int print_count = 0;
  ++print_count;
  log_line("K905-1: ===== PRINT CALL #%d =====", print_count);
  log_line("K905-1: Printing single page %dx%d", width, height);
  if (plane0 == nullptr || plane1 == nullptr || plane2 == nullptr) {
    log_line("K905-1: ERROR: Null plane pointers!");
    return;
  }
  if (!is_valid_side(width) || !is_valid_side(height)) {
    log_line("K905-1: ERROR: Invalid image dimensions: %dx%d", width, height);
    return;
  }

  const SheetPlanes planes{.first = plane0, .second = plane1, .third = plane2};
  const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  log_pixels(planes, count);
  log_line("K905-1: DEBUG: Creating BMP planes for %dx%d image", width, height);
  const std::size_t image_size = count + kBmpHeaderSize;
  log_line("K905-1: DEBUG: BMP plane sizes: Y=%zu, M=%zu, C=%zu bytes", image_size, image_size,
           image_size);

  const bool matte = std::strcmp(current_options.overcoat, "Matte") == 0;
  const int cutter_mode = choose_cutter_mode(current_options.ppd_paper_name, width, height);
  send_planes(planes, width, height, count);
  if (matte) {
    k905_cmd_cntrl_with_param("OVERCOAT", kOvercoatMatte, overcoat_mode_to_cmd);
  }
  k905_cmd_cntrl_with_param("CUTTER", cutter_mode, cutter_mode_to_cmd);
  send_start();
  push_out_sheet();
  log_line("K905-1: Single page printed successfully (print call #%d)", print_count);
}
