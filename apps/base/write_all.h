// Writes all bytes to a descriptor.
#pragma once

#include <string_view>

// Continues after a signal and after a partial write. False with errno set if not everything was
// written; EIO if the system gave no reason.
[[nodiscard]] bool write_all(int descriptor, std::string_view bytes);
