// Two 6x4 pages on one 6x8 sheet: odd pages wait for the even page that goes under them. Once the
// job is canceled nothing is printed here, whoever asks.
#pragma once

#include <cstdint>

#include "pipeline/planes.h"

// Whether the job's sheets are paired: a "6x8" ribbon and a paper of 6x4 size. Logs the decision.
[[nodiscard]] bool decide_merge_mode();

// An odd page is held back; a page that is still held is printed by itself first. `sheet` stays the
// caller's, alive and unchanged while it is held.
void store_odd_page(const SheetImage& sheet, int page_number);
[[nodiscard]] bool is_held(const SheetImage& sheet);

// An even page goes under the held one, or is printed by itself when none is held. When the two
// cannot be merged both are printed by themselves, the held one first. Then no page is held.
void merge_even_page(const SheetImage& sheet, int page_number);

// The end of the job: prints a page that is still held.
void print_held_page();

// For the end of a canceled job: drops a held page without printing it.
void drop_held_page();

// Puts `top` over `bottom` on one sheet and prints it. The size of `top` sets the layout for both;
// what `bottom` does not have of it stays white, what it has beyond is left out. False when a plane
// is missing, the size is empty or wider than the sheet, or memory is short (logged); nothing is
// printed then.
[[nodiscard]] bool merge_two_up(const SheetImage& top, const SheetImage& bottom);
