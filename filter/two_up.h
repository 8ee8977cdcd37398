// Two 6x4 pages on one 6x8 sheet: odd pages wait for the even page that goes under them. Once the
// job is cancelled nothing is printed here, whoever asks.
#pragma once

#include <cstdint>

#include "pipeline/planes.h"

// Whether the job's sheets are paired: a "6x8" ribbon and a paper of 6x4 size. Logs the decision.
[[nodiscard]] bool decide_merge_mode();

// An odd page is held back; a page that was still held is printed by itself first.
void store_odd_page(PlaneSet planes, std::int32_t width, std::int32_t height, int page_number);

// An even page goes under the held one, or is printed by itself when none is held. When the two
// cannot be merged both are printed by themselves, the held one first.
void merge_even_page(PlaneSet planes, std::int32_t width, std::int32_t height, int page_number);

// The end of the job: prints a page that is still held.
void print_held_page();

// The end of a cancelled job: lets a held page go unprinted.
void drop_held_page();

// A page for merge_two_up: three planes of width x height bytes, the caller's.
struct PageImage {
  const std::uint8_t* plane[3];
  std::int32_t width;
  std::int32_t height;
};

// Puts `top` over `bottom` on one sheet and prints it. The size of `top` sets the layout for both;
// what `bottom` does not have of it stays white, what it has beyond is left out. False when a plane
// is missing, the size is empty or wider than the sheet, or memory is short (logged); nothing is
// printed then.
[[nodiscard]] bool merge_two_up(const PageImage& top, const PageImage& bottom);
