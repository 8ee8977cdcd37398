// Which keyword sets which option, and how. One set of rules for the PPD's default choices and for
// key=value arguments, so that `StpGamma=1200` means the same wherever it is written. The keywords
// ICCProfile and ColorBase, which search for profile files, are handled elsewhere.
#pragma once

#include <span>

#include "settings/print_options.h"

enum class OptionSource { ppd, argument };

// Applies the rule for `keyword` to current_options and returns whether there was one; keywords
// that only a PPD may set have none when the source is an argument. Logs the result of every PPD
// option, and that of a bleed from either source.
bool apply_option(OptionSource source, const char* keyword, const char* value);

// A text field of current_options, of any capacity, as a function that a table can point to.
template <auto Field>
std::span<char> text_field() {
  return current_options.*Field;
}
