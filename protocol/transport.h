// Bytes to and from the printer.
#pragma once

#include <cstddef>
#include <cstdint>

// Writes all `length` bytes; continues after EINTR and short writes, and waits if standard output
// is non-blocking. Returns the number of bytes written, which is less than `length` only when the
// system wrote 0 (logged), or -1 on an error (logged).
[[nodiscard]] std::int64_t k905_write_all(int descriptor, const void* buffer, std::size_t length);

// Asks the printer one question: writes the 32-byte block of `group` and `name` (either may be
// null), then, when `reply` is not null, reads an answer of at most reply_size - 1 bytes into it.
// Reading ends at a CR or LF that closes a read, at end of file, when the buffer is full, or when
// the printer sends nothing for timeout_ms; the timeout restarts before every read. The reply is
// always terminated, and trimmed: CR, LF and blanks at the end, blanks at the start (tabs stay).
//
// Returns the number of bytes read before trimming, 0 without a reply buffer or when reply_size is
// 0, -1 on a write or read error; the reply is then "".
[[nodiscard]] int k905_write_read_cmd32(int descriptor, const char* group, const char* name,
                                        char* reply, std::size_t reply_size, int timeout_ms);
