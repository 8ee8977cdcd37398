// Prints the pages of a raster stream, with their copies.
#pragma once

// Prints the raster stream on descriptor 0. Returns the exit status: 0 for every finished job,
// whatever failed inside it; 1 when the stream cannot be opened.
[[nodiscard]] int run_raster_job();
