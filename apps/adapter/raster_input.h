// The raster stream from the print system.
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
  // Reads from `descriptor` to its end, or until the pipe whose write end is `output` has no
  // reader. The caller keeps the descriptors.
  RasterInput(int descriptor, int output);

  // False if the input is not a raster stream: opening_bytes() and unread_bytes() then return all
  // of it.
  [[nodiscard]] bool open();

  // False at the end of the stream and for a header that libcups refuses.
  [[nodiscard]] bool next_page(cups_page_header2_t& header);
  // The next line of the page, header.cupsBytesPerLine bytes. False if it is missing.
  [[nodiscard]] bool read_line(std::span<std::uint8_t> line);

  // Whether the stream ended, regularly or because of an error.
  [[nodiscard]] bool ended() const { return ended_; }
  // The errno of the error that ended the stream; 0 for none.
  [[nodiscard]] int error() const { return error_; }

  [[nodiscard]] std::span<const std::uint8_t> opening_bytes() const { return opening_; }
  // More bytes of the stream as they arrive; none at the end.
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
