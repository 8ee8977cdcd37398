// Bytes into a descriptor, all of them.
#pragma once

#include <string_view>

// Goes on after a signal and after a write that took a part. False with errno set when not
// everything was taken; EIO where the system gave no reason.
[[nodiscard]] bool write_whole(int descriptor, std::string_view bytes);
