// The parser of the printer's stream, on arbitrary bytes. A thousand bytes are equal in all sheets,
// so an input may also be a recipe: a valid stream of small sheets with a few bytes changed.
// Invariants: the result does not depend on how the stream is divided; a stream that was accepted
// is reproduced to the last byte.
#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "apps/wire/printer_stream.h"
#include "apps/wire/stream_dump.h"
#include "fuzz/expect.h"
#include "fuzz/input.h"
#include "tests/support/wire_stream.h"

namespace {

std::string sheet_of_recipe(Input& input) {
  SheetContent sheet;
  sheet.width = static_cast<std::uint32_t>(1 + input.below(9));
  sheet.height = static_cast<std::uint32_t>(1 + input.below(9));
  for (auto& plane : sheet.plane) {
    plane.assign(std::size_t{sheet.width} * sheet.height, input.byte());
  }
  const std::uint8_t finish = input.byte();
  sheet.matte = finish % 2 == 1;
  const char* const cutters[] = {"00000000", "00000001", "00000120", "00000002"};
  sheet.cutter = cutters[finish / 2 % 4];
  return wire_sheet(sheet);
}

std::string stream_of_recipe(Input& input) {
  std::string stream;
  for (std::size_t sheets = input.below(4); sheets > 0; --sheets) stream += sheet_of_recipe(input);
  for (std::size_t changes = input.below(5); changes > 0 && !stream.empty(); --changes) {
    const std::size_t at = input.below(stream.size());
    const std::uint8_t value = input.byte();
    switch (input.byte() % 3) {
      case 0:
        stream[at] = static_cast<char>(value);
        break;
      case 1:
        stream.erase(at, value);
        break;
      default:
        stream.insert(at, 1, static_cast<char>(value));
    }
  }
  return stream;
}

std::string written_out(const k905::Sheet& sheet) {
  return wire_sheet({sheet.width,
                     sheet.height,
                     {sheet.plane[0], sheet.plane[1], sheet.plane[2]},
                     sheet.matte,
                     wire_digits(sheet.cutter)});
}

std::string text_of(const k905::ParsedStream& parsed) {
  std::string text;
  int number = 0;
  for (const k905::Sheet& sheet : parsed.sheets) text += dump_sheet(sheet, ++number);
  return text + (parsed.error ? describe(*parsed.error) : "");
}

const std::uint8_t* bytes_of(const std::string& stream) {
  return reinterpret_cast<const std::uint8_t*>(stream.data());
}

k905::ParsedStream parsed_in_pieces(const std::string& stream, std::size_t piece) {
  k905::ParsedStream parsed;
  k905::PrinterStreamParser parser(
      [&parsed](k905::Sheet&& sheet) { parsed.sheets.push_back(std::move(sheet)); });
  for (std::size_t at = 0; at < stream.size(); at += piece) {
    const std::size_t count = std::min(piece, stream.size() - at);
    const bool continues = parser.feed(bytes_of(stream) + at, count);
    expect(continues == !parser.error(), "feed reports an error");
  }
  const bool between_sheets = parser.at_sheet_boundary();
  const bool complete = parser.finish();
  expect(complete == between_sheets && complete == !parser.error(), "finish reports the position");
  parsed.error = parser.error();
  return parsed;
}

void expect_sheets_are_the_stream(const k905::ParsedStream& parsed, const std::string& stream) {
  std::string written;
  for (const k905::Sheet& sheet : parsed.sheets) {
    expect(sheet.offset == written.size(), "a sheet begins where the one before it ended");
    expect(!sheet.blocks.empty() && sheet.blocks.front().offset == sheet.offset, "first block");
    written += written_out(sheet);
    expect(sheet.offset + sheet.size == written.size(), "the size of a sheet is that of its bytes");
  }
  expect(stream.starts_with(written), "sheets written out are the stream");
  if (parsed.error) {
    expect(parsed.error->offset >= written.size(), "the error is after the complete sheets");
    expect(parsed.error->offset <= stream.size(), "the error is inside the stream");
  } else {
    expect(written.size() == stream.size(), "no byte was skipped");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const bool is_recipe = input.byte() == 'r';
  const std::size_t piece = 1 + input.below(2000);
  const std::string stream = is_recipe ? stream_of_recipe(input) : input.rest();
  const k905::ParsedStream parsed = k905::parse_printer_stream(bytes_of(stream), stream.size());
  expect_sheets_are_the_stream(parsed, stream);
  const std::string text = text_of(parsed);
  expect(std::ranges::all_of(text, [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); }),
         "the dump is plain text");
  expect(text_of(parsed_in_pieces(stream, piece)) == text, "pieces of any size give the same");
  expect(text_of(parsed_in_pieces(stream, 1)) == text, "single bytes give the same");
  return 0;
}
