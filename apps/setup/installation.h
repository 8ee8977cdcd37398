// Where this installation and the programs of CUPS are.
#pragma once

#include <optional>
#include <string>

namespace k905 {

// CUPS' folder of filters and backends: CUPS_SERVERBIN, or the one under the prefix that this
// program is installed in.
[[nodiscard]] std::string server_folder();

// CUPS' folder of file types and models: CUPS_DATADIR, or the one under the same prefix.
[[nodiscard]] std::string data_folder();

// The command that installs a missing program again: the package's when it came with the package.
[[nodiscard]] std::string reinstall_advice();

// The scheme of a device URI; "" when it is none.
[[nodiscard]] std::string scheme_of(const std::string& device_uri);

// Why CUPS cannot send anything to this device at all (it is no URI, or the backend of its scheme
// is missing), or nothing.
[[nodiscard]] std::optional<std::string> why_not_usable(const std::string& device_uri);

}  // namespace k905
