// k905-preview: shows what the printer would print from a stream, without using paper.
#include "devtools/preview/preview.h"

namespace {

void describe_options(CLI::App& app, PreviewOptions& options) {
  app.add_option("STREAM", options.files,
                 "files with output of the filter; \"-\" or no file means standard input");
  auto* output = app.add_option("-o,--output", options.output,
                                "name of the images: a name that ends in \".png\" is used for the "
                                "first sheet, and later sheets get \"-2\", \"-3\" before the "
                                "ending; any other name gets \"-1.png\", \"-2.png\" appended")
                     ->capture_default_str();
  app.add_option(
         "-w,--width", options.width,
         "width of the images in pixels; the default is 300 per inch of the paper, and 480 pixels "
         "with --contact")
      ->check(CLI::Range(1, 5000));
  auto* contact = app.add_option(
      "--contact", options.contact,
      "write all sheets to this one PNG file, numbered; a file may then also be a photo (JPEG, "
      "PNG, ...), and CAPTION=FILE sets its caption");
  app.add_option("-c,--columns", options.columns, "with --contact: number of images in a row")
      ->needs(contact)
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  auto* proof = app.add_option("--proof", options.proof,
                               "convert the colors from this profile of the printer to sRGB "
                               "(relative colorimetric); a file, "
                               "or a name that the filter finds in its folders");
  auto* canvas = app.add_flag(
      "--canvas", options.canvas,
      "show every pixel that is sent to the printer, including the margins outside the paper");
  app.add_flag("--raw", options.raw,
               "as --canvas, but mirrored, as the sheet is sent to the printer")
      ->excludes(canvas);
  auto* check = app.add_flag("--check", options.check, "only check the stream; write no images");
  app.add_flag("--dump", options.dump,
               "print every block and field instead of one line for each sheet");
  contact->excludes(output)->excludes(check);
  proof->excludes(check);
}

int preview_program(int argc, char** argv) {
  CLI::App app("Checks a printer stream and shows its sheets as images.", "k905-preview");
  PreviewOptions options;
  describe_options(app, options);
  const auto status = parse_command_line(app, argc, argv);
  return status ? *status : show_files(app, options);
}

}  // namespace

int main(int argc, char** argv) {
  return guarded_main("k905-preview", preview_program, argc, argv);
}
