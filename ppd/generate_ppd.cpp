// Writes the PPD file of each model into a folder: `generate_ppd VERSION FOLDER`. Part of the
// build, so that a queue offers exactly the papers and options of the filter.
#include <fstream>
#include <iostream>
#include <string>

#include "ppd/ppd_text.h"

namespace {

bool write_file(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  return !out.fail();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: generate_ppd VERSION FOLDER\n";
    return 2;
  }
  for (const ppd::Model& model : ppd::models) {
    const std::string path = std::string(argv[2]) + "/" + model.name + ".ppd";
    if (!write_file(path, ppd::ppd_text(model, argv[1]))) {
      std::cerr << "generate_ppd: cannot write " << path << "\n";
      return 1;
    }
  }
  return 0;
}
