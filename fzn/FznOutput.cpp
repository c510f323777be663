#include "fzn/FznOutput.h"

#include <ostream>

#include "fd/NuvCPIVarI.h"

namespace {

// Prints the items, the i-th value printed being value(item, i).
template <class Value>
void printItems(std::ostream& os, const std::vector<FznOutputItem>& items, Value value) {
  auto print = [&](const FznOutputItem& item, std::size_t i) {
    const std::int64_t v = value(item, i);
    if (item.isBool)
      os << (v ? "true" : "false");
    else
      os << v;
  };
  for (const FznOutputItem& item : items) {
    os << item.name << " = ";
    if (!item.isArray) {
      print(item, 0);
    } else {
      os << "array" << item.dims.size() << "d(";
      for (const FznIntRange& r : item.dims) os << r.low << ".." << r.high << ", ";
      os << "[";
      for (std::size_t i = 0; i < item.vars.size(); ++i) {
        if (i) os << ", ";
        print(item, i);
      }
      os << "])";
    }
    os << ";\n";
  }
  os << "----------\n";
}

std::int64_t current(const FznOutputItem& item, std::size_t i) {
  return item.vars[i] ? item.vars[i]->getMin() : item.fixed[i];
}

}  // namespace

void fznPrintSolution(std::ostream& os, const std::vector<FznOutputItem>& items) {
  printItems(os, items, current);
}

void fznCaptureSolution(const std::vector<FznOutputItem>& items, std::vector<std::int64_t>& values) {
  values.clear();
  for (const FznOutputItem& item : items) {
    const std::size_t n = item.isArray ? item.vars.size() : 1;
    for (std::size_t i = 0; i < n; ++i) values.push_back(current(item, i));
  }
}

void fznPrintSolution(std::ostream& os, const std::vector<FznOutputItem>& items,
                      const std::vector<std::int64_t>& values) {
  std::size_t k = 0;
  printItems(os, items, [&](const FznOutputItem&, std::size_t) { return values[k++]; });
}

void fznPrintStats(std::ostream& os, const std::vector<FznStat>& stats) {
  for (const FznStat& s : stats) os << "%%%mzn-stat: " << s.name << "=" << s.value << "\n";
  os << "%%%mzn-stat-end\n";
}
