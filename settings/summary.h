// The configuration summary of the log.
#pragma once

// Logs "Current configuration summary:" and what current_options holds. Called once, after every
// source of settings was read and before the mode is chosen.
void print_configuration_summary();
