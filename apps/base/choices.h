// The options of a print job, by the keywords and choices of the queue's PPD file.
#pragma once

#include <map>
#include <string>

// From keyword to choice.
using Choices = std::map<std::string, std::string>;

// Whether the table of options (including the papers) has this choice, spelled exactly so.
// ICCProfile accepts any file name without spaces, quotes, backslashes and control characters.
// Otherwise `error` says what is wrong and lists the known names.
[[nodiscard]] bool check_choice(const std::string& keyword, const std::string& choice,
                                std::string& error);

// The PageSize name of a paper: by PageSize name, by label, or by its sides in inches or
// centimeters in either order, such as 4x6, 6x4in, "6 x 4", 10x15cm or 2x6*4. Empty for an unknown
// paper.
[[nodiscard]] std::string page_size_name(const std::string& paper);

// The error message for an unknown paper: the name that was given, and the known papers.
[[nodiscard]] std::string unknown_paper(const std::string& paper);

// Sets PageSize to the variant of the paper that K905Cut selects. False with `error` if the paper
// cannot be cut this way.
[[nodiscard]] bool apply_cut(Choices& choices, std::string& error);

// All options of the table with their defaults.
[[nodiscard]] Choices default_choices();

// The names of an option's choices, separated by ", "; for help and errors.
[[nodiscard]] std::string names_of_choices(const std::string& keyword);
