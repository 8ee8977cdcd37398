// The folders of this installation and of CUPS.
#pragma once

#include <optional>
#include <string>

namespace k905 {

// The folder of CUPS filters and backends: CUPS_SERVERBIN, or the one in the prefix of this
// program.
[[nodiscard]] std::string server_folder();

// CUPS' folder of file types and models: CUPS_DATADIR, or the one under the same prefix.
[[nodiscard]] std::string data_folder();

// The command that installs a missing program again: from `package` if this program was installed
// from a package, otherwise from the build folder.
[[nodiscard]] std::string reinstall_advice(const std::string& package = "rastertok905");

// The scheme of a device URI; "" for other texts.
[[nodiscard]] std::string scheme_of(const std::string& device_uri);

// Why CUPS cannot send anything to this device (the address is not a URI, or the backend for its
// scheme is missing), or nothing.
[[nodiscard]] std::optional<std::string> find_uri_problem(const std::string& device_uri);

}  // namespace k905
