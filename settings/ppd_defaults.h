// The queue's settings: the default choices of its PPD file. The only file that knows libcups' PPD
// interface is ppd_defaults.cpp.
#pragma once

// Reads the PPD named by the environment variable PPD and fills current_options from the default
// choice of each known option, logging every group, option and result. A missing variable or an
// unreadable file is logged and leaves the defaults in place.
void read_ppd_defaults();
