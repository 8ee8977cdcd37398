#include "devtools/preview/preview.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>

#include "apps/base/progress.h"
#include "apps/base/text.h"
#include "apps/image/contact_sheet.h"
#include "apps/image/photo.h"
#include "apps/image/profile_conversion.h"
#include "apps/image/resize.h"
#include "apps/image/sheet_picture.h"
#include "apps/image/write_png.h"
#include "apps/wire/stream_dump.h"

namespace {

constexpr std::uint32_t kContactWidth = 480;
constexpr unsigned char kEscape = 0x1B;

std::string picture_name(const std::string& output, int number) {
  return std::filesystem::path(output).extension() == ".png"
             ? numbered_name(output, static_cast<std::size_t>(number))
             : output + "-" + std::to_string(number) + ".png";
}

k905::Picture scaled_to_width(const k905::Picture& picture, std::uint32_t width,
                              k905::PixelDensity density) {
  constexpr double max_height = 20000;
  const double pixel_shape =
      density.vertical_dpi == 0
          ? 1.0
          : static_cast<double>(density.horizontal_dpi) / density.vertical_dpi;
  const double shape = static_cast<double>(picture.height) / picture.width * pixel_shape;
  const auto height = static_cast<std::uint32_t>(std::clamp(width * shape + 0.5, 1.0, max_height));
  return scaled(picture, {width, height});
}

struct NamedFile {
  std::optional<std::string> caption;
  std::string file;
};

// Splits at the last equals sign: a caption may contain one, as in "StpGamma=1600".
NamedFile split_at_caption(const std::string& text) {
  const std::size_t equals = text.rfind('=');
  if (equals == std::string::npos) {
    return {std::nullopt, text};
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

// A stream begins with an escape, and no image format does. Input that cannot be read twice, such
// as a pipe, and an empty file are streams.
bool is_image(int descriptor) {
  unsigned char first = 0;
  return pread(descriptor, &first, 1, 0) == 1 && first != kEscape;
}

class Preview {
 public:
  Preview(const CLI::App& app, const PreviewOptions& options)
      : app_(app),
        options_(options),
        progress_("sheet", 0),
        width_(options.width == 0 && !options.contact.empty() ? kContactWidth : options.width),
        contact_(options.columns, width_) {}

  // False after an error, which was reported.
  bool open_proof() {
    if (options_.proof.empty()) {
      return true;
    }
    proof_.emplace(options_.proof);
    return proof_->ok() || fail("the profile " + options_.proof + " " + proof_->error());
  }

  // Reads one file to its end; the numbers of its sheets continue those of the previous file. False
  // after an error.
  bool read(const std::string& text) {
    const NamedFile named =
        options_.contact.empty() ? NamedFile{std::nullopt, text} : split_at_caption(text);
    caption_ = named.caption;
    sheets_of_file_ = 0;
    if (named.file == "-") {
      return read_stream(STDIN_FILENO, "standard input");
    }
    const int descriptor = open(named.file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
      return fail(named.file + ": " + std::strerror(errno));
    }
    const bool good = !options_.contact.empty() && is_image(descriptor)
                          ? add_picture(named.file)
                          : read_stream(descriptor, named.file);
    close(descriptor);
    return good;
  }

  // Writes the image of all sheets. False after an error.
  bool finish() {
    if (options_.contact.empty()) {
      return true;
    }
    if (!write(options_.contact, contact_.picture(), {})) {
      return false;
    }
    progress_.erase();
    std::printf("%zu image%s -> %s\n", contact_.count(), contact_.count() == 1 ? "" : "s",
                options_.contact.c_str());
    return true;
  }

 private:
  bool fail(const std::string& message) {
    progress_.erase();
    std::fflush(stdout);
    print_message(app_, message);
    return false;
  }

  bool read_stream(int descriptor, const std::string& name) {
    bool shown = true;
    k905::PrinterStreamParser parser([&](k905::Sheet&& sheet) { shown = shown && show(sheet); });
    std::vector<std::uint8_t> bytes(1 << 18);
    bool continues = true;
    while (continues && shown) {
      const ssize_t got = ::read(descriptor, bytes.data(), bytes.size());
      if (got < 0 && errno == EINTR) {
        continue;
      }
      if (got < 0) {
        return fail(name + ": " + std::strerror(errno));
      }
      continues = got > 0 && parser.feed(bytes.data(), static_cast<std::size_t>(got));
    }
    if (shown && !parser.finish()) {
      return fail(name + ": " + describe(*parser.error()));
    }
    if (sheets_of_file_ == 0) {
      return fail(name + ": no print job, the stream is empty");
    }
    return shown;
  }

  bool show(const k905::Sheet& sheet) {
    ++sheets_;
    ++sheets_of_file_;
    const std::string file = picture_name(options_.output, sheets_);
    if (!options_.check && !show_picture(sheet, file)) {
      return false;
    }
    progress_.erase();
    if (options_.dump) {
      std::fputs(dump_sheet(sheet, sheets_).c_str(), stdout);
    } else {
      print_line(sheet, file);
    }
    std::fflush(stdout);
    progress_.show(sheets_);
    return true;
  }

  bool show_picture(const k905::Sheet& sheet, const std::string& file) {
    auto [picture, density] = shown_sheet(sheet, options_.raw      ? k905::SheetView::wire
                                                 : options_.canvas ? k905::SheetView::canvas
                                                                   : k905::SheetView::paper);
    if (proof_) {
      proof_->convert_to_screen(picture);
    }
    if (!options_.contact.empty()) {
      return add_to_contact(caption_of_sheet(), picture, density);
    }
    if (width_ != 0) {
      picture = scaled_to_width(picture, width_, density);
      density = {};
    }
    return write(file, picture, density);
  }

  bool add_picture(const std::string& file) {
    std::string error;
    const auto picture = k905::read_photo(file, error);
    if (!picture) {
      return fail(file + ": " + error);
    }
    const std::string name = std::filesystem::path(file).stem().string();
    return add_to_contact(caption_.value_or(name), *picture, {1, 1});
  }

  bool add_to_contact(const std::string& caption, const k905::Picture& picture,
                      k905::PixelDensity density) {
    return contact_.add(caption, eight_bit_colors(scaled_to_width(picture, width_, density))) ||
           fail("too many or too large for one image; --width makes them smaller");
  }

  // The caption is for the first sheet of its file; a number is appended for later ones.
  [[nodiscard]] std::string caption_of_sheet() const {
    if (!caption_) {
      return "sheet " + std::to_string(sheets_);
    }
    return sheets_of_file_ == 1 ? *caption_ : *caption_ + " " + std::to_string(sheets_of_file_);
  }

  bool write(const std::string& file, const k905::Picture& picture, k905::PixelDensity density) {
    std::string error;
    return write_png(file, picture, density, error) || fail(file + ": " + error);
  }

  void print_line(const k905::Sheet& sheet, const std::string& file) const {
    std::printf("sheet %d: %u x %u, %s, cutter %u, Y %016" PRIx64 ", M %016" PRIx64
                ", C %016" PRIx64,
                sheets_, sheet.width, sheet.height, sheet.matte ? "matte" : "glossy", sheet.cutter,
                k905::plane_checksum(sheet.plane[2]), k905::plane_checksum(sheet.plane[1]),
                k905::plane_checksum(sheet.plane[0]));
    const bool has_own_image = !options_.check && options_.contact.empty();
    std::printf(has_own_image ? " -> %s\n" : "\n", file.c_str());
  }

  const CLI::App& app_;
  const PreviewOptions& options_;
  Progress progress_;
  std::uint32_t width_;  // of an image; 0: every pixel of the sheet
  k905::ContactSheet contact_;
  std::optional<k905::ProofProfile> proof_;
  std::optional<std::string> caption_;  // of the file that is being read
  int sheets_ = 0;
  int sheets_of_file_ = 0;
};

}  // namespace

int show_files(const CLI::App& app, const PreviewOptions& options) {
  const std::vector<std::string> standard_input{"-"};
  Preview preview(app, options);
  if (!preview.open_proof()) {
    return kExitFailed;
  }
  for (const std::string& file : options.files.empty() ? standard_input : options.files) {
    if (!preview.read(file)) {
      return kExitFailed;
    }
  }
  return preview.finish() ? 0 : kExitFailed;
}
