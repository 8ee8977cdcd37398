// k905: the backend of the print system that sends sheets to the printer. Without arguments it
// lists the connected printers; with a job's arguments it prints the stream on standard input.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "apps/backend/job_record.h"
#include "apps/backend/job_runner.h"
#include "apps/backend/messages.h"
#include "apps/backend/process.h"
#include "apps/backend/side_channel.h"
#include "apps/base/cups_handles.h"
#include "device/printer_address.h"
#include "device/usb_printers.h"
#include "diag/standard_descriptors.h"

namespace k905::backend {

namespace {

struct Job {
  JobOptions options;
  int input = STDIN_FILENO;
  int copies = 1;
};

std::string quoted(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '"' || c == '\\' || c < ' '; }, '_');
  return "\"" + text + "\"";
}

int list_printers() {
  for (const UsbPrinter& printer : connected_usb_printers()) {
    const std::string uri =
        printer.serial.empty() ? "k905:" + printer.path : usb_device_uri(printer.serial);
    const std::string name = "K905 " + (printer.serial.empty() ? printer.path : printer.serial);
    std::printf("direct %s %s %s %s %s\n", uri.c_str(), quoted(printer.model).c_str(),
                quoted(name).c_str(), quoted(printer.device_id).c_str(), quoted("").c_str());
  }
  // For programs in which users enter the address of a printer.
  std::printf("network k905 \"Unknown\" \"K905 photo printer on the network\" \"\" \"\"\n");
  return kDone;
}

int number_or(const char* text, int fallback) {
  int number = fallback;
  const char* end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, number);
  return error == std::errc{} && stop == end ? number : fallback;
}

// Reads the number and the identity of the job, and when the scheduler last ended it. CUPS reuses
// job numbers after the spool has been emptied; job-uuid is unique.
void read_job_options(char** argv, JobOptions& job) {
  const CupsOptions options(argv[5]);
  job.number = number_or(argv[1], 0);
  job.identity = options.value("job-uuid");
  if (job.identity.empty()) {
    job.identity = std::string(argv[2]) + " " + argv[3];
  } else {
    job.ended = number_or(options.value("time-at-completed").c_str(), 0);
  }
}

void prepare_signals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGCHLD, SIG_DFL);
  const sigset_t signals = awaited_signals();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
}

void open_record_folder(RecordFolder& records, const Account& account) {
  const char* cache = std::getenv("CUPS_CACHEDIR");
  if (cache == nullptr) {
    debug("CUPS_CACHEDIR is not set: an interrupted job starts again at its first sheet");
    return;
  }
  const std::string folder = std::string(cache) + "/k905";
  if (const int failure = records.open(folder, account.user, account.group)) {
    warn(folder + ": " + std::strerror(failure) +
         ". An interrupted job starts again at its first sheet");
  }
}

int print_job(const Job& job, const Account& account, int pipe_end) {
  StopRequest stop(pipe_end);
  RecordFolder records;
  open_record_folder(records, account);
  SheetSource source(job.input, job.copies);
  JobRunner runner(job.options, source, records, stop, [&account] {
    if (!drop_privileges(account)) {
      error(std::string("Cannot drop root privileges: ") + std::strerror(errno));
      _exit(kStopQueue);
    }
  });
  return runner.run();
}

// False with a message when the arguments are not those of a job.
bool read_arguments(int argc, char** argv, Job& job) {
  if (argc != 6 && argc != 7) {
    std::fprintf(stderr, "usage: k905 job user title copies options [file]\n");
    return false;
  }
  const char* device = std::getenv("DEVICE_URI");
  const std::string uri = device != nullptr ? device : argv[0];
  const std::optional<PrinterAddress> address = parse_device_uri(uri);
  if (!address) {
    error("The device must be k905://usb/SERIAL, k905:/dev/usb/lp0 or k905://HOST:PORT");
    return false;
  }
  PrinterSession::Setup& printer = job.options.printer;
  printer.address = *address;
  read_job_options(argv, job.options);
  if (const auto settle = device_uri_option(uri, "settle")) {
    printer.settle = std::chrono::seconds(std::clamp(number_or(settle->c_str(), 5), 1, 600));
  }
  printer.check_media = device_uri_option(uri, "check-media") != "no";
  if (argc == 7) {
    job.copies = std::max(1, number_or(argv[4], 1));
    job.input = open(argv[6], O_RDONLY | O_CLOEXEC);
    if (job.input < 0) {
      error(std::string(argv[6]) + ": " + std::strerror(errno));
      return false;
    }
  }
  return true;
}

int run_backend(int argc, char** argv) {
  if (argc == 1) {
    return list_printers();
  }
  Job job;
  job.options.side_channel = find_side_channel();
  if (!read_arguments(argc, argv, job)) {
    return kStopQueue;
  }
  const Account account = print_account();
  return run_detached(account, [&](int pipe_end) { return print_job(job, account, pipe_end); });
}

}  // namespace

}  // namespace k905::backend

int main(int argc, char** argv) {
  reserve_standard_descriptors();
  k905::backend::prepare_signals();
  try {
    return k905::backend::run_backend(argc, argv);
  } catch (const std::exception& failure) {
    k905::backend::error(failure.what());
    return k905::backend::kTryAgain;
  }
}
