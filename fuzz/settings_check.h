// Compares the resulting settings of a queue and a job with the reference.
#pragma once

#include <string_view>

#include "tests/support/reference_state.h"

// Every text of current_options is terminated, every switch is 0 or 1, the paper is a row of the
// table.
void expect_valid_settings();

// current_options and the log equal those of the reference for the same texts.
void expect_like(const reference::PlainFilter& plain, std::string_view log);
