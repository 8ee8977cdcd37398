// Papers by the names that users and other programs use.
#pragma once

#include <string>
#include <string_view>

#include "paper/paper_table.h"

// The paper of that many points, in either direction and with the usual differences between inches
// and centimeters (10 x 15 cm is the paper of 4 x 6 inches); null when there is none. Never one of
// those that are cut: their uncut paper has the same size.
[[nodiscard]] const PaperConfig* find_paper_by_true_size(double width_pt, double height_pt);

// The paper called `name`: its PageSize name, its label, or its size in inches or centimeters in
// either direction, such as "6x4", "4 x 6", "10x15", "4x6in", "102x152mm", "2x6*4". Null when there
// is none.
[[nodiscard]] const PaperConfig* find_paper_by_usual_name(std::string_view name);

// Whether `paper` is one that the printer cuts into several sheets.
[[nodiscard]] bool is_cut_paper(const PaperConfig& paper);

// `paper` cut into sheets of `cut`: "6x4", "6x2", or "None" for not at all; null when that cannot
// be. Paper that has the size already, or whose own name says how it is cut, stays what it is.
[[nodiscard]] const PaperConfig* cut_paper(const PaperConfig& paper, std::string_view cut);

// The uncut papers for an error message: "5x3.5 (9x13), 5x5 (13x13), ...".
[[nodiscard]] std::string usual_paper_names();
