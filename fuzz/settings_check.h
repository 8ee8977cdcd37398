// The settings that a queue and a job end up with, against the plain reference.
#pragma once

#include <string_view>

#include "tests/support/reference_state.h"

// Every text of current_options is ended, every switch 0 or 1, the paper a row of the table.
void expect_whole_record();

// current_options and the log are what the plain reference makes of the same texts.
void expect_like(const reference::PlainFilter& plain, std::string_view log);
