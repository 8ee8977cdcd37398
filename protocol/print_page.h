// One sheet to the printer.
#pragma once

#include <cstdint>

// Sends one physical sheet to standard output: the third plane as Y, the second as M, the first as
// C, each as an IMAGE block and a greyscale BMP; then overcoat (matte only), cutter and start.
// Planes are width x height bytes, top row first, and stay the caller's. Reads ppd_paper_name and
// overcoat of current_options.
//
// The images are never put together in memory: header and plane are written one behind the other.
// Nothing is allocated, so no sheet can fail for want of memory here.
//
// Missing planes and sides outside 1..5000 are logged and send nothing. A write that fails is
// logged and the sequence goes on, so that the printer always gets a complete one.
void print_single_page_to_printer(const std::uint8_t* plane0, const std::uint8_t* plane1,
                                  const std::uint8_t* plane2, std::int32_t width,
                                  std::int32_t height);
