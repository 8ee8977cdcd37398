#include "apps/wire/stream_dump.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>

namespace k905 {

namespace {

constexpr std::uint64_t kBmpHeaderBytes = 1088;

[[gnu::format(printf, 2, 3)]] void append(std::string& text, const char* format, ...) {
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  text += line;
}

// The plane of a block with this name: Y is sent first and is the filter's third plane.
const std::vector<std::uint8_t>& plane_of(const Sheet& sheet, const std::string& name) {
  const char letter = name.empty() ? 'C' : name.front();
  return sheet.plane[letter == 'Y' ? 2 : letter == 'M' ? 1 : 0];
}

void append_image(std::string& text, const Sheet& sheet, const StreamBlock& block) {
  const std::vector<std::uint8_t>& plane = plane_of(sheet, block.name);
  append(text,
         "           BMP size %" PRIu64 ", pixels at %" PRIu64
         ", %u x %u, 8 bit, gray palette of 256\n",
         std::uint64_t{plane.size()} + kBmpHeaderBytes, kBmpHeaderBytes, sheet.width, sheet.height);
  append(text, "           pixels %zu, checksum %016" PRIx64 "\n", plane.size(),
         plane_checksum(plane));
}

}  // namespace

std::string dump_sheet(const Sheet& sheet, int number) {
  std::string text;
  append(text, "sheet %d: offset %" PRIu64 ", %" PRIu64 " bytes, %u x %u, %s, cutter %u\n", number,
         sheet.offset, sheet.size, sheet.width, sheet.height, sheet.matte ? "matte" : "glossy",
         sheet.cutter);
  for (const StreamBlock& block : sheet.blocks) {
    append(text, "%10" PRIu64 " ESC P [%-6s] [%-16s] [%s]", block.offset, block.group.c_str(),
           block.name.c_str(), block.length.c_str());
    append(text, block.parameter.empty() ? "\n" : " parameter %s\n", block.parameter.c_str());
    if (block.group == "IMAGE") {
      append_image(text, sheet, block);
    }
  }
  return text;
}

std::string describe(const StreamError& error) {
  return "offset " + std::to_string(error.offset) + ": expected " + error.expected + ", found " +
         error.found;
}

}  // namespace k905
