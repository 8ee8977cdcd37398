// Reads the printer's command stream back: what the printer would have understood.
//
// Shared by k905-preview, k905-sim and the tests. Checks every block to the byte: escape, group,
// name, length, the order Y, M, C, every field of the BMP header, the controls, and that nothing
// stands between or behind. Written from the wire alone: it shares no code with the filter it
// checks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// One command as it stood in the stream.
struct StreamBlock {
  std::uint64_t offset = 0;  // of its first byte
  std::string group;         // blanks behind are taken off
  std::string name;
  std::string length;     // the eight characters as sent: digits, or blanks when nothing follows
  std::string parameter;  // the eight digits of an OVERCOAT or CUTTER command
};

// One sheet as it came over the wire.
struct Sheet {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  // The planes in the filter's order: first (sent as C), second (M), third (Y); width x height
  // bytes each, top row first.
  std::vector<std::uint8_t> plane[3];
  bool matte = false;        // an OVERCOAT command was sent, with parameter 1
  std::uint32_t cutter = 0;  // the CUTTER parameter as sent: 0, 1 or 120
  std::uint64_t offset = 0;  // of the sheet's first byte in the stream
  std::uint64_t size = 0;    // bytes from there up to and with the START command
  std::vector<StreamBlock> blocks;
};

// Where a stream goes wrong.
struct StreamError {
  std::uint64_t offset = 0;  // bytes from the beginning of the stream, of the field that is wrong
  std::string expected;
  std::string found;
};

// Feeds on bytes in pieces of any size and hands out every sheet when its START command has come.
// The result does not depend on how the stream was cut into pieces. Memory for a plane is taken
// when its header has been found right: sides of 1 to 5000 that agree with the length.
class PrinterStreamParser {
 public:
  using SheetHandler = std::function<void(Sheet&&)>;
  explicit PrinterStreamParser(SheetHandler on_sheet);
  ~PrinterStreamParser();
  PrinterStreamParser(PrinterStreamParser&&) noexcept;
  PrinterStreamParser& operator=(PrinterStreamParser&&) noexcept;

  // False from the first error on; what follows is not looked at.
  bool feed(const std::uint8_t* bytes, std::size_t count);

  // The end of the stream: false when it stands inside a sheet, or after an error.
  bool finish();

  // True between sheets: nothing of a sheet has come yet.
  [[nodiscard]] bool at_sheet_boundary() const;

  [[nodiscard]] const std::optional<StreamError>& error() const;

 private:
  class Reader;
  std::unique_ptr<Reader> reader_;
};

// A whole stream at once; stops at the first error.
struct ParsedStream {
  std::vector<Sheet> sheets;
  std::optional<StreamError> error;
};
[[nodiscard]] ParsedStream parse_printer_stream(const std::uint8_t* bytes, std::size_t count);

// 64-bit FNV-1a of a plane's bytes: the checksum shown by k905-preview and kept in golden dumps.
[[nodiscard]] std::uint64_t plane_checksum(const std::vector<std::uint8_t>& plane);
