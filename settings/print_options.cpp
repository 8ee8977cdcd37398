#include "settings/print_options.h"

#include "paper/paper_table.h"

constinit PrintOptions current_options{.paper_config = &paper_sizes.back()};
