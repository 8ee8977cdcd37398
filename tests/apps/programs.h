// Runs the programs as child processes and reads their output.
#pragma once

#include <string>
#include <vector>

#include "apps/image/picture.h"
#include "tests/support/child_process.h"
#include "tests/support/raster_builder.h"

// Runs a program of the build in `folder`.
ChildResult run_program(const ScratchFolder& folder, const std::string& program,
                        const std::vector<std::string>& arguments, const std::string& input = "");

ChildResult preview(const ScratchFolder& folder, const std::vector<std::string>& arguments,
                    const std::string& input = "");

// As run_program(), with standard error on a terminal; returns the text that was written there.
// Standard output is discarded.
std::string run_on_terminal(const ScratchFolder& folder, const std::string& program,
                            const std::vector<std::string>& arguments);

// The pages of a raster stream as libcups reads them.
std::vector<RasterPage> raster_pages(const std::string& stream);

// A picture file of the folder; fails the test when it cannot be read.
k905::Picture picture_in(const ScratchFolder& folder, const std::string& name);
