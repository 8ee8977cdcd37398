// `--paper-size NAME`: a paper selected on the command line.
#pragma once

// Sets current_options.paper_config to the paper that `--paper-size` names by PPD name or label.
// The last name that is known wins; unknown names are ignored. Call it after read_job_arguments,
// which shortens `--paper-size=NAME` to `--paper-size`: NAME is then lost, and the next argument is
// used as the name.
void read_paper_argument(int argc, char** argv);
