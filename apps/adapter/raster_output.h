// An uncompressed raster stream on a descriptor, written by hand: libcups would refuse a header
// that the filter has to see.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace k905 {

class RasterOutput {
 public:
  // The descriptor stays the caller's.
  explicit RasterOutput(int descriptor);

  // Each returns false when the reader has gone or the write failed; nothing is written after that.
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
