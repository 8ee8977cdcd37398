// k905-preview: what the printer would have made of a stream, without spending a sheet of paper.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "companions/console/program.h"
#include "companions/console/progress.h"
#include "companions/pictures/scale.h"
#include "companions/pictures/sheet_picture.h"
#include "companions/pictures/write_png.h"
#include "companions/stream/stream_dump.h"
#include "geometry/paper_table.h"

namespace {

struct Wishes {
  std::vector<std::string> streams;
  std::string output = "sheet";
  std::uint32_t width = 0;
  bool raw = false;
  bool check = false;
  bool dump = false;
};

void describe_options(CLI::App& app, Wishes& wishes) {
  app.add_option("STREAM", wishes.streams,
                 "files that hold what the filter sent to the printer; \"-\", or none at all, is "
                 "standard input");
  app.add_option(
         "-o,--output", wishes.output,
         "beginning of the pictures' names: a \"-\", the sheet's number and \".png\" follow")
      ->capture_default_str();
  app.add_option("-w,--width", wishes.width,
                 "make the pictures this many pixels wide, upright in shape; without it they have "
                 "every pixel of the sheet")
      ->check(CLI::Range(1, 5000));
  app.add_flag("--raw", wishes.raw, "leave the sheet mirrored, as the printer gets it");
  app.add_flag("--check", wishes.check, "only check the stream, write no pictures");
  app.add_flag("--dump", wishes.dump, "show every block and field instead of one line a sheet");
}

std::string picture_name(const std::string& output, int number) {
  constexpr std::size_t ending = 4;  // ".png"
  const std::string numbered = "-" + std::to_string(number) + ".png";
  const bool whole_name = output.size() > ending && output.ends_with(".png");
  if (!whole_name) {
    return output + numbered;
  }
  return number == 1 ? output : output.substr(0, output.size() - ending) + numbered;
}

// 600 dpi from top to bottom doubles the height of a sheet and of nothing else.
PixelDensity density_of(const Sheet& sheet) {
  for (const PaperConfig& paper : paper_sizes) {
    if (sheet.width == static_cast<std::uint32_t>(paper.canvas_width) &&
        sheet.height == 2 * static_cast<std::uint32_t>(paper.canvas_height)) {
      return {300, 600};
    }
  }
  return {300, 300};
}

Picture reduced(const Picture& picture, std::uint32_t width, PixelDensity density) {
  const double shape = static_cast<double>(picture.height) / picture.width *
                       density.horizontal_dpi / density.vertical_dpi;
  const auto height = static_cast<std::uint32_t>(std::max(1.0, width * shape + 0.5));
  return scaled(picture, width, height);
}

class Preview {
 public:
  Preview(const CLI::App& app, const Wishes& wishes)
      : app_(app), wishes_(wishes), progress_("sheet", 0) {}

  // Reads one stream to its end; its sheets are numbered on from those before. False after an
  // error, which has been told.
  bool read(const std::string& name) {
    const int descriptor = name == "-" ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
      complain(app_, name + ": " + std::strerror(errno));
      return false;
    }
    const bool good = read_descriptor(descriptor, name == "-" ? "standard input" : name);
    if (descriptor != STDIN_FILENO) {
      close(descriptor);
    }
    return good;
  }

  [[nodiscard]] int sheets() const { return sheets_; }

 private:
  bool read_descriptor(int descriptor, const std::string& name) {
    bool shown = true;
    PrinterStreamParser parser([&](Sheet&& sheet) { shown = show(sheet) && shown; });
    std::vector<std::uint8_t> bytes(1 << 18);
    bool going_on = true;
    while (going_on && shown) {
      const ssize_t got = ::read(descriptor, bytes.data(), bytes.size());
      if (got < 0 && errno == EINTR) {
        continue;
      }
      if (got < 0) {
        progress_.wipe();
        complain(app_, name + ": " + std::strerror(errno));
        return false;
      }
      going_on = got > 0 && parser.feed(bytes.data(), static_cast<std::size_t>(got));
    }
    if (shown && !parser.finish()) {
      progress_.wipe();
      std::fflush(stdout);
      complain(app_, name + ": " + describe(*parser.error()));
      return false;
    }
    return shown;
  }

  bool show(const Sheet& sheet) {
    ++sheets_;
    const std::string file = picture_name(wishes_.output, sheets_);
    if (!wishes_.check && !write_picture(sheet, file)) {
      return false;
    }
    progress_.wipe();
    if (wishes_.dump) {
      std::fputs(dump_sheet(sheet, sheets_).c_str(), stdout);
    } else {
      print_line(sheet, file);
    }
    std::fflush(stdout);
    progress_.show(sheets_);
    return true;
  }

  bool write_picture(const Sheet& sheet, const std::string& file) {
    PixelDensity density = density_of(sheet);
    Picture picture = sheet_picture(sheet, wishes_.raw ? Mirror::leave : Mirror::undo);
    if (wishes_.width != 0) {
      picture = reduced(picture, wishes_.width, density);
      density = {};
    }
    std::string error;
    if (!write_png(file, picture, density, error)) {
      progress_.wipe();
      complain(app_, file + ": " + error);
      return false;
    }
    return true;
  }

  void print_line(const Sheet& sheet, const std::string& file) const {
    std::printf("sheet %d: %u x %u, %s, cutter %u, Y %016" PRIx64 ", M %016" PRIx64
                ", C %016" PRIx64,
                sheets_, sheet.width, sheet.height, sheet.matte ? "matte" : "glossy", sheet.cutter,
                plane_checksum(sheet.plane[2]), plane_checksum(sheet.plane[1]),
                plane_checksum(sheet.plane[0]));
    std::printf(wishes_.check ? "\n" : " -> %s\n", file.c_str());
  }

  const CLI::App& app_;
  const Wishes& wishes_;
  Progress progress_;
  int sheets_ = 0;
};

int run(const CLI::App& app, Wishes& wishes) {
  if (wishes.streams.empty()) {
    wishes.streams.emplace_back("-");
  }
  Preview preview(app, wishes);
  for (const std::string& stream : wishes.streams) {
    if (!preview.read(stream)) {
      return kExitFailed;
    }
  }
  if (preview.sheets() == 0) {
    complain(app, "the stream holds no sheet");
  }
  return 0;
}

int preview_program(int argc, char** argv) {
  // A reader that went away is an ordinary write error.
  std::signal(SIGPIPE, SIG_IGN);
  CLI::App app("Checks a printer stream and shows its sheets as pictures.", "k905-preview");
  Wishes wishes;
  describe_options(app, wishes);
  const auto status = parse_command_line(app, argc, argv);
  return status ? *status : run(app, wishes);
}

}  // namespace

int main(int argc, char** argv) {
  return guarded_main("k905-preview", preview_program, argc, argv);
}
