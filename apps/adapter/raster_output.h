// Writes an uncompressed raster stream to a descriptor, without libcups, which would refuse a
// header that the filter must see.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace k905 {

class RasterOutput {
 public:
  // The caller keeps the descriptor.
  explicit RasterOutput(int descriptor);

  // Each returns false if the reader has closed the pipe or the write failed; nothing is written
  // after that.
  bool write(const void* bytes, std::size_t count);
  bool write_sync_word();
  bool write_header(const cups_page_header2_t& header);
  bool flush();

 private:
  std::vector<std::uint8_t> buffer_;
  int descriptor_;
  bool failed_ = false;
};

}  // namespace k905
