// Two 6x4 pages on one 6x8 sheet: an odd page waits for the even page, which is placed below it.
// Once the job is canceled, none of these functions prints a sheet.
#pragma once

#include <cstdint>

#include "pipeline/planes.h"

// Whether the job's pages are merged in pairs: "6x8" ribbon and 6x4 paper. Logs the decision.
[[nodiscard]] bool decide_merge_mode();

// Holds an odd page; a page that is still held is printed by itself first. The caller owns `sheet`
// and must not change or free it while it is held.
void store_odd_page(const SheetImage& sheet, int page_number);
[[nodiscard]] bool is_held(const SheetImage& sheet);

// Merges an even page with the held one, or prints it by itself if none is held. If the two cannot
// be merged, both are printed by themselves, the held one first. Afterwards no page is held.
void merge_even_page(const SheetImage& sheet, int page_number);

// The end of the job: prints a page that is still held.
void print_held_page();

// For the end of a canceled job: drops a held page without printing it.
void drop_held_page();

// Puts `top` above `bottom` on one sheet and prints it. The size of `top` sets the layout for both:
// a smaller `bottom` is padded with white, a larger one is cropped. Returns false, logged, if a
// plane is missing, the size is empty or wider than the sheet, or there is no memory; nothing is
// printed then.
[[nodiscard]] bool merge_two_up(const SheetImage& top, const SheetImage& bottom);
