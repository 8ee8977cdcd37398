// Two 6x4 pages on one 6x8 sheet: odd pages wait for the even page that goes under them.
#pragma once

#include <cstdint>

#include "pipeline/plane_set.h"

// Whether the job's sheets are paired: a "6x8" ribbon and a paper of 6x4 size. Logs the decision.
[[nodiscard]] bool decide_merge_mode();

// An odd page is held back; a page that was still held is printed by itself first.
void store_odd_page(PlaneSet planes, std::int32_t width, std::int32_t height, int page_number);

// An even page goes under the held one, or is printed by itself when none is held. When the two cannot
// be merged both are printed by themselves, the held one first.
void merge_even_page(PlaneSet planes, std::int32_t width, std::int32_t height, int page_number);

// The end of the job: prints a page that is still held.
void print_held_page();

// The end of a cancelled job: lets a held page go unprinted.
void drop_held_page();
