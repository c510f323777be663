#include "fd/NuvCPAutomaton.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPRegularI.h"
#include "fd/NuvCPViewIntVarI.h"
#include "host/PimError.h"

namespace {

class NuvCPAutomaton : public NuvNativeObject {
 public:
  NuvCPAutomaton(PimAllocator* a, const NuvNativeClass* cls) : NuvNativeObject(a, cls) {
    if (a) a->registerFinalizer(this);
  }
  std::size_t classSize() const override { return sizeof(NuvCPAutomaton); }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 5)
      throw PimExecutionError(rt.source(), "no constructor of CP$Automaton takes " + std::to_string(nargs) +
                                               " argument(s)");
    NuvCPArgs a(rt, "Automaton", {"int", "int", "int[]", "int", "int[]"});
    NuvCPAutomatonTables& t = _tables;
    t.states = a.intValue(0);
    t.symbols = a.intValue(1);
    t.delta = a.intValues(2);
    t.initial = a.intValue(3);
    t.finals = a.intValues(4);
    t.low = 1;
    const std::string what = "automaton: ";
    if (t.states < 1 || t.symbols < 1)
      throw PimExecutionError(rt.source(), what + "needs at least one state and one symbol");
    if (static_cast<long long>(t.delta.size()) != static_cast<long long>(t.states) * t.symbols)
      throw PimExecutionError(rt.source(), what + std::to_string(t.delta.size()) + " transitions for " +
                                               std::to_string(t.states) + " states and " +
                                               std::to_string(t.symbols) + " symbols");
    for (std::size_t k = 0; k < t.delta.size(); ++k)
      if (t.delta[k] < 0 || t.delta[k] > t.states)
        throw PimExecutionError(rt.source(),
                                what + "state " + std::to_string(k / static_cast<std::size_t>(t.symbols) + 1) +
                                    " goes to state " + std::to_string(t.delta[k]) + " on symbol " +
                                    std::to_string(k % static_cast<std::size_t>(t.symbols) + 1) + ", outside 0.." +
                                    std::to_string(t.states));
    for (int q : t.finals)
      if (q < 1 || q > t.states)
        throw PimExecutionError(rt.source(), what + "final state " + std::to_string(q) + " outside 1.." +
                                                 std::to_string(t.states));
    if (t.initial < 1 || t.initial > t.states)
      throw PimExecutionError(rt.source(), what + "initial state " + std::to_string(t.initial) + " outside 1.." +
                                               std::to_string(t.states));
  }

  NuvCPAutomatonView view() const { return _tables.view(); }
  int states() const { return _tables.states; }
  int symbols() const { return _tables.symbols; }
  bool accepts(const std::vector<int>& word) const {
    int q = _tables.initial;
    for (int v : word) {
      if (q == 0 || v < 1 || v > _tables.symbols) return false;
      q = _tables.delta[static_cast<std::size_t>((q - 1) * _tables.symbols + v - 1)];
    }
    for (int f : _tables.finals)
      if (q == f) return true;
    return false;
  }

  static const RavMethodTable* methodTable();

  class Factory : public NuvCPFactory<NuvCPAutomaton> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  NuvCPAutomatonTables _tables;
};

NuvCPAutomaton* automatonOf(NuvNativeObject* o) { return static_cast<NuvCPAutomaton*>(o); }
RavValue mStates(RavRuntime&, NuvNativeObject* o, int) { return RavValue(automatonOf(o)->states()); }
RavValue mSymbols(RavRuntime&, NuvNativeObject* o, int) { return RavValue(automatonOf(o)->symbols()); }
RavValue mAccepts(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(automatonOf(o)->accepts(NuvCPArgs(rt, "accepts", {"int[]"}).intValues(0)) ? 1 : 0);
}
const RavMethod kMethods[] = {
    {"getStates", mStates, 0, 0},
    {"getSymbols", mSymbols, 0, 0},
    {"accepts", mAccepts, 1, 1},
};
const RavMethodTable kTable{kMethods, sizeof(kMethods) / sizeof(kMethods[0])};
const RavMethodTable* NuvCPAutomaton::methodTable() { return &kTable; }

// CP$Regular(x, automaton), CP$CostRegular(x, automaton, cost, c).
class NuvCPRegularCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPRegularCstr); }
  void mark(PimMarker& m) override {
    m.mark(_automaton);
    for (NuvCPIntVarI* x : _x) m.mark(x);
    if (_c) m.mark(_c);
  }

  void init(RavRuntime& rt, int nargs) override {
    _costed = nativeClass()->name() == "CP$CostRegular";
    if (nargs != (_costed ? 4 : 2)) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a = _costed ? NuvCPArgs(rt, "CostRegular", {"var<CP>{int}[]", "CP$Automaton", "int[]", "var<CP>{int}"})
                          : NuvCPArgs(rt, "Regular", {"var<CP>{int}[]", "CP$Automaton"});
    _x = a.intVars(0);
    _automaton = automatonOf(a.object(1, "CP$Automaton"));
    if (_costed) {
      _cost = a.intValues(2);
      _c = a.intVar(3);
      const auto cells = static_cast<std::size_t>(_automaton->states()) *
                         static_cast<std::size_t>(_automaton->symbols());
      if (_cost.size() != cells)
        throw PimExecutionError(rt.source(), "CostRegular: " + std::to_string(_cost.size()) + " costs for " +
                                                 std::to_string(cells) + " transitions");
    }
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x}, {_c});
    NuvCPAutomatonView automaton = _automaton->view();
    if (_costed) automaton.cost = _cost.data();
    return nuvCPNew<NuvCPRegularI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(), automaton, _c);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPRegularCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  NuvCPAutomaton* _automaton = nullptr;
  std::vector<int> _cost;
  NuvCPIntVarI* _c = nullptr;
  bool _costed = false;
};

// CP$Stretch(x, values, shortest, longest): the automaton of the runs,
// read through views that turn values into symbols.
class NuvCPStretch : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPStretch); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 4) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, "Stretch", {"var<CP>{int}[]", "int[]", "int[]", "int[]"});
    _x = a.intVars(0);
    _values = a.intValues(1);
    _shortest = a.intValues(2);
    _longest = a.intValues(3);
    if (_shortest.size() != _values.size() || _longest.size() != _values.size())
      throw PimExecutionError(rt.source(), "Stretch: the value and length arrays differ in size");
    _tables = nuvCPStretchAutomaton(static_cast<int>(_values.size()), _values.data(), _shortest.data(),
                                    _longest.data(), static_cast<int>(_x.size()));
    if (_tables.states == 0)
      throw PimExecutionError(rt.source(), "Stretch: the values must be distinct, the lengths 1 <= shortest <= "
                                           "longest, the values spanning fewer than 65536");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x});
    std::vector<NuvCPIntVarI*> symbols;
    for (NuvCPIntVarI* x : _x) {
      NuvCPIntVarI* v = nuvCPNew<NuvCPViewIntVarI>(s->allocator(), s->allocator(), s, x, 1 - _tables.low);
      if (!v) return nullptr;
      symbols.push_back(v);
    }
    return nuvCPNew<NuvCPRegularI>(s->allocator(), s, static_cast<int>(symbols.size()), symbols.data(),
                                   _tables.view());
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPStretch> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  std::vector<int> _values, _shortest, _longest;
  NuvCPAutomatonTables _tables;
};

}  // namespace

NuvInstanceFactory* nuvCPAutomatonFactory(PimAllocator* a, const char* name) {
  if (std::string(name) == "CP$Automaton") return pimCreate<NuvCPAutomaton::Factory>(a, a, name);
  if (std::string(name) == "CP$Stretch") return pimCreate<NuvCPStretch::Factory>(a, a, name);
  return pimCreate<NuvCPRegularCstr::Factory>(a, a, name);
}
