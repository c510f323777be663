#include "fzn/FznOutput.h"

#include <ostream>

#include "fd/NuvCPIVarI.h"

namespace {

void printValue(std::ostream& os, const FznOutputItem& item, std::size_t i) {
  const std::int64_t v = item.vars[i] ? item.vars[i]->getMin() : item.fixed[i];
  if (item.isBool)
    os << (v ? "true" : "false");
  else
    os << v;
}

}  // namespace

void fznPrintSolution(std::ostream& os, const std::vector<FznOutputItem>& items) {
  for (const FznOutputItem& item : items) {
    os << item.name << " = ";
    if (!item.isArray) {
      printValue(os, item, 0);
    } else {
      os << "array" << item.dims.size() << "d(";
      for (const FznIntRange& r : item.dims) os << r.low << ".." << r.high << ", ";
      os << "[";
      for (std::size_t i = 0; i < item.vars.size(); ++i) {
        if (i) os << ", ";
        printValue(os, item, i);
      }
      os << "])";
    }
    os << ";\n";
  }
  os << "----------\n";
}

void fznPrintStats(std::ostream& os, const std::vector<FznStat>& stats) {
  for (const FznStat& s : stats) os << "%%%mzn-stat: " << s.name << "=" << s.value << "\n";
  os << "%%%mzn-stat-end\n";
}
