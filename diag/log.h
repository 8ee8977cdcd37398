// The diagnostic log: every line the filter writes about itself, on standard error.
//
// Under CUPS standard error is the scheduler's log, and CUPS obeys lines that begin with "PAGE:",
// "ATTR:" and the like. Job options, profile names and printer replies can carry line breaks, so no
// text may ever start a line of its own: log_line and log_text write CR and LF inside a line as
// blanks, here and nowhere else.
#pragma once

// Where the log goes when the filter is started by hand. Truncated at every start.
inline constexpr char kLogFilePath[] = "/tmp/rastertok905_debug.log";

// First thing the filter does. Without the environment variable PPD (a run by hand) the log goes to
// kLogFilePath, if that can be had; with PPD set, even to nothing, descriptor 2 is left alone. In
// both cases standard error and standard output become unbuffered.
void open_log();

// Empties the file at `path`, making it if need be, and puts descriptor 2 onto it. /tmp is
// everybody's: what somebody else planted there (a link of either kind, a FIFO, a device) is
// neither followed nor written to nor waited for. Then, or when there is no file to be had,
// descriptor 2 stays what it was, without a word. Part of open_log.
void put_log_into_file(const char* path);

// Writes one line, newline added, in one write where the system allows it. When the environment
// has CUPS_MAX_MESSAGE above 1, the line is cut to that many bytes, newline included, because CUPS
// takes what goes beyond for a new line. Every other byte is written unchanged, whatever the
// length.
[[gnu::format(printf, 1, 2)]] void log_line(const char* format, ...);

// The beginning of a line: what the next log_line says follows directly on it. The text counts
// towards the limit of that line. For the two places that leave a line open on purpose.
[[gnu::format(printf, 1, 2)]] void log_text(const char* format, ...);
