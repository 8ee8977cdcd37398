// k905-preview: what the printer would have made of a stream, without spending a sheet of paper.
#include "devtools/preview/preview.h"

namespace {

void describe_options(CLI::App& app, PreviewOptions& options) {
  app.add_option("STREAM", options.files,
                 "files that hold what the filter sent to the printer; \"-\", or none at all, is "
                 "standard input");
  auto* output = app.add_option("-o,--output", options.output,
                                "beginning of the pictures' names: a \"-\", the sheet's number and "
                                "\".png\" follow")
                     ->capture_default_str();
  app.add_option(
         "-w,--width", options.width,
         "make the pictures this many pixels wide; without it they have 300 pixels for each "
         "inch of the paper, and with --contact they are 480 pixels wide")
      ->check(CLI::Range(1, 5000));
  auto* contact = app.add_option(
      "--contact", options.contact,
      "put all sheets on this one PNG file, each with its number; a file may then also be a "
      "photo (JPEG, PNG, ...), and CAPTION=FILE names it");
  app.add_option("-c,--columns", options.columns, "with --contact: sheets side by side")
      ->needs(contact)
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  auto* proof = app.add_option(
      "--proof", options.proof,
      "show the sheets as this profile of the printer says that they come out, in the colors of "
      "an sRGB screen (relative colorimetric); a file, or a name the filter would find");
  auto* canvas = app.add_flag(
      "--canvas", options.canvas,
      "show every pixel that the printer gets, with the margins beyond the paper's edges");
  app.add_flag("--raw", options.raw, "the same, mirrored as the printer gets it")->excludes(canvas);
  auto* check = app.add_flag("--check", options.check, "only check the stream, write no pictures");
  app.add_flag("--dump", options.dump, "show every block and field instead of one line a sheet");
  contact->excludes(output)->excludes(check);
  proof->excludes(check);
}

int preview_program(int argc, char** argv) {
  CLI::App app("Checks a printer stream and shows its sheets as pictures.", "k905-preview");
  PreviewOptions options;
  describe_options(app, options);
  const auto status = parse_command_line(app, argc, argv);
  return status ? *status : show_files(app, options);
}

}  // namespace

int main(int argc, char** argv) {
  return guarded_main("k905-preview", preview_program, argc, argv);
}
