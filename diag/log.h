// The diagnostic log: every line the filter writes about itself, on standard error.
//
// Under CUPS standard error is the scheduler's log, and CUPS interprets lines that begin with
// "PAGE:", "ATTR:" and the like. Job options, profile names and printer replies can contain line
// breaks, so only log_line may start a line: CR and LF inside a line are replaced with blanks, here
// and nowhere else.
#pragma once

// Where the log goes when the filter is started by hand. Truncated at every start.
inline constexpr char kLogFilePath[] = "/tmp/rastertok905_debug.log";

// Must be called before the first log_line. Without the environment variable PPD (a run by hand)
// the log goes to kLogFilePath, if that can be opened; with PPD set, even to an empty value,
// descriptor 2 is unchanged. In both cases standard error and standard output become unbuffered.
void open_log();

// Opens the file at `path` with open_plain_file, which creates or truncates it, and makes
// descriptor 2 refer to it. If the file is refused or cannot be opened, descriptor 2 is unchanged
// and nothing is logged. Part of open_log.
void redirect_log_to_file(const char* path);

// Writes one line, newline added, in one write where the system allows it. When the environment has
// CUPS_MAX_MESSAGE above 1, the line is cut to that many bytes, newline included, because CUPS
// reads the excess as a new line. All other bytes are written unchanged, whatever the length.
[[gnu::format(printf, 1, 2)]] void log_line(const char* format, ...);

// Stores the beginning of a line; the text of the next log_line follows it directly. It counts
// towards the limit of that line. Used where a line is deliberately left unfinished.
[[gnu::format(printf, 1, 2)]] void log_text(const char* format, ...);
