// `--paper-size NAME`: a paper chosen by hand.
#pragma once

// Sets current_options.paper_config to the paper that `--paper-size` names by PPD name or label; of
// several the last known one wins, unknown names are passed over. To be called after
// read_job_arguments, which may have split an argument into its two.
void read_paper_argument(int argc, char** argv);
