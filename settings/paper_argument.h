// `--paper-size NAME`: a paper chosen by hand.
#pragma once

// Sets current_options.paper_config to the paper that `--paper-size` names by PPD name or label.
// The last known name wins; unknown names are ignored. Call it after read_job_arguments, which cuts
// `--paper-size=NAME` to `--paper-size`: the name is then the next argument.
void read_paper_argument(int argc, char** argv);
