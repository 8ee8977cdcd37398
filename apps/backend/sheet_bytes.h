// Writes a parsed sheet as the bytes that it was parsed from.
//
// The parser checks every byte except the pixels, so the sheet can be written again from its blocks
// and planes; keeping the bytes as well would double the memory.
#pragma once

#include <deque>
#include <string>

#include "apps/wire/printer_stream.h"
#include "device/printer.h"
#include "protocol/bmp_plane.h"

namespace k905::backend {

class SheetBytes {
 public:
  // The sheet must outlive this object.
  explicit SheetBytes(const Sheet& sheet);
  SheetBytes(const SheetBytes&) = delete;
  SheetBytes& operator=(const SheetBytes&) = delete;

  [[nodiscard]] const Pieces& pieces() const { return pieces_; }

 private:
  void add_block(const StreamBlock& block);

  BmpHeader header_;
  std::deque<std::string> blocks_;
  Pieces pieces_;
};

}  // namespace k905::backend
