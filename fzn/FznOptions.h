// Command line of fzn-nuvfd, in the flags MiniZinc forwards to a FlatZinc
// solver.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct FznOptions {
  std::string file;
  bool allSolutions = false;   // -a: every solution, or every improving one
  bool intermediate = false;   // -i: print improving solutions
  std::int64_t solutions = -1;  // -n N (satisfaction); 0 = no limit; -1: not given
  bool stats = false;          // -s
  bool freeSearch = false;     // -f: the solver's own search
  std::int64_t timeLimitMs = 0;  // -t ms; 0 = none
  std::int64_t nodeLimit = 0;    // --nodes N
  std::int64_t failLimit = 0;    // --fails N
  std::uint64_t seed = 0;        // -r N
  int threads = 1;               // -p N (accepted; one thread)
  bool verbose = false;          // -v
  bool help = false;
  bool version = false;
};

// Parses argv; throws std::invalid_argument with a message naming the flag.
FznOptions fznParseOptions(const std::vector<std::string>& args);
extern const char* const kFznUsage;
