#include "apps/wire/printer_stream.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <utility>

#include "apps/base/fnv1a.h"

namespace k905 {

namespace {

constexpr std::uint64_t kHeaderSize = 1088;
constexpr std::uint32_t kMaxSheetSide = 5000;
constexpr std::size_t kPaletteEntries = 256;

using Command = PrinterStreamParser::Command;

std::uint32_t little_endian(const std::vector<std::uint8_t>& bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) {
    value = value << 8 | bytes[i];
  }
  return value;
}

std::string hexadecimal(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02x", byte);
    if (!text.empty()) {
      text += ' ';
    }
    text += pair;
  }
  return text;
}

// Bytes as in a C string literal, so that spaces and escapes can be distinguished.
std::string quoted(const std::vector<std::uint8_t>& bytes) {
  std::string text = "\"";
  for (const std::uint8_t byte : bytes) {
    char escape[8];
    const bool plain = byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\';
    std::snprintf(escape, sizeof escape, plain ? "%c" : "\\x%02x", byte);
    text += escape;
  }
  return text + "\"";
}

std::string padded(std::string text, std::size_t size) {
  text.resize(size, ' ');
  return text;
}

std::string text_of(const std::vector<std::uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

std::string without_trailing_spaces(const std::string& text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool all_digits(const std::vector<std::uint8_t>& bytes) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [](std::uint8_t byte) { return byte >= '0' && byte <= '9'; });
}

bool is_image(Command command) { return command <= Command::c_plane; }

// The command overcoat_or_cutter may also have the name OVERCOAT.
std::string name_of(Command command) {
  constexpr const char* names[] = {"YPLANE", "MPLANE", "CPLANE", "CUTTER", "CUTTER", "START"};
  return names[static_cast<std::size_t>(command)];
}

// The command that must follow, or be completed, before the sheet can end.
std::string missing_command(Command command) {
  switch (command) {
    case Command::overcoat_or_cutter:
      return "the whole CNTRL OVERCOAT or CNTRL CUTTER command";
    case Command::cutter:
      return "the whole CNTRL CUTTER command";
    case Command::start:
      return "the whole CNTRL START command";
    default:
      return "the whole IMAGE " + name_of(command) + " command";
  }
}

}  // namespace

bool PrinterStreamParser::feed(const std::uint8_t* bytes, std::size_t count) {
  while (count > 0 && !error_) {
    const std::size_t taken = in_pixels_ ? take_pixels(bytes, count) : take_field(bytes, count);
    bytes += taken;
    count -= taken;
  }
  return !error_;
}

// The third plane is sent first.
std::vector<std::uint8_t>& PrinterStreamParser::plane() {
  return sheet_.plane[2 - static_cast<std::size_t>(command_)];
}

std::uint64_t PrinterStreamParser::pixel_count() const { return length_ - kHeaderSize; }

std::size_t PrinterStreamParser::take_pixels(const std::uint8_t* bytes, std::size_t count) {
  const std::uint64_t missing = pixel_count() - plane().size();
  const std::size_t taken = static_cast<std::size_t>(std::min<std::uint64_t>(count, missing));
  plane().insert(plane().end(), bytes, bytes + taken);
  offset_ += taken;
  if (taken == missing) {
    end_command(static_cast<Command>(static_cast<int>(command_) + 1));
  }
  return taken;
}

std::size_t PrinterStreamParser::take_field(const std::uint8_t* bytes, std::size_t count) {
  if (field_.empty()) {
    field_offset_ = offset_;
  }
  const std::size_t taken = std::min(count, kFields[field_index_].size - field_.size());
  field_.insert(field_.end(), bytes, bytes + taken);
  offset_ += taken;
  if (field_.size() == kFields[field_index_].size) {
    (this->*kFields[field_index_].check)();
    field_.clear();
  }
  return taken;
}

const PrinterStreamParser::Field PrinterStreamParser::kFields[] = {
    {1, &PrinterStreamParser::check_escape},
    {1, &PrinterStreamParser::check_letter},
    {6, &PrinterStreamParser::check_group},
    {16, &PrinterStreamParser::check_name},
    {8, &PrinterStreamParser::check_length},
    {2, &PrinterStreamParser::check_magic},
    {4, &PrinterStreamParser::check_total_size},
    {4, &PrinterStreamParser::check_number, "BMP reserved field", 0},
    {4, &PrinterStreamParser::check_number, "BMP pixel offset", kHeaderSize},
    {4, &PrinterStreamParser::check_number, "BMP information header size", 40},
    {4, &PrinterStreamParser::check_width},
    {4, &PrinterStreamParser::check_height},
    {2, &PrinterStreamParser::check_number, "BMP plane count", 1},
    {2, &PrinterStreamParser::check_number, "BMP bits per pixel", 8},
    {4, &PrinterStreamParser::check_number, "BMP compression", 0},
    {4, &PrinterStreamParser::check_number, "BMP image size", 0},
    {4, &PrinterStreamParser::check_number, "BMP horizontal resolution", 0},
    {4, &PrinterStreamParser::check_number, "BMP vertical resolution", 0},
    {4, &PrinterStreamParser::check_number, "BMP colors used", 0},
    {4, &PrinterStreamParser::check_number, "BMP important colors", 0},
    {4, &PrinterStreamParser::check_palette_entry},
    {10, &PrinterStreamParser::check_padding},
    {8, &PrinterStreamParser::check_parameter},
};
const std::size_t PrinterStreamParser::kParameter = std::size(kFields) - 1;

void PrinterStreamParser::expect(bool is_valid, const std::string& expected,
                                 const std::string& found) {
  is_valid ? next_field() : fail(expected, found);
}

void PrinterStreamParser::expect_text(const std::string& text, const std::string& what) {
  expect(text_of(field_) == text, what, quoted(field_));
}

void PrinterStreamParser::expect_number(std::uint32_t value, const std::string& what) {
  const std::uint32_t found = little_endian(field_);
  expect(found == value, what + " " + std::to_string(value), std::to_string(found));
}

void PrinterStreamParser::check_escape() {
  block_ = StreamBlock{};
  block_.offset = field_offset_;
  if (command_ == Command::y_plane) {
    sheet_ = Sheet{};
    sheet_.offset = field_offset_;
  }
  expect(field_[0] == 0x1B, "the escape (0x1b) of a command", "0x" + hexadecimal(field_));
}

void PrinterStreamParser::check_letter() { expect_text("P", "\"P\" after the escape"); }

void PrinterStreamParser::check_number() {
  expect_number(kFields[field_index_].value, kFields[field_index_].what);
}

void PrinterStreamParser::check_magic() { expect_text("BM", "\"BM\" at the head of the image"); }

void PrinterStreamParser::check_total_size() {
  expect_number(static_cast<std::uint32_t>(length_), "BMP total size");
}

void PrinterStreamParser::check_group() {
  block_.group = is_image(command_) ? "IMAGE" : "CNTRL";
  const std::string expected = padded(block_.group, 6);
  expect_text(expected, "group \"" + expected + "\"");
}

void PrinterStreamParser::check_name() {
  const std::string name = text_of(field_);
  block_.name = without_trailing_spaces(name);
  const std::string overcoat = padded("OVERCOAT", 16);
  const std::string expected = padded(name_of(command_), 16);
  if (command_ == Command::overcoat_or_cutter) {
    expect(name == overcoat || name == expected,
           "name \"" + overcoat + "\" or \"" + expected + "\"", quoted(field_));
  } else {
    expect_text(expected, "name \"" + expected + "\"");
  }
}

void PrinterStreamParser::check_length() {
  block_.length = text_of(field_);
  if (is_image(command_)) {
    check_image_length();
  } else if (command_ == Command::start) {
    block_.length == padded("", 8) ? end_sheet()
                                   : fail("eight blanks: no payload follows START", quoted(field_));
  } else if (block_.length == "00000008") {
    field_index_ = kParameter;
  } else {
    fail("length \"00000008\" of a control's parameter", quoted(field_));
  }
}

void PrinterStreamParser::check_image_length() {
  constexpr std::uint64_t max_length = kHeaderSize + std::uint64_t{kMaxSheetSide} * kMaxSheetSide;
  if (!all_digits(field_)) {
    fail("an image length of eight decimal digits", quoted(field_));
    return;
  }
  length_ = std::stoull(block_.length);
  const std::uint64_t pixels = std::uint64_t{sheet_.width} * sheet_.height;
  if (command_ != Command::y_plane && length_ != pixels + kHeaderSize) {
    fail("image length " + std::to_string(pixels + kHeaderSize) + ", as in the sheet's first plane",
         std::to_string(length_));
  } else if (length_ <= kHeaderSize || length_ > max_length) {
    fail("image length from " + std::to_string(kHeaderSize + 1) + " to " +
             std::to_string(max_length),
         std::to_string(length_));
  } else {
    next_field();
  }
}

void PrinterStreamParser::check_parameter() {
  block_.parameter = text_of(field_);
  if (block_.name == "OVERCOAT") {
    // A glossy sheet has no overcoat command.
    if (block_.parameter != "00000001") {
      fail("OVERCOAT parameter \"00000001\"", quoted(field_));
      return;
    }
    sheet_.matte = true;
    end_command(Command::cutter);
    return;
  }
  constexpr std::array<const char*, 3> cutter_values = {"00000000", "00000001", "00000120"};
  if (std::find(cutter_values.begin(), cutter_values.end(), block_.parameter) ==
      cutter_values.end()) {
    fail("CUTTER parameter \"00000000\", \"00000001\" or \"00000120\"", quoted(field_));
    return;
  }
  sheet_.cutter = static_cast<std::uint32_t>(std::stoul(block_.parameter));
  end_command(Command::start);
}

void PrinterStreamParser::check_width() {
  width_ = little_endian(field_);
  if (command_ != Command::y_plane) {
    expect_number(sheet_.width, "BMP width");
  } else if (width_ < 1 || width_ > kMaxSheetSide) {
    fail("BMP width from 1 to 5000", std::to_string(width_));
  } else if (pixel_count() % width_ != 0) {
    fail("BMP width that divides the " + std::to_string(pixel_count()) + " bytes of pixels",
         std::to_string(width_));
  } else {
    next_field();
  }
}

void PrinterStreamParser::check_height() {
  // Length and width determine the height.
  const std::uint64_t height = pixel_count() / width_;
  if (height > kMaxSheetSide) {
    fail("image length and BMP width that give a height from 1 to 5000",
         "a height of " + std::to_string(height));
    return;
  }
  expect_number(static_cast<std::uint32_t>(height), "BMP height");
  sheet_.width = width_;
  sheet_.height = static_cast<std::uint32_t>(height);
}

void PrinterStreamParser::check_palette_entry() {
  const auto gray = static_cast<std::uint8_t>(palette_index_);
  const std::vector<std::uint8_t> expected = {gray, gray, gray, 0};
  if (field_ != expected) {
    fail("palette entry " + std::to_string(palette_index_) + ": " + hexadecimal(expected),
         hexadecimal(field_));
  } else if (++palette_index_ == kPaletteEntries) {
    palette_index_ = 0;
    next_field();
  }
}

void PrinterStreamParser::check_padding() {
  in_pixels_ = std::count(field_.begin(), field_.end(), 0) == 10;
  expect(in_pixels_, "10 bytes of 0 between palette and pixels", hexadecimal(field_));
  if (in_pixels_) {
    plane().reserve(static_cast<std::size_t>(pixel_count()));
  }
}

void PrinterStreamParser::end_command(Command next) {
  sheet_.blocks.push_back(std::move(block_));
  command_ = next;
  field_index_ = 0;
  in_pixels_ = false;
}

void PrinterStreamParser::end_sheet() {
  end_command(Command::y_plane);
  sheet_.size = offset_ - sheet_.offset;
  on_sheet_(std::move(sheet_));
  sheet_ = Sheet{};
}

void PrinterStreamParser::fail(std::string expected, std::string found) {
  error_ = StreamError{field_offset_, std::move(expected), std::move(found)};
}

bool PrinterStreamParser::finish() {
  if (error_ || at_sheet_boundary()) {
    return !error_;
  }
  field_offset_ = offset_;
  if (in_pixels_) {
    fail(std::to_string(pixel_count() - plane().size()) + " more bytes of " + name_of(command_),
         "the end of the stream");
  } else {
    fail(missing_command(command_), "the end of the stream");
  }
  return false;
}

ParsedStream parse_printer_stream(const std::uint8_t* bytes, std::size_t count) {
  ParsedStream parsed;
  PrinterStreamParser parser(
      [&parsed](Sheet&& sheet) { parsed.sheets.push_back(std::move(sheet)); });
  parser.feed(bytes, count);
  parser.finish();
  parsed.error = parser.error();
  return parsed;
}

std::uint64_t plane_checksum(const std::vector<std::uint8_t>& plane) {
  return fnv1a({reinterpret_cast<const char*>(plane.data()), plane.size()});
}

}  // namespace k905
