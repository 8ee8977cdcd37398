// Parses the printer's command stream, as the printer would.
//
// Shared by k905-preview, k905-sim, the backend and the tests. Checks every block to the byte:
// escape, group, name, length, the order Y, M, C, every field of the BMP header, the controls, and
// that there are no other bytes between or after them. Written from the wire format alone: it
// shares no code with the filter that it checks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace k905 {

// One command as it is in the stream.
struct StreamBlock {
  std::uint64_t offset = 0;  // of its first byte
  std::string group;         // without trailing spaces
  std::string name;
  std::string length;     // the eight characters as sent: digits, or spaces if nothing follows
  std::string parameter;  // the eight digits of an OVERCOAT or CUTTER command
};

// One sheet of the stream.
struct Sheet {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  // The planes in the filter's order: first (sent as C), second (M), third (Y); width x height
  // bytes each, top row first.
  std::vector<std::uint8_t> plane[3];
  bool matte = false;        // an OVERCOAT command was sent, with parameter 1
  std::uint32_t cutter = 0;  // the CUTTER parameter as sent: 0, 1 or 120
  std::uint64_t offset = 0;  // of the sheet's first byte in the stream
  std::uint64_t size = 0;    // bytes from there up to and including the START command
  std::vector<StreamBlock> blocks;
};

// The first error of a stream.
struct StreamError {
  std::uint64_t offset = 0;  // of the invalid field, in bytes from the beginning of the stream
  std::string expected;
  std::string found;
};

// Takes bytes in pieces of any size and returns every sheet when its START command is complete. The
// result does not depend on the size of the pieces. Memory for a plane is allocated when its header
// is valid: sides of 1 to 5000 that match the length.
class PrinterStreamParser {
 public:
  using SheetHandler = std::function<void(Sheet&&)>;
  explicit PrinterStreamParser(SheetHandler on_sheet);
  ~PrinterStreamParser();
  PrinterStreamParser(PrinterStreamParser&&) noexcept;
  PrinterStreamParser& operator=(PrinterStreamParser&&) noexcept;

  // False from the first error on; the following bytes are ignored.
  bool feed(const std::uint8_t* bytes, std::size_t count);

  // To be called at the end of the stream: false inside a sheet, or after an error.
  bool finish();

  // True between sheets: no byte of the next sheet was read yet.
  [[nodiscard]] bool at_sheet_boundary() const;

  [[nodiscard]] const std::optional<StreamError>& error() const;

 private:
  class Reader;
  std::unique_ptr<Reader> reader_;
};

// Parses a complete stream; stops at the first error.
struct ParsedStream {
  std::vector<Sheet> sheets;
  std::optional<StreamError> error;
};
[[nodiscard]] ParsedStream parse_printer_stream(const std::uint8_t* bytes, std::size_t count);

// 64-bit FNV-1a of a plane's bytes: the checksum of k905-preview and of golden dumps.
[[nodiscard]] std::uint64_t plane_checksum(const std::vector<std::uint8_t>& plane);

}  // namespace k905
