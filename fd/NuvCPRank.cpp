#include "fd/NuvCPRank.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPRankI.h"
#include "host/PimError.h"

namespace {

constexpr const char* kArr = "var<CP>{int}[]";
constexpr const char* kVar = "var<CP>{int}";

class NuvCPRankCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPRankCstr); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_s, &_d, &_e, &_p, &_rank, &_succ})
      for (NuvCPIntVarI* x : *a) m.mark(x);
    if (_first) m.mark(_first);
  }

  void init(RavRuntime& rt, int nargs) override {
    const std::string& name = nativeClass()->name();
    _sig = name.substr(3);
    const bool first = name.find("RankFirst") != std::string::npos;
    const bool optional = name.find("Optional") != std::string::npos;
    const bool transition = name.find("Transition") != std::string::npos;
    const bool succ = name.find("Succ") != std::string::npos;
    std::vector<const char*> types{kArr, kArr, kArr};
    if (optional) types.push_back(kArr);
    types.push_back(first ? kVar : kArr);
    if (succ) types.push_back(kArr);
    if (transition) {
      types.push_back("int[]");
      types.push_back("int[]");
    }
    if (nargs != static_cast<int>(types.size())) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a = makeArgs(rt, types);
    int k = 0;
    _s = a.intVars(k);
    _low = a.arrayLow(k++);
    _d = a.intVars(k++);
    _e = a.intVars(k++);
    if (optional) _p = a.intVars(k++);
    if (first)
      _first = a.intVar(k++);
    else
      _rank = a.intVars(k++);
    if (succ) _succ = a.intVars(k++);
    const std::size_t n = _s.size();
    if (_d.size() != n || _e.size() != n || (optional && _p.size() != n) || (!first && _rank.size() != n) ||
        (succ && _succ.size() != n))
      throw PimExecutionError(rt.source(), _sig + ": the activity arrays differ in size");
    if (transition) {
      _type = a.intValues(k++);
      _setup = a.intValues(k++);
      while (static_cast<std::size_t>(_types) * static_cast<std::size_t>(_types) < _setup.size()) ++_types;
      if (static_cast<std::size_t>(_types) * static_cast<std::size_t>(_types) != _setup.size() || _types == 0)
        throw PimExecutionError(rt.source(), _sig + ": the setup matrix is not square (" +
                                                 std::to_string(_setup.size()) + " entries)");
      if (_type.size() != n)
        throw PimExecutionError(rt.source(), _sig + ": the type array differs in size from the activities");
      for (std::size_t i = 0; i < n; ++i)
        if (_type[i] < 0 || _type[i] >= _types)
          throw PimExecutionError(rt.source(), _sig + ": activity " + std::to_string(i + 1) + " has type " +
                                                   std::to_string(_type[i]) + ", outside 0.." +
                                                   std::to_string(_types - 1));
    }
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_s, &_d, &_e, &_p, &_rank, &_succ}, {_first});
    NuvCPRankI::Args a;
    a.n = static_cast<int>(_s.size());
    a.s = _s.data();
    a.d = _d.data();
    a.e = _e.data();
    a.present = _p.empty() ? nullptr : _p.data();
    a.first = _first;
    a.rank = _rank.empty() ? nullptr : _rank.data();
    a.succ = _succ.empty() ? nullptr : _succ.data();
    a.low = _low;
    if (_types > 0) {
      a.type = _type.data();
      a.setup = _setup.data();
      a.types = _types;
    }
    a.name = printName();
    return nuvCPNew<NuvCPRankI>(s->allocator(), s, a);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPRankCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  NuvCPArgs makeArgs(RavRuntime& rt, const std::vector<const char*>& t) {
    const char* n = _sig.c_str();
    switch (t.size()) {
      case 4: return NuvCPArgs(rt, n, {t[0], t[1], t[2], t[3]});
      case 5: return NuvCPArgs(rt, n, {t[0], t[1], t[2], t[3], t[4]});
      case 6: return NuvCPArgs(rt, n, {t[0], t[1], t[2], t[3], t[4], t[5]});
      default: return NuvCPArgs(rt, n, {t[0], t[1], t[2], t[3], t[4], t[5], t[6]});
    }
  }

  // The propagator outlives this object: its name must be a literal.
  const char* printName() const {
    static constexpr const char* kNames[] = {"RankFirstCstr",      "RankFirstOptionalCstr",
                                             "RankCstr",           "RankOptionalCstr",
                                             "RankTransitionCstr", "RankOptionalTransitionCstr",
                                             "RankTransitionSuccCstr"};
    for (const char* n : kNames)
      if (_sig == n) return n;
    return "RankCstr";
  }

  std::vector<NuvCPIntVarI*> _s, _d, _e, _p, _rank, _succ;
  NuvCPIntVarI* _first = nullptr;
  std::vector<int> _type, _setup;
  int _types = 0, _low = 0;
  std::string _sig;  // NuvCPArgs keeps the name's pointer
};

}  // namespace

NuvInstanceFactory* nuvCPRankFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPRankCstr::Factory>(a, a, name);
}
