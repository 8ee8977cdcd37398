// The printer's command: 32 bytes of ASCII.
//
//   0       ESC          2-7    group, left-aligned, padded with blanks
//   1       "P"          8-23   name, left-aligned, padded with blanks
//                        24-31  payload length, eight decimal digits, or blanks when none follows
#pragma once

#include <array>
#include <cstddef>

inline constexpr std::size_t kCommandBlockSize = 32;
inline constexpr std::size_t kCommandGroupOffset = 2;
inline constexpr std::size_t kCommandGroupSize = 6;
inline constexpr std::size_t kCommandNameOffset = 8;
inline constexpr std::size_t kCommandNameSize = 16;
inline constexpr std::size_t kCommandLengthOffset = 24;
inline constexpr std::size_t kCommandLengthSize = 8;

using CommandBlock = std::array<char, kCommandBlockSize>;

// A block without payload. Group and name may be null (all blanks); a group longer than 6 and a
// name longer than 16 characters are cut.
[[nodiscard]] CommandBlock make_command_block(const char* group, const char* name);

// The same with "%08d" of the length of the payload that follows.
[[nodiscard]] CommandBlock make_command_block(const char* group, const char* name,
                                              std::size_t payload_length);
