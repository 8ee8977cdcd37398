// The raster stream that comes from the print system.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace k905 {

class RasterInput {
 public:
  // Reads `descriptor`, as long as somebody reads the pipe of which `output` is the writing end.
  // The descriptors stay the caller's.
  RasterInput(int descriptor, int output);

  // False when what is there is no raster stream: then opening_bytes() and what unread_bytes()
  // gives are all of it.
  [[nodiscard]] bool open();

  // False at the end of the stream and for a header that libcups refuses.
  [[nodiscard]] bool next_page(cups_page_header2_t& header);
  // The next line of the page, header.cupsBytesPerLine bytes. False when it is not there.
  [[nodiscard]] bool read_line(std::span<std::uint8_t> line);

  // Whether the stream came to its end, by itself or because of an error.
  [[nodiscard]] bool ended() const { return ended_; }
  // The error that ended the stream, as errno; 0 for none.
  [[nodiscard]] int error() const { return error_; }

  [[nodiscard]] std::span<const std::uint8_t> opening_bytes() const { return opening_; }
  // More bytes of the stream as they come; none at the end.
  [[nodiscard]] std::span<const std::uint8_t> unread_bytes();

 private:
  struct Closer {
    void operator()(cups_raster_t* raster) const { cupsRasterClose(raster); }
  };
  static ssize_t read_bytes(void* input, unsigned char* bytes, std::size_t count);
  void fill();

  int descriptor_;
  int output_;
  std::vector<std::uint8_t> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool ended_ = false;
  int error_ = 0;
  bool opening_done_ = false;
  std::vector<std::uint8_t> opening_;
  std::unique_ptr<cups_raster_t, Closer> raster_;
};

}  // namespace k905
