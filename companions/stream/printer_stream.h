// Reads the printer's command stream back: what the printer would have understood.
//
// Shared by k905-preview, k905-sim and the tests. Checks every block to the byte: escape, group, name,
// length, the order Y, M, C, every field of the BMP header, the controls, and that nothing stands
// between or behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// One sheet as it came over the wire.
struct Sheet {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  // The planes in the filter's order: first (sent as C), second (M), third (Y); width x height bytes
  // each, top row first.
  std::vector<std::uint8_t> plane[3];
  bool matte = false;               // an OVERCOAT command was sent, with parameter 1
  std::uint32_t cutter = 0;         // the CUTTER parameter as sent: 0, 1 or 120
  std::uint64_t offset = 0;         // of the sheet's first byte in the stream
};

// Where a stream goes wrong.
struct StreamError {
  std::uint64_t offset = 0;  // bytes from the beginning of the stream
  std::string expected;
  std::string found;
};

// Feeds on bytes in pieces of any size and hands out every sheet when its START command has come.
class PrinterStreamParser {
 public:
  using SheetHandler = std::function<void(Sheet&&)>;
  explicit PrinterStreamParser(SheetHandler on_sheet);

  // False from the first error on; what follows is not looked at.
  bool feed(const std::uint8_t* bytes, std::size_t count);

  // The end of the stream: false when it stands inside a sheet.
  bool finish();

  // True between sheets: nothing of a sheet has come yet.
  [[nodiscard]] bool at_sheet_boundary() const;

  [[nodiscard]] const std::optional<StreamError>& error() const;

 private:
  // printer_stream.cpp's concern.
};

// A whole stream at once; stops at the first error.
struct ParsedStream {
  std::vector<Sheet> sheets;
  std::optional<StreamError> error;
};
[[nodiscard]] ParsedStream parse_printer_stream(const std::uint8_t* bytes, std::size_t count);

// 64-bit FNV-1a of a plane's bytes: the checksum shown by k905-preview and kept in golden dumps.
[[nodiscard]] std::uint64_t plane_checksum(const std::vector<std::uint8_t>& plane);
