// Reads FlatZinc files and reports the reading time and throughput; used to
// check that reading stays linear on large inputs (bench/gen_fzn.py writes them).
#include <chrono>
#include <filesystem>
#include <iostream>

#include "fzn/FznParser.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: fzn_parse_bench FILE.fzn...\n";
    return 2;
  }
  for (int i = 1; i < argc; ++i) {
    auto start = std::chrono::steady_clock::now();
    try {
      FznModel model = parseFznFile(argv[i]);
      double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      double mb = static_cast<double>(std::filesystem::file_size(argv[i])) / 1e6;
      std::cout << argv[i] << ": " << mb << " MB, " << model.decls.size() << " declarations, "
                << model.constraints.size() << " constraints, " << seconds << " s, "
                << mb / seconds << " MB/s\n";
    } catch (const PimError& e) {
      std::cerr << e.what() << '\n';
      return 1;
    }
  }
  return 0;
}
