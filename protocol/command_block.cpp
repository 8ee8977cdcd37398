#include "protocol/command_block.h"

#include <cstring>

#include "protocol/decimal_field.h"

namespace {

void put_text(char* field, std::size_t width, const char* text) {
  if (text != nullptr) {
    std::memcpy(field, text, strnlen(text, width));
  }
}

}  // namespace

CommandBlock make_command_block(const char* group, const char* name) {
  CommandBlock block;
  block.fill(' ');
  block[0] = '\x1b';
  block[1] = 'P';
  put_text(&block[kCommandGroupOffset], kCommandGroupSize, group);
  put_text(&block[kCommandNameOffset], kCommandNameSize, name);
  return block;
}

CommandBlock make_command_block(const char* group, const char* name, std::size_t payload_length) {
  CommandBlock block = make_command_block(group, name);
  put_decimal8(&block[kCommandLengthOffset], payload_length);
  return block;
}
