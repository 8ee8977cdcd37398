// JPEG through libjpeg, which leaves by longjmp: between setjmp and the end of a step only plain
// data lives on the stack, everything with a destructor belongs to the caller.
#include <cstdio>
// jpeglib.h wants stdio.h in front of it.
#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "apps/image/picture_readers.h"

namespace {

// A progressive file may repeat scans without end; real ones have about ten.
constexpr int kMostScans = 500;
constexpr long kMemoryLimit = long{kMostReadingBytes};

struct Reading {
  jpeg_decompress_struct jpeg{};
  jpeg_error_mgr errors{};
  jpeg_progress_mgr progress{};
  std::jmp_buf leave{};
  char message[JMSG_LENGTH_MAX] = "";
  Picture picture;
  bool inks = false;      // cyan, magenta, yellow, black
  bool inverted = false;  // with 255 for no ink, as Adobe's programs write them

  Reading() = default;
  ~Reading() { jpeg_destroy_decompress(&jpeg); }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
};

Reading& reading_of(j_common_ptr jpeg) { return *static_cast<Reading*>(jpeg->client_data); }

[[noreturn]] void on_error(j_common_ptr jpeg) {
  Reading& reading = reading_of(jpeg);
  reading.errors.format_message(jpeg, reading.message);
  std::longjmp(reading.leave, 1);
}

// What libjpeg warns of in files that are odd but whole.
constexpr int kHarmless[] = {JWRN_ADOBE_XFORM, JWRN_BOGUS_PROGRESSION, JWRN_EXTRANEOUS_DATA,
                             JWRN_JFIF_MAJOR, JWRN_NOT_SEQUENTIAL};

// libjpeg carries on over damage and fills the rest with grey. A sheet of photo paper is not for
// half a picture, so every other warning counts as an error.
void on_message(j_common_ptr jpeg, int level) {
  const bool warning = level < 0;
  if (warning && std::ranges::find(kHarmless, jpeg->err->msg_code) == std::end(kHarmless)) {
    on_error(jpeg);
  }
}

void on_progress(j_common_ptr jpeg) {
  if (reading_of(jpeg).jpeg.input_scan_number > kMostScans) {
    std::strcpy(reading_of(jpeg).message, "more scans than any picture needs");
    std::longjmp(reading_of(jpeg).leave, 1);
  }
}

bool read_header(Reading& reading, std::FILE* file) {
  jpeg_decompress_struct& jpeg = reading.jpeg;
  if (setjmp(reading.leave) != 0) {
    return false;
  }
  jpeg.err = jpeg_std_error(&reading.errors);
  reading.errors.error_exit = on_error;
  reading.errors.emit_message = on_message;
  jpeg.client_data = &reading;
  jpeg_create_decompress(&jpeg);
  jpeg.mem->max_memory_to_use = kMemoryLimit;
  reading.progress.progress_monitor = on_progress;
  jpeg.progress = &reading.progress;
  jpeg_stdio_src(&jpeg, file);
  jpeg_save_markers(&jpeg, JPEG_APP0 + 1, 0xFFFF);
  jpeg_save_markers(&jpeg, JPEG_APP0 + 2, 0xFFFF);
  jpeg_read_header(&jpeg, TRUE);
  reading.inks = jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
  reading.inverted = jpeg.saw_Adobe_marker != FALSE;
  const bool grey = jpeg.jpeg_color_space == JCS_GRAYSCALE;
  jpeg.out_color_space = reading.inks ? JCS_CMYK : grey ? JCS_GRAYSCALE : JCS_RGB;
  reading.picture.width = jpeg.image_width;
  reading.picture.height = jpeg.image_height;
  reading.picture.channels = reading.inks ? 4 : grey ? 1 : 3;
  return true;
}

// What libjpeg keeps of a file with several scans: every coefficient of every block, in blocks
// padded to whole groups of those that are coded together.
std::uint64_t coefficient_bytes(jpeg_decompress_struct& jpeg) {
  if (jpeg_has_multiple_scans(&jpeg) == FALSE) {
    return 0;
  }
  const auto padded = [](std::uint64_t blocks, int group) {
    const auto size = static_cast<std::uint64_t>(group);
    return (blocks + size - 1) / size * size;
  };
  std::uint64_t bytes = 0;
  for (int i = 0; i < jpeg.num_components; ++i) {
    const jpeg_component_info& component = jpeg.comp_info[i];
    bytes += padded(component.width_in_blocks, component.h_samp_factor) *
             padded(component.height_in_blocks, component.v_samp_factor) * sizeof(JBLOCK);
  }
  return bytes;
}

bool start_pixels(Reading& reading) {
  if (setjmp(reading.leave) != 0) {
    return false;
  }
  jpeg_start_decompress(&reading.jpeg);
  return true;
}

bool read_row(Reading& reading, std::uint8_t* row) {
  if (setjmp(reading.leave) != 0) {
    return false;
  }
  jpeg_read_scanlines(&reading.jpeg, &row, 1);
  return true;
}

bool read_end(Reading& reading) {
  if (setjmp(reading.leave) != 0) {
    return false;
  }
  jpeg_finish_decompress(&reading.jpeg);
  return true;
}

void read_profile(Reading& reading) {
  JOCTET* profile = nullptr;
  unsigned size = 0;
  if (setjmp(reading.leave) != 0) {
    return;  // pieces that do not make a profile: the picture does without
  }
  if (jpeg_read_icc_profile(&reading.jpeg, &profile, &size) != FALSE) {
    reading.picture.icc_profile.assign(profile, profile + size);
    std::free(profile);
  }
}

// The TIFF structure inside an EXIF marker, read with every index checked.
class Exif {
 public:
  Exif(const std::uint8_t* bytes, std::size_t size)
      : bytes_(bytes), size_(size), little_(size >= 2 && bytes[0] == 'I') {}

  // The orientation in the first directory, 1 when it does not say.
  [[nodiscard]] int orientation() const {
    constexpr std::size_t entry_size = 12;
    constexpr unsigned orientation_tag = 0x0112;
    const std::size_t directory = number(4, 4);
    const unsigned entries = static_cast<unsigned>(number(directory, 2));
    for (unsigned i = 0; i < entries; ++i) {
      const std::size_t entry = directory + 2 + entry_size * i;
      if (number(entry, 2) == orientation_tag) {
        const std::size_t value = number(entry + 8, 2);
        return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
      }
    }
    return 1;
  }

 private:
  // 0 for what lies outside.
  [[nodiscard]] std::size_t number(std::size_t offset, std::size_t width) const {
    if (offset > size_ || width > size_ - offset) {
      return 0;
    }
    std::size_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
      value = value << 8 | bytes_[offset + (little_ ? width - 1 - i : i)];
    }
    return value;
  }

  const std::uint8_t* bytes_;
  std::size_t size_;
  bool little_;
};

int exif_orientation(const jpeg_decompress_struct& jpeg) {
  constexpr char signature[] = "Exif\0";  // and the terminator: six bytes
  for (const jpeg_marker_struct* marker = jpeg.marker_list; marker != nullptr;
       marker = marker->next) {
    if (marker->marker == JPEG_APP0 + 1 && marker->data_length > sizeof signature &&
        std::memcmp(marker->data, signature, sizeof signature) == 0) {
      return Exif(marker->data + sizeof signature, marker->data_length - sizeof signature)
          .orientation();
    }
  }
  return 1;
}

// Full ink is the largest sample, as profiles count it.
void count_ink(Picture& picture) {
  for (std::uint8_t& sample : picture.bytes) {
    sample = static_cast<std::uint8_t>(255 - sample);
  }
}

}  // namespace

std::optional<Picture> read_jpeg(std::FILE* file, Inks inks, std::string& error) {
  Reading reading;
  if (!read_header(reading, file)) {
    error = "broken JPEG: " + std::string(reading.message);
    return std::nullopt;
  }
  Picture& picture = reading.picture;
  if (!size_is_sound(picture.width, picture.height, error)) {
    return std::nullopt;
  }
  if (!reserve_samples(picture, coefficient_bytes(reading.jpeg), error)) {
    return std::nullopt;
  }
  picture.orientation = exif_orientation(reading.jpeg);
  read_profile(reading);
  bool whole = start_pixels(reading);
  for (std::uint32_t y = 0; whole && y < picture.height; ++y) {
    picture.bytes.resize(picture.bytes.size() + picture.row_bytes());
    whole = read_row(reading, picture.bytes.data() + y * picture.row_bytes());
  }
  if (!whole || !read_end(reading)) {
    error = "broken JPEG: " + std::string(reading.message);
    return std::nullopt;
  }
  if (reading.inks && reading.inverted) {
    count_ink(picture);
  }
  if (reading.inks && (inks == Inks::to_colours || !is_profile_for(picture.icc_profile, "CMYK"))) {
    inks_to_colours(picture);
  }
  // A member of `reading`: without the move it would be copied.
  // cppcheck-suppress returnStdMoveLocal
  return std::move(picture);
}
