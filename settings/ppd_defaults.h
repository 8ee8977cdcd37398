// The queue's settings: the default choices of its PPD file. In the filter, only ppd_defaults.cpp
// uses the PPD interface of libcups.
#pragma once

struct ppd_file_s;  // libcups' ppd_file_t

// Reads the PPD named by the environment variable PPD and fills current_options from the default
// choice of each known option, logging every group, option and result. A missing variable or an
// unreadable file is logged and leaves the defaults in place.
void read_ppd_defaults();

// Logs and applies the options that are directly in the groups of an opened PPD, in file order.
// Sub-groups are ignored; libcups moves their options into the group when it reads a file. Part of
// read_ppd_defaults.
void apply_ppd_groups(const ppd_file_s& ppd);
