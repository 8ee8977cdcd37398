#include "tests/support/reference.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <regex>

#include "tests/support/captured_log.h"
#include "tests/support/reference_state.h"
#include "tests/support/wire_stream.h"

namespace reference {
namespace {

// The input of libcups: a string, and whether more was requested than it has.
struct Source {
  const std::string& bytes;
  std::size_t at = 0;
  bool read_past_end = false;
};

ssize_t read_from_string(void* context, unsigned char* buffer, std::size_t wanted) {
  auto* source = static_cast<Source*>(context);
  const std::size_t count = std::min(wanted, source->bytes.size() - source->at);
  std::copy_n(source->bytes.begin() + static_cast<std::ptrdiff_t>(source->at), count, buffer);
  source->at += count;
  if (count == 0) {
    source->read_past_end = true;
  }
  return static_cast<ssize_t>(count);
}

[[gnu::format(printf, 1, 0)]] std::string formatted(const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, arguments)), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, copy);
  va_end(copy);
  return text;
}

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

Pages read_pages(const std::string& stream) {
  Pages result;
  Source source{stream};
  cups_raster_t* raster = cupsRasterOpenIO(read_from_string, &source, CUPS_RASTER_READ);
  if (raster == nullptr) {
    return result;
  }
  result.opened = true;
  cups_page_header2_t header;
  while (cupsRasterReadHeader2(raster, &header) != 0) {
    Page page{header, {}};
    std::vector<std::uint8_t> line(header.cupsBytesPerLine);
    while (cupsRasterReadPixels(raster, line.data(), header.cupsBytesPerLine) != 0) {
      page.lines.push_back(line);
    }
    result.pages.push_back(std::move(page));
  }
  result.refused_header = !source.read_past_end;
  cupsRasterClose(raster);
  return result;
}

void PlainFilter::log_message(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string line = open_line_ + formatted(format, arguments);
  va_end(arguments);
  open_line_.clear();
  std::replace(line.begin(), line.end(), '\n', ' ');
  std::replace(line.begin(), line.end(), '\r', ' ');
  if (job_.max_message > 1) {
    line = line.substr(0, static_cast<std::size_t>(job_.max_message - 1));
  }
  log.push_back(line);
}

void PlainFilter::begin_log_message(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  open_line_ += formatted(format, arguments);
  va_end(arguments);
}

bool PlainFilter::short_of_memory(const char* line) {
  const int visit = ++visits_[line];
  return job_.shortage && job_.shortage->line == line && job_.shortage->visit == visit;
}

void PlainFilter::save_image(const char* tag, const Image& image) {
  if (job_.ppd_path) {
    return;
  }
  std::string ppm =
      "P6\n" + std::to_string(image.width) + " " + std::to_string(image.height) + "\n255\n";
  for (std::size_t i = 0; i < image.plane[0].size(); ++i) {
    for (const auto& plane : image.plane) {
      ppm += static_cast<char>(plane[i]);
    }
  }
  images[tag] = std::move(ppm);
  log_message("K905-1: Saved debug image: /tmp/k905_debug/TIME_%s.ppm (%dx%d, RGB)", tag,
              image.width, image.height);
}

ReferenceResult PlainFilter::run_job() {
  log_message("=== rastertok905 start ===");
  log_message("K905-1: Process ID: %d", job_.process_id);
  log_message("K905-1: Program called with %d arguments", static_cast<int>(arguments_.size()));
  log_message("K905-1: Command line arguments:");
  for (std::size_t i = 0; i < arguments_.size(); ++i) {
    log_message("  [%d]: %s", static_cast<int>(i), arguments_[i].c_str());
  }
  read_ppd();
  read_arguments();
  if (job_.ribbon == "6x4" || job_.ribbon == "6x8") {
    settings.ribbon = job_.ribbon;
    log_message("K905-1 DEBUG: Already detected ribbon");
  } else {
    log_message("K905-1 DEBUG: Starting ribbon detection");
    settings.ribbon = "6x4";
    log_message("K905-1: macOS: using default ribbon size 6x4 (no USB scan)");
  }
  read_paper_argument();
  log_summary();

  const auto finish = [this](int status) {
    return ReferenceResult{status, std::move(output), std::move(log), std::move(images)};
  };
  const Pages stream = read_pages(job_.input);
  if (!stream.opened) {
    log_message("K905-1: cupsRasterOpen failed (no raster data from upstream).");
    log_message("K905-1: Tip: In print dialog choose Color/RGB, not Grayscale or Black only.");
    return finish(1);
  }
  const int copies = settings.copies;
  bool merging = false;
  bool ended_early = false;
  for (std::size_t index = 0; index < stream.pages.size(); ++index) {
    const Page& page = stream.pages[index];
    const int number = static_cast<int>(index) + 1;
    const bool odd = number % 2 == 1;
    if (index == 0) {
      interpret_header(page.header);
      merging = decide_merge();
    }
    log_message("K905-1: Processing page %d (%s)", number, odd ? "ODD" : "EVEN");
    for (int copy = 1; copy <= copies; ++copy) {
      log_message("K905-1: === Processing page %d, copy %d/%d ===", number, copy, copies);
      Image sheet;
      if (!build(page, sheet)) {
        log_message("K905-1: build_planes_resampled failed, abort page %d", number);
        continue;
      }
      if (!merging) {
        log_message("K905-1: Direct print mode (no merge): page %d", number);
        print_sheet(sheet);
      } else if (odd) {
        log_message("K905-1: Page %d is ODD - storing in buffer", number);
        if (has_buffered_page_) {
          log_message("K905-1: Buffer already has image, printing it first");
          print_sheet(buffered_page_);
        }
        buffered_page_ = std::move(sheet);
        has_buffered_page_ = true;
      } else if (!has_buffered_page_) {
        log_message("K905-1: Page %d is EVEN but no buffered ODD page - printing single", number);
        print_sheet(sheet);
      } else {
        log_message("K905-1: Page %d is EVEN - merging with buffered ODD page", number);
        log_message("K905-1: Merging ODD page (%dx%d) with EVEN page (%dx%d)", buffered_page_.width,
                    buffered_page_.height, sheet.width, sheet.height);
        log_message("K905-1: Merging two 6x4 pages to 6x8 (width=%d, height=%d)",
                    buffered_page_.width, buffered_page_.height);
        if (!merge(buffered_page_, sheet)) {
          log_message("K905-1: Merge failed, printing separately");
          print_sheet(buffered_page_);
          print_sheet(sheet);
        }
        has_buffered_page_ = false;
      }
    }
    if (short_of_memory(kNoMemoryToSkipAPage)) {
      log_message("%s", kNoMemoryToSkipAPage);
      ended_early = true;
      break;
    }
  }
  if (stream.refused_header && !ended_early) {
    log_message("K905-1: Raster page header refused, the rest of the job is not printed");
  }
  if (has_buffered_page_) {
    log_message("K905-1: Program end - found buffered ODD page (single 6x4)");
    print_sheet(buffered_page_);
  }
  log_message("=== rastertok905 end ===");
  return finish(0);
}

bool PlainFilter::decide_merge() {
  const std::string& paper = settings.paper.name;
  const bool qualifies =
      contains(paper, "w288h432") || contains(paper, "6x4") || contains(paper, "4x6");
  if (settings.ribbon == "6x8" && qualifies) {
    log_message("K905-1: ENABLING merge mode: 6x8 ribbon + 6x4 paper");
    log_message("K905-1:   Ribbon size: %s", settings.ribbon.c_str());
    log_message("K905-1:   Paper name: %s", paper.c_str());
    return true;
  }
  log_message("K905-1: DISABLING merge mode: ribbon=%s, paper=%s", settings.ribbon.c_str(),
              paper.c_str());
  log_message("K905-1:   Direct print mode (no caching)");
  return false;
}

bool PlainFilter::merge(const Image& top, const Image& bottom) {
  const int w = top.width;
  const int h = top.height;
  // The place of the lower image has the size of the upper one; missing pixels stay white.
  Image lower = make_image(w, h, 255);
  for (int y = 0; y < std::min(h, bottom.height); ++y) {
    for (int x = 0; x < std::min(w, bottom.width); ++x) {
      for (int i = 0; i < 3; ++i) {
        lower.plane[i][index_of(lower, x, y)] = bottom.plane[i][index_of(bottom, x, y)];
      }
    }
  }
  log_message("K905-1: Saving input 6x4 images for debugging...");
  save_image("merge_input_top", top);
  save_image("merge_input_bottom", lower);
  if (h <= 0 || w <= 0) {
    log_message("K905-1: Failed to merge pages");
    return false;
  }
  log_message("K905-1: Merging 6x4 images: input size=%dx%d, simple center merge with %dpx gap", w,
              h, 18);
  if (w > 1920 || short_of_memory("K905-1: Failed to merge pages")) {
    log_message("K905-1: Failed to merge pages");
    return false;
  }
  Image sheet = make_image(1920, 2498, 255);
  const int offset_x = (1920 - w) / 2;
  const auto put_row = [&sheet, offset_x](const Image& from, int r, int row) {
    if (row < 0 || row >= sheet.height) {
      return;
    }
    for (int x = 0; x < from.width; ++x) {
      for (int i = 0; i < 3; ++i) {
        sheet.plane[i][index_of(sheet, offset_x + x, row)] = from.plane[i][index_of(from, x, r)];
      }
    }
  };
  for (int r = 0; r < h; ++r) {
    put_row(top, r, r - 5);
    put_row(lower, r, h + 13 + r);
  }
  log_message("K905-2: Merged 6x4 images (simple center merge) %dx%d, src %dx%d", 1920, 2498, w, h);
  log_message("        Top: offset_y=%d, offset_x=%d", -5, offset_x);
  log_message("        Bottom: offset_y=%d, offset_x=%d", h + 13, offset_x);
  log_message("        Gap: %dpx", 18);
  save_image("08c_merged_before_bleed", sheet);
  log_message("K905-1: Successfully merged to 6x8 (%dx%d)", 1920, 2498);
  print_sheet(sheet);
  return true;
}

void PlainFilter::print_sheet(const Image& sheet) {
  const int width = sheet.width;
  const int height = sheet.height;
  const std::size_t count = sheet.plane[0].size();
  ++sheets_;
  log_message("K905-1: ===== PRINT CALL #%d =====", sheets_);
  log_message("K905-1: Printing single page %dx%d", width, height);
  if (width <= 0 || height <= 0 || width > 5000 || height > 5000) {
    log_message("K905-1: ERROR: Invalid image dimensions: %dx%d", width, height);
    return;
  }
  log_message("K905-1: DEBUG: Image size: %zu pixels", count);
  if (count >= 101) {
    const auto rgb = [&sheet](int i, std::size_t index) -> int { return sheet.plane[i][index]; };
    log_message("K905-1: DEBUG: First pixel: R=%d, G=%d, B=%d", rgb(0, 0), rgb(1, 0), rgb(2, 0));
    const std::size_t middle = count / 2;
    log_message("K905-1: DEBUG: Middle pixel: R=%d, G=%d, B=%d", rgb(0, middle), rgb(1, middle),
                rgb(2, middle));
    const std::size_t last = count - 1;
    log_message("K905-1: DEBUG: Last pixel: R=%d, G=%d, B=%d", rgb(0, last), rgb(1, last),
                rgb(2, last));
  }
  const std::size_t bytes = count + 1088;
  log_message("K905-1: DEBUG: Creating BMP planes for %dx%d image", width, height);
  bool all_planes = true;
  for (int plane = 0; plane < 3; ++plane) {
    if (short_of_memory("K905-1: malloc() failed for BMP plane")) {
      log_message("K905-1: malloc(%zu) failed for BMP plane", bytes);
      all_planes = false;
    }
  }
  if (!all_planes) {
    log_message("K905-1: ERROR: Failed to create BMP planes");
    return;
  }
  log_message("K905-1: DEBUG: BMP plane sizes: Y=%zu, M=%zu, C=%zu bytes", bytes, bytes, bytes);

  const std::string& name = settings.ppd_paper_name;
  unsigned cutter = 0;
  if (width == 1920 && height == 2498 &&
      (contains(name, "w288h432") || contains(name, "6x4") || contains(name, "4x6"))) {
    log_message(
        "K905-1: 6x4 merged to 6x8 (w432h576-div2) detected, setting cutMode = 1 (middle cut)");
  } else if (contains(name, "div2") || contains(name, "div4")) {
    log_message("K905-1: div2 paper detected, setting cutMode = 2");
    cutter = 120;
  }
  send_plane('Y', sheet.plane[2], width, height);
  send_plane('M', sheet.plane[1], width, height);
  send_plane('C', sheet.plane[0], width, height);
  if (settings.overcoat == "Matte") {
    send_control("OVERCOAT", 1);
  }
  send_control("CUTTER", cutter);
  log_message("K905-1: send CNTRL START");
  output += wire_command("CNTRL", "START", std::string(8, ' '));
  log_message("K905-1: Single page printed successfully (print call #%d)", sheets_);
}

void PlainFilter::send_plane(char letter, const std::vector<std::uint8_t>& plane, int width,
                             int height) {
  const std::size_t bytes = plane.size() + 1088;
  log_message("K905-1: DEBUG: Sending %c plane (%zu bytes)", letter, bytes);
  log_message("K905-1: send IMAGE %c PLANE, bytes=%d", letter, static_cast<int>(bytes));
  output += wire_command("IMAGE", std::string(1, letter) + "PLANE", wire_digits(bytes));
  output +=
      wire_image(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), plane);
}

void PlainFilter::send_control(const char* name, unsigned value) {
  log_message("K905-1: send CNTRL %s mode=%d", name, static_cast<int>(value));
  output += wire_command("CNTRL", name, "00000008") + wire_digits(value);
}

}  // namespace reference

ReferenceResult reference_run(const ReferenceJob& job) {
  return reference::PlainFilter(job).run_job();
}

std::vector<std::string> redacted_log(const std::string& log) {
  static const std::regex stamp("/tmp/k905_debug/[0-9]{8}_[0-9]{6}_");
  std::vector<std::string> lines = lines_of(log);
  for (std::string& line : lines) {
    if (line.find("/tmp/k905_debug/") != std::string::npos) {
      line = std::regex_replace(line, stamp, "/tmp/k905_debug/TIME_");
    }
  }
  return lines;
}
