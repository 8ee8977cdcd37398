// Papers by the names that users and other programs use.
#pragma once

#include <string>
#include <string_view>

#include "paper/paper_table.h"

// The paper of this size in points, in either orientation. Tolerates the usual rounding between
// inches and centimeters (10 x 15 cm is the paper of 4 x 6 inches). Null if there is none. Never
// returns a cut paper, because its uncut paper has the same size.
[[nodiscard]] const PaperConfig* find_paper_by_physical_size(double width_pt, double height_pt);

// The paper called `name`: its PageSize name, its label, or its size in inches or centimeters in
// either orientation, such as "6x4", "4 x 6", "10x15", "4x6in", "102x152mm", "2x6*4". Null when
// there is none.
[[nodiscard]] const PaperConfig* find_paper_by_usual_name(std::string_view name);

// Whether `paper` is one that the printer cuts into several sheets.
[[nodiscard]] bool is_cut_paper(const PaperConfig& paper);

// The variant of `paper` that is cut into sheets of `cut`: "6x4", "6x2", or "None" for uncut. Null
// if there is none. A paper that already has this size, or that is itself a cut variant, is
// returned unchanged.
[[nodiscard]] const PaperConfig* find_cut_variant(const PaperConfig& paper, std::string_view cut);

// The uncut papers for an error message: "5x3.5 (9x13), 5x5 (13x13), ...".
[[nodiscard]] std::string usual_paper_names();
