// The job's settings: the option string in argv[5], key=value arguments and double-dash flags.
#pragma once

// Applies the option string and then every argument from index 1 to current_options; later ones
// win. Splits key=value arguments in place: their "=" becomes a NUL, so `--info=x` is `--info`
// afterwards. Unknown keys and flags are ignored. Logs "Parsing command line options:" first.
void read_job_arguments(int argc, char** argv);
