// Sends one sheet to the printer.
#pragma once

#include <array>
#include <cstdint>

// A sheet that is ready to be sent. Planes are width x height bytes, top row first, and remain
// owned by the caller. The first plane is sent as C, the second as M, the third as Y.
struct SheetToPrint {
  std::array<const std::uint8_t*, 3> planes{};
  std::int32_t width = 0;
  std::int32_t height = 0;
  const char* paper_name = "";  // PageSize choice; together with the size it decides the cut
  bool matte = false;
};

enum class SheetResult {
  kSent,        // every byte was written
  kIncomplete,  // a write failed (logged); the rest of the sequence was sent anyway
  kRefused,     // missing plane or a side outside 1..5000 (logged); nothing was written
};

// Writes one physical sheet to `descriptor`: Y, M and C plane, each as an IMAGE block and a
// grayscale BMP; then overcoat (matte only), cutter and start. After a failed write the rest of
// the sequence is still sent, so that the printer receives every part that can be written.
//
// The images are never assembled in memory: header and plane are written separately. Nothing is
// allocated, so no sheet can fail here for lack of memory.
[[nodiscard]] SheetResult send_sheet(int descriptor, const SheetToPrint& sheet);

// Sends one sheet of a job to standard output and syncs it. Reads ppd_paper_name and overcoat of
// current_options. Counts its calls for the log; every outcome is only logged.
void print_single_page_to_printer(const std::uint8_t* plane0, const std::uint8_t* plane1,
                                  const std::uint8_t* plane2, std::int32_t width,
                                  std::int32_t height);
