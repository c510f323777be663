// Solutions and statistics in the FlatZinc output conventions.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "fzn/FznBuilder.h"

// One line per output item ("x = 3;", "b = true;",
// "a = array2d(1..2, 0..1, [1, 2, 2, 3]);"), then "----------". Every
// variable printed must be bound.
void fznPrintSolution(std::ostream& os, const std::vector<FznOutputItem>& items);
// The values fznPrintSolution would print, in its order, into `values`
// (reused: no allocation once it has grown), and the same text printed from
// them later, when the variables have moved on. A branch and bound that only
// prints its best solution keeps the values of each one this way.
void fznCaptureSolution(const std::vector<FznOutputItem>& items, std::vector<std::int64_t>& values);
void fznPrintSolution(std::ostream& os, const std::vector<FznOutputItem>& items,
                      const std::vector<std::int64_t>& values);

// The final status lines.
constexpr const char* kFznComplete = "==========";
constexpr const char* kFznUnsat = "=====UNSATISFIABLE=====";
constexpr const char* kFznUnknown = "=====UNKNOWN=====";
constexpr const char* kFznError = "=====ERROR=====";

// "%%%mzn-stat: name=value" lines, closed by "%%%mzn-stat-end".
struct FznStat {
  std::string name;
  std::string value;
};
void fznPrintStats(std::ostream& os, const std::vector<FznStat>& stats);
