#include <cups/file.h>
#include <paths.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>

#include "apps/base/text.h"
#include "apps/setup/check.h"
#include "apps/setup/installation.h"

namespace k905 {

namespace {

bool exists(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

// CUPS does not run a program if a user other than root owns it or its folder, or can write to one
// of them: the job then waits indefinitely.
bool is_safe(const std::string& path, Findings& findings) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return false;
  }
  if (status.st_uid != 0) {
    findings.problem(
        path + " does not belong to root, so CUPS does not run it; jobs wait indefinitely",
        "chown root:root " + path);
    return false;
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    findings.problem(
        path +
            " can be written to by users other than root, so CUPS does not run it; jobs wait "
            "indefinitely",
        "chmod go-w " + path);
    return false;
  }
  return true;
}

bool can_be_run(const std::string& path, Findings& findings) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    findings.problem(path + " is missing", reinstall_advice());
    return false;
  }
  if (!is_safe(path, findings) || !is_safe(path.substr(0, path.rfind('/')), findings)) {
    return false;
  }
  if ((status.st_mode & S_IXOTH) == 0) {
    findings.problem(path + " cannot be executed by the user that CUPS runs filters as",
                     "chmod 755 " + path);
    return false;
  }
  return true;
}

// Without PATH, cupsFileFind() would search the current folder only; programs are started with the
// default path of the C library.
bool is_on_path(const char* program) {
  const char* folders = std::getenv("PATH");
  std::array<char, 1024> found{};
  return cupsFileFind(program, folders == nullptr ? _PATH_DEFPATH : folders, 1, found.data(),
                      found.size()) != nullptr;
}

void check_filter(const std::string& path, const char* files, Findings& findings) {
  if (!exists(path)) {
    findings.problem("the filter " + path.substr(path.rfind('/') + 1) + " is missing, so " + files +
                         " do not print",
                     "apt-get install cups-filters");
  }
}

// The filters that convert photos and documents to raster; `universal` replaces them all.
void check_other_filters(const std::string& filters, Findings& findings) {
  const int before = findings.problems();
  if (!exists(filters + "/universal")) {
    check_filter(filters + "/imagetoraster", "JPEG and PNG files", findings);
    check_filter(filters + "/pdftopdf", "PDF files and desktop programs", findings);
    const bool has_gstoraster = exists(filters + "/gstoraster");
    if (has_gstoraster && !is_on_path("gs")) {
      findings.problem("gstoraster needs Ghostscript, so PDF files do not print",
                       "apt-get install ghostscript");
    }
    if (!has_gstoraster && !exists(filters + "/pdftoraster") &&
        !exists(filters + "/mupdftoraster")) {
      findings.problem(
          "gstoraster, pdftoraster and mupdftoraster are missing, so PDF files do not print",
          "apt-get install cups-filters ghostscript");
    }
  }
  if (findings.problems() == before) {
    findings.ok("the filters that run before rastertok905 are present");
  }
}

// The filter that prints photo files directly, and the files by which CUPS selects it. A queue
// prints without them: photos then go through the filters of CUPS.
void check_photo_filter(const std::string& filters, Findings& findings) {
  const std::string types = data_folder() + "/mime/";
  const std::array<std::string, 3> parts{filters + "/phototok905", types + "k905-photo.types",
                                         types + "k905-photo.convs"};
  std::string missing;
  for (const std::string& part : parts) {
    if (!exists(part)) {
      append_to_list(missing, part);
    }
  }
  const bool has_filter = exists(parts.front());
  if (!missing.empty()) {
    findings.note((has_filter ? "the photo filter is incomplete (" + missing + " is missing)"
                              : std::string("the photo filter phototok905 is not installed")) +
                      ", so photos print through the filters of CUPS: slower, without their color "
                      "profile and orientation, and only JPEG, PNG and TIFF",
                  reinstall_advice("k905-print") + ", then systemctl restart cups");
  }
  if (has_filter && can_be_run(parts.front(), findings) && missing.empty()) {
    findings.ok("photos are printed directly by phototok905");
  }
}

}  // namespace

void check_programs(Findings& findings) {
  const std::string filters = server_folder() + "/filter";
  if (can_be_run(filters + "/rastertok905", findings) &&
      can_be_run(filters + "/rastertok905job", findings)) {
    findings.ok("CUPS can run rastertok905 and rastertok905job");
  }
  // Only root may execute the backend, and only queues that use it need it.
  (void)is_safe(server_folder() + "/backend/k905", findings);
  check_other_filters(filters, findings);
  check_photo_filter(filters, findings);
}

}  // namespace k905
