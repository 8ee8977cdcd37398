// Parses the printer's command stream, as the printer would.
//
// Shared by k905-preview, k905-sim, the backend and the tests. Checks every block to the byte:
// escape, group, name, length, the order Y, M, C, every field of the BMP header, the controls, and
// that there are no other bytes between or after them. It shares no code with the filter, so that
// it can check the filter independently.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
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

// Takes bytes in pieces of any size and passes each sheet to the handler when its START command is
// complete. The result does not depend on the size of the pieces. Memory for a plane is allocated
// when its header is valid: sides from 1 to 5000 that match the length.
class PrinterStreamParser {
 public:
  using SheetHandler = std::function<void(Sheet&&)>;
  explicit PrinterStreamParser(SheetHandler on_sheet) : on_sheet_(std::move(on_sheet)) {}

  // False from the first error on; the following bytes are ignored.
  bool feed(const std::uint8_t* bytes, std::size_t count);

  // To be called at the end of the stream: false inside a sheet, or after an error.
  bool finish();

  // True between sheets: no byte of the next sheet has been read yet.
  [[nodiscard]] bool at_sheet_boundary() const {
    return command_ == Command::y_plane && field_index_ == 0 && field_.empty() && !error_;
  }

  [[nodiscard]] const std::optional<StreamError>& error() const { return error_; }

  // The position in the sheet: the command that is being read.
  enum class Command { y_plane, m_plane, c_plane, overcoat_or_cutter, cutter, start };

 private:
  // A field is checked when it is complete: `check` continues with the next field or reports an
  // error. The pixels after the fields of an image may have any value.
  struct Field {
    std::size_t size;
    void (PrinterStreamParser::*check)();
    const char* what = "";  // name of a number with a fixed value
    std::uint32_t value = 0;
  };
  static const Field kFields[];         // of a command, of the header of an image, of a control
  static const std::size_t kParameter;  // of a control

  std::size_t take_pixels(const std::uint8_t* bytes, std::size_t count);
  std::size_t take_field(const std::uint8_t* bytes, std::size_t count);

  void check_escape();
  void check_letter();
  void check_group();
  void check_name();
  void check_length();
  void check_image_length();
  void check_magic();
  void check_total_size();
  void check_number();
  void check_width();
  void check_height();
  void check_palette_entry();
  void check_padding();
  void check_parameter();

  void next_field() { ++field_index_; }
  void expect(bool is_valid, const std::string& expected, const std::string& found);
  void expect_text(const std::string& text, const std::string& what);
  void expect_number(std::uint32_t value, const std::string& what);
  void end_command(Command next);
  void end_sheet();
  void fail(std::string expected, std::string found);

  std::vector<std::uint8_t>& plane();
  [[nodiscard]] std::uint64_t pixel_count() const;

  SheetHandler on_sheet_;
  std::uint64_t offset_ = 0;  // of the next byte
  Command command_ = Command::y_plane;
  std::size_t field_index_ = 0;  // in kFields
  bool in_pixels_ = false;
  std::vector<std::uint8_t> field_;  // the bytes of the field so far
  std::uint64_t field_offset_ = 0;
  std::size_t palette_index_ = 0;
  std::uint64_t length_ = 0;  // of the image being read, from its command
  std::uint32_t width_ = 0;
  Sheet sheet_;
  StreamBlock block_;
  std::optional<StreamError> error_;
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
