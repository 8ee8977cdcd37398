// What the user may choose about a print, by the keywords and names of the queue's PPD file.
#pragma once

#include <map>
#include <string>

// Keyword to choice.
using Choices = std::map<std::string, std::string>;

// Whether the table of options (the papers included) has that choice, written exactly so. Any file
// name without blanks will do for ICCProfile. Otherwise `error` says what is wrong and what there
// is.
[[nodiscard]] bool check_choice(const std::string& keyword, const std::string& choice,
                                std::string& error);

// The PageSize name of a paper: by PageSize name, by label, or by its sides in inches or
// centimeters in either order, such as 4x6, 6x4in, "6 x 4", 10x15cm or 2x6*4. "" when there is
// none.
[[nodiscard]] std::string page_size_name(const std::string& paper);

// The error for a name that is none of these: what was given, and the papers there are.
[[nodiscard]] std::string unknown_paper(const std::string& paper);

// Lets PageSize name the paper that K905Cut makes of it. False with `error` when it cannot be cut
// so.
[[nodiscard]] bool apply_cut(Choices& choices, std::string& error);

// All options of the table with their defaults.
[[nodiscard]] Choices default_choices();

// The names of an option's choices, ", " between them; for help and errors.
[[nodiscard]] std::string names_of_choices(const std::string& keyword);
