// `--info`: reports the state of the printer.
#pragma once

inline constexpr char kDefaultDevice[] = "/dev/usb/lp0";

// Opens the device, asks every question and writes the report to standard output, lines ending in
// CR LF. Returns the exit status: 0 after the report, 1 when the device cannot be opened (logged).
// A question that fails leaves its text empty and its counter -1; the report is always complete.
[[nodiscard]] int query_printer_info(const char* device_path);
