#include "fzn/FznOptions.h"

#include <charconv>
#include <stdexcept>

const char* const kFznUsage =
    "usage: fzn-nuvfd [options] model.fzn\n"
    "  -a, --all-solutions   print every solution (every improving one when optimising)\n"
    "  -i                    print improving solutions when optimising\n"
    "  -n N                  stop after N solutions (satisfaction problems, with -a too)\n"
    "  -s, --statistics      print statistics as %%%mzn-stat lines\n"
    "  -f                    ignore the model's search annotations\n"
    "  -t MS                 time limit in milliseconds\n"
    "  --nodes N, --fails N  node and failure limits\n"
    "  -r N, --seed N        random seed for indomain_random\n"
    "  -p N                  threads (accepted; nuvfd searches on one)\n"
    "  -v                    verbose: progress on stderr\n"
    "  --version, -h/--help\n";

namespace {

std::int64_t number(const std::vector<std::string>& args, std::size_t& i, const std::string& flag) {
  if (i + 1 >= args.size()) throw std::invalid_argument("option " + flag + " needs a value");
  const std::string& s = args[++i];
  std::int64_t v = 0;
  auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || p != s.data() + s.size() || v < 0)
    throw std::invalid_argument("option " + flag + " needs a non-negative integer, got '" + s +
                                "'");
  return v;
}

}  // namespace

FznOptions fznParseOptions(const std::vector<std::string>& args) {
  FznOptions o;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "-a" || a == "--all-solutions" || a == "--all") {
      o.allSolutions = true;
    } else if (a == "-i" || a == "--intermediate") {
      o.intermediate = true;
    } else if (a == "-n" || a == "--num-solutions") {
      o.solutions = number(args, i, a);
    } else if (a == "-s" || a == "--statistics") {
      o.stats = true;
    } else if (a == "-f" || a == "--free-search") {
      o.freeSearch = true;
    } else if (a == "-t" || a == "--time-limit" || a == "--solver-time-limit") {
      o.timeLimitMs = number(args, i, a);
    } else if (a == "--nodes") {
      o.nodeLimit = number(args, i, a);
    } else if (a == "--fails") {
      o.failLimit = number(args, i, a);
    } else if (a == "-r" || a == "--seed" || a == "--random-seed") {
      o.seed = static_cast<std::uint64_t>(number(args, i, a));
    } else if (a == "-p" || a == "--parallel") {
      o.threads = static_cast<int>(number(args, i, a));
    } else if (a == "-v" || a == "--verbose") {
      o.verbose = true;
    } else if (a == "-h" || a == "--help") {
      o.help = true;
    } else if (a == "--version") {
      o.version = true;
    } else if (!a.empty() && a[0] == '-') {
      throw std::invalid_argument("unknown option '" + a + "'");
    } else if (o.file.empty()) {
      o.file = a;
    } else {
      throw std::invalid_argument("more than one model file ('" + o.file + "' and '" + a + "')");
    }
  }
  if (o.file.empty() && !o.help && !o.version) throw std::invalid_argument("no model file given");
  return o;
}
