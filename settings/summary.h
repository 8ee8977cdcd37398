// The configuration summary in the log.
#pragma once

// Logs "Current configuration summary:" and the values of current_options. Called once, after all
// sources of settings were read and before the mode is chosen.
void print_configuration_summary();
