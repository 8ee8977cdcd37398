// Blocks, image headers and planes in their order.

#include "apps/backend/sheet_bytes.h"

#include "protocol/command_block.h"

namespace k905::backend {

namespace {

std::span<const std::uint8_t> bytes_of(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Y is the third plane, M the second, C the first.
const std::vector<std::uint8_t>& plane_of(const Sheet& sheet, char letter) {
  return sheet.plane[letter == 'Y' ? 2 : letter == 'M' ? 1 : 0];
}

}  // namespace

SheetBytes::SheetBytes(const Sheet& sheet) : header_(make_bmp_header(sheet.width, sheet.height)) {
  for (const StreamBlock& block : sheet.blocks) {
    add_block(block);
    if (block.group == "IMAGE") {
      pieces_.emplace_back(header_);
      pieces_.emplace_back(plane_of(sheet, block.name.front()));
    }
  }
}

void SheetBytes::add_block(const StreamBlock& block) {
  const CommandBlock command = make_command_block(block.group.c_str(), block.name.c_str());
  blocks_.emplace_back(command.data(), kCommandLengthOffset);
  blocks_.back() += block.length + block.parameter;
  pieces_.push_back(bytes_of(blocks_.back()));
}

}  // namespace k905::backend
