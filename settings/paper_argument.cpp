#include "settings/paper_argument.h"

#include <cstring>

#include "diag/log.h"
#include "paper/paper_table.h"
#include "settings/print_options.h"

void read_paper_argument(int argc, char** argv) {
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::strcmp(argv[i], "--paper-size") != 0) {
      continue;
    }
    ++i;  // The name is never read as another flag.
    if (const PaperConfig* paper = find_paper_by_name_or_label(argv[i])) {
      current_options.paper_config = paper;
      log_line("K905-1: Manual paper selection: %s (%s)", paper->ppd_name, paper->label);
    }
  }
}
