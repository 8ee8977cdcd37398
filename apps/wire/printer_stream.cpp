#include "apps/wire/printer_stream.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "apps/base/fnv1a.h"

namespace {

constexpr std::uint64_t kHeaderSize = 1088;
constexpr std::uint32_t kLongestSide = 5000;
constexpr std::size_t kPaletteEntries = 256;

// What comes next in the stream. A step is one field that is right or wrong as a whole; the pixels
// are the one step whose bytes are free.
enum class Step {
  escape,
  letter,
  group,
  name,
  length,
  magic,
  total_size,
  reserved,
  pixel_offset,
  info_size,
  width,
  height,
  planes,
  depth,
  compression,
  image_size,
  x_resolution,
  y_resolution,
  colors_used,
  colors_important,
  palette_entry,
  padding,
  pixels,
  parameter,
};

// Where the sheet stands: the command that is being read.
enum class Command { y_plane, m_plane, c_plane, overcoat_or_cutter, cutter, start };

// BMP fields whose value is always the same, little-endian.
struct FixedField {
  std::size_t size;
  const char* what;
  Step step;
  std::uint32_t value;
};
constexpr FixedField kFixedFields[] = {
    {4, "BMP reserved field", Step::reserved, 0},
    {4, "BMP pixel offset", Step::pixel_offset, kHeaderSize},
    {4, "BMP information header size", Step::info_size, 40},
    {2, "BMP plane count", Step::planes, 1},
    {2, "BMP bits per pixel", Step::depth, 8},
    {4, "BMP compression", Step::compression, 0},
    {4, "BMP image size", Step::image_size, 0},
    {4, "BMP horizontal resolution", Step::x_resolution, 0},
    {4, "BMP vertical resolution", Step::y_resolution, 0},
    {4, "BMP colors used", Step::colors_used, 0},
    {4, "BMP important colors", Step::colors_important, 0},
};

const FixedField* fixed_field(Step step) {
  const auto* found = std::find_if(std::begin(kFixedFields), std::end(kFixedFields),
                                   [step](const FixedField& field) { return field.step == step; });
  return found == std::end(kFixedFields) ? nullptr : found;
}

std::size_t step_size(Step step) {
  if (const FixedField* field = fixed_field(step)) {
    return field->size;
  }
  switch (step) {
    case Step::escape:
    case Step::letter:
      return 1;
    case Step::magic:
      return 2;
    case Step::group:
      return 6;
    case Step::name:
      return 16;
    case Step::padding:
      return 10;
    case Step::length:
    case Step::parameter:
      return 8;
    default:
      return 4;
  }
}

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

// Bytes as they would stand in a C string, so that blanks and escapes can be told apart.
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

std::string without_blanks(const std::string& text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool all_digits(const std::vector<std::uint8_t>& bytes) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [](std::uint8_t byte) { return byte >= '0' && byte <= '9'; });
}

bool is_image(Command command) { return command <= Command::c_plane; }

// The filter's number of the plane that a command carries: the third is sent first.
std::size_t plane_index(Command command) { return 2 - static_cast<std::size_t>(command); }

std::string image_name(Command command) {
  constexpr const char* names[] = {"YPLANE", "MPLANE", "CPLANE"};
  return names[static_cast<std::size_t>(command)];
}

// The command that must come, or be completed, before the sheet can end.
std::string awaited(Command command) {
  switch (command) {
    case Command::overcoat_or_cutter:
      return "the whole CNTRL OVERCOAT or CNTRL CUTTER command";
    case Command::cutter:
      return "the whole CNTRL CUTTER command";
    case Command::start:
      return "the whole CNTRL START command";
    default:
      return "the whole IMAGE " + image_name(command) + " command";
  }
}

}  // namespace

class PrinterStreamParser::Reader {
 public:
  explicit Reader(SheetHandler on_sheet) : on_sheet_(std::move(on_sheet)) {}

  bool feed(const std::uint8_t* bytes, std::size_t count);
  bool finish();
  bool at_boundary() const {
    return command_ == Command::y_plane && step_ == Step::escape && !error_;
  }
  const std::optional<StreamError>& error() const { return error_; }

 private:
  std::size_t take_pixels(const std::uint8_t* bytes, std::size_t count);
  std::size_t take_field(const std::uint8_t* bytes, std::size_t count);

  // Each looks at the field that has just come whole, and goes on to the next step or fails.
  void check_field();
  void check_escape();
  void check_group();
  void check_name();
  void check_length();
  void check_image_length();
  void check_parameter();
  void check_width();
  void check_height();
  void check_palette_entry();
  void check_fixed(const FixedField& field);
  void expect_number(std::uint32_t value, const std::string& what);

  void begin_pixels();
  void end_command(Command next);
  void end_sheet();
  void go_on();
  void fail(std::string expected, std::string found);

  std::vector<std::uint8_t>& plane() { return sheet_.plane[plane_index(command_)]; }
  std::uint64_t pixel_count() const { return length_ - kHeaderSize; }

  SheetHandler on_sheet_;
  std::uint64_t offset_ = 0;  // of the next byte to come
  Command command_ = Command::y_plane;
  Step step_ = Step::escape;
  std::vector<std::uint8_t> field_;  // what has come of the step's bytes
  std::uint64_t field_offset_ = 0;
  std::size_t palette_index_ = 0;
  std::uint64_t length_ = 0;  // of the image being read, as its command says
  std::uint32_t width_ = 0;
  Sheet sheet_;
  StreamBlock block_;
  std::optional<StreamError> error_;
};

bool PrinterStreamParser::Reader::feed(const std::uint8_t* bytes, std::size_t count) {
  while (count > 0 && !error_) {
    const std::size_t taken =
        step_ == Step::pixels ? take_pixels(bytes, count) : take_field(bytes, count);
    bytes += taken;
    count -= taken;
  }
  return !error_;
}

std::size_t PrinterStreamParser::Reader::take_pixels(const std::uint8_t* bytes, std::size_t count) {
  const std::uint64_t missing = pixel_count() - plane().size();
  const std::size_t taken = static_cast<std::size_t>(std::min<std::uint64_t>(count, missing));
  plane().insert(plane().end(), bytes, bytes + taken);
  offset_ += taken;
  if (taken == missing) {
    end_command(static_cast<Command>(static_cast<int>(command_) + 1));
  }
  return taken;
}

std::size_t PrinterStreamParser::Reader::take_field(const std::uint8_t* bytes, std::size_t count) {
  if (field_.empty()) {
    field_offset_ = offset_;
  }
  const std::size_t taken = std::min(count, step_size(step_) - field_.size());
  field_.insert(field_.end(), bytes, bytes + taken);
  offset_ += taken;
  if (field_.size() == step_size(step_)) {
    check_field();
    field_.clear();
  }
  return taken;
}

void PrinterStreamParser::Reader::check_field() {
  if (const FixedField* field = fixed_field(step_)) {
    check_fixed(*field);
    return;
  }
  switch (step_) {
    case Step::escape:
      check_escape();
      break;
    case Step::letter:
      field_[0] == 'P' ? go_on() : fail("\"P\" behind the escape", quoted(field_));
      break;
    case Step::group:
      check_group();
      break;
    case Step::name:
      check_name();
      break;
    case Step::length:
      check_length();
      break;
    case Step::magic:
      text_of(field_) == "BM" ? go_on() : fail("\"BM\" at the head of the image", quoted(field_));
      break;
    case Step::total_size:
      expect_number(static_cast<std::uint32_t>(length_), "BMP total size");
      break;
    case Step::width:
      check_width();
      break;
    case Step::height:
      check_height();
      break;
    case Step::palette_entry:
      check_palette_entry();
      break;
    case Step::padding:
      std::count(field_.begin(), field_.end(), 0) == 10
          ? begin_pixels()
          : fail("10 bytes of 0 between palette and pixels", hexadecimal(field_));
      break;
    default:
      check_parameter();
      break;
  }
}

void PrinterStreamParser::Reader::check_escape() {
  if (field_[0] != 0x1B) {
    fail("the escape (0x1b) of a command", "0x" + hexadecimal(field_));
    return;
  }
  block_ = StreamBlock{};
  block_.offset = field_offset_;
  if (command_ == Command::y_plane) {
    sheet_ = Sheet{};
    sheet_.offset = field_offset_;
  }
  go_on();
}

void PrinterStreamParser::Reader::check_group() {
  const std::string expected = is_image(command_) ? "IMAGE" : "CNTRL";
  if (text_of(field_) != padded(expected, 6)) {
    fail("group \"" + padded(expected, 6) + "\"", quoted(field_));
    return;
  }
  block_.group = expected;
  go_on();
}

void PrinterStreamParser::Reader::check_name() {
  const std::string name = text_of(field_);
  if (command_ == Command::overcoat_or_cutter) {
    if (name != padded("OVERCOAT", 16) && name != padded("CUTTER", 16)) {
      fail("name \"" + padded("OVERCOAT", 16) + "\" or \"" + padded("CUTTER", 16) + "\"",
           quoted(field_));
      return;
    }
  } else {
    const std::string expected = is_image(command_)            ? image_name(command_)
                                 : command_ == Command::cutter ? "CUTTER"
                                                               : "START";
    if (name != padded(expected, 16)) {
      fail("name \"" + padded(expected, 16) + "\"", quoted(field_));
      return;
    }
  }
  block_.name = without_blanks(name);
  go_on();
}

void PrinterStreamParser::Reader::check_length() {
  block_.length = text_of(field_);
  if (is_image(command_)) {
    check_image_length();
  } else if (command_ == Command::start) {
    block_.length == padded("", 8) ? end_sheet()
                                   : fail("eight blanks: no payload follows START", quoted(field_));
  } else if (block_.length == "00000008") {
    step_ = Step::parameter;
  } else {
    fail("length \"00000008\" of a control's parameter", quoted(field_));
  }
}

void PrinterStreamParser::Reader::check_image_length() {
  constexpr std::uint64_t longest = kHeaderSize + std::uint64_t{kLongestSide} * kLongestSide;
  if (!all_digits(field_)) {
    fail("eight decimal digits of image length", quoted(field_));
    return;
  }
  length_ = std::stoull(block_.length);
  const std::uint64_t pixels = std::uint64_t{sheet_.width} * sheet_.height;
  if (command_ != Command::y_plane && length_ != pixels + kHeaderSize) {
    fail("image length " + std::to_string(pixels + kHeaderSize) + " as of the sheet's first plane",
         std::to_string(length_));
  } else if (length_ <= kHeaderSize || length_ > longest) {
    fail("image length of " + std::to_string(kHeaderSize + 1) + " to " + std::to_string(longest),
         std::to_string(length_));
  } else {
    step_ = Step::magic;
  }
}

void PrinterStreamParser::Reader::check_parameter() {
  block_.parameter = text_of(field_);
  if (block_.name == "OVERCOAT") {
    // A glossy sheet sends no overcoat command at all.
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

void PrinterStreamParser::Reader::check_width() {
  width_ = little_endian(field_);
  if (command_ != Command::y_plane) {
    expect_number(sheet_.width, "BMP width");
  } else if (width_ < 1 || width_ > kLongestSide) {
    fail("BMP width of 1 to 5000", std::to_string(width_));
  } else if (pixel_count() % width_ != 0) {
    fail("BMP width that divides the " + std::to_string(pixel_count()) + " bytes of pixels",
         std::to_string(width_));
  } else {
    go_on();
  }
}

void PrinterStreamParser::Reader::check_height() {
  // The length and the width leave one height only.
  const std::uint64_t only = pixel_count() / width_;
  if (only > kLongestSide) {
    fail("BMP height of 1 to 5000", std::to_string(little_endian(field_)));
    return;
  }
  expect_number(static_cast<std::uint32_t>(only), "BMP height");
  sheet_.width = width_;
  sheet_.height = static_cast<std::uint32_t>(only);
}

void PrinterStreamParser::Reader::check_palette_entry() {
  const auto gray = static_cast<std::uint8_t>(palette_index_);
  const std::vector<std::uint8_t> expected = {gray, gray, gray, 0};
  if (field_ != expected) {
    fail("palette entry " + std::to_string(palette_index_) + " " + hexadecimal(expected),
         hexadecimal(field_));
    return;
  }
  ++palette_index_;
  if (palette_index_ == kPaletteEntries) {
    palette_index_ = 0;
    go_on();
  }
}

void PrinterStreamParser::Reader::check_fixed(const FixedField& field) {
  expect_number(field.value, field.what);
}

void PrinterStreamParser::Reader::expect_number(std::uint32_t value, const std::string& what) {
  const std::uint32_t found = little_endian(field_);
  found == value ? go_on() : fail(what + " " + std::to_string(value), std::to_string(found));
}

void PrinterStreamParser::Reader::begin_pixels() {
  plane().reserve(static_cast<std::size_t>(pixel_count()));
  step_ = Step::pixels;
}

void PrinterStreamParser::Reader::end_command(Command next) {
  sheet_.blocks.push_back(std::move(block_));
  command_ = next;
  step_ = Step::escape;
}

void PrinterStreamParser::Reader::end_sheet() {
  end_command(Command::y_plane);
  sheet_.size = offset_ - sheet_.offset;
  on_sheet_(std::move(sheet_));
  sheet_ = Sheet{};
}

void PrinterStreamParser::Reader::go_on() {
  step_ = static_cast<Step>(static_cast<int>(step_) + 1);
}

void PrinterStreamParser::Reader::fail(std::string expected, std::string found) {
  error_ = StreamError{field_offset_, std::move(expected), std::move(found)};
}

bool PrinterStreamParser::Reader::finish() {
  if (error_ || at_boundary()) {
    return !error_;
  }
  field_offset_ = offset_;
  if (step_ == Step::pixels) {
    fail(std::to_string(pixel_count() - plane().size()) + " more bytes of " + image_name(command_),
         "the end of the stream");
  } else {
    fail(awaited(command_), "the end of the stream");
  }
  return false;
}

PrinterStreamParser::PrinterStreamParser(SheetHandler on_sheet)
    : reader_(std::make_unique<Reader>(std::move(on_sheet))) {}
PrinterStreamParser::~PrinterStreamParser() = default;
PrinterStreamParser::PrinterStreamParser(PrinterStreamParser&&) noexcept = default;
PrinterStreamParser& PrinterStreamParser::operator=(PrinterStreamParser&&) noexcept = default;

bool PrinterStreamParser::feed(const std::uint8_t* bytes, std::size_t count) {
  return reader_->feed(bytes, count);
}
bool PrinterStreamParser::finish() { return reader_->finish(); }
bool PrinterStreamParser::at_sheet_boundary() const { return reader_->at_boundary(); }
const std::optional<StreamError>& PrinterStreamParser::error() const { return reader_->error(); }

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
