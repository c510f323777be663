#include "fd/NuvCPUnary.h"

#include <string>
#include <vector>

#include "fd/NuvCPDetectablePrecedencesI.h"
#include "fd/NuvCPEdgeFinderI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPNotFirstLastI.h"
#include "fd/NuvCPTransitionI.h"
#include "fd/NuvCPUnaryI.h"
#include "host/PimError.h"

namespace {

constexpr const char* kArr = "var<CP>{int}[]";
constexpr const char* kVar = "var<CP>{int}";

enum class Kind {
  EdgeFinder,
  OptionalEdgeFinder,
  DetectablePrecedences,
  DetectablePrecedencesWO,
  NotFirst,
  NotFirstOptional,
  NotLast,
  NotLastOptional,
  Disjunctive,
  OptionalDisjunctive,
  Transition,
  TransitionPrecedence,
  TransitionTimes
};

struct ClassInfo {
  const char* cls;
  const char* signature;  // the name null-argument messages show
  Kind kind;
  bool presence;
};

const ClassInfo kClasses[] = {
    {"CP$EdgeFinder", "EdgeFinder", Kind::EdgeFinder, false},
    {"CP$OptionalEdgeFinder", "OptionalEdgeFinder", Kind::OptionalEdgeFinder, true},
    {"CP$DetectablePrecedencesCstr", "DetectablePrecedencesCstr", Kind::DetectablePrecedences, false},
    {"CP$DetectablePrecedencesWOCstr", "DetectablePrecedencesWOCstr", Kind::DetectablePrecedencesWO, true},
    {"CP$NotFirstCstr", "NotFirstCstr", Kind::NotFirst, false},
    {"CP$NotFirstOptionalCstr", "NotFirstOptionalCstr", Kind::NotFirstOptional, true},
    {"CP$NotLastCstr", "NotLastCstr", Kind::NotLast, false},
    {"CP$NotLastOptionalCstr", "NotLastOptionalCstr", Kind::NotLastOptional, true},
    {"CP$DisjunctiveCstr", "DisjunctiveCstr", Kind::Disjunctive, false},
    {"CP$OptionalDisjunctiveCstr", "OptionalDisjunctiveCstr", Kind::OptionalDisjunctive, true},
    {"CP$DisjunctiveTransitionCstr", "DisjunctiveTransitionCstr", Kind::Transition, false},
    {"CP$DisjunctiveTransitionPrecedenceCstr", "DisjunctiveTransitionPrecedenceCstr", Kind::TransitionPrecedence,
     false},
    {"CP$DisjunctiveTransitionTimesCstr", "DisjunctiveTransitionTimesCstr", Kind::TransitionTimes, false},
};

const ClassInfo& infoOf(const std::string& name) {
  for (const ClassInfo& c : kClasses)
    if (name == c.cls) return c;
  return kClasses[0];
}

class NuvCPUnaryCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPUnaryCstr); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_start, &_duration, &_end, &_presence, &_pair})
      for (NuvCPIntVarI* x : *a) m.mark(x);
    if (_guard) m.mark(_guard);
    if (_built) m.mark(_built);
  }

  void init(RavRuntime& rt, int nargs) override {
    const ClassInfo& info = infoOf(nativeClass()->name());
    _kind = info.kind;
    if (_kind == Kind::Transition || _kind == Kind::TransitionPrecedence) {
      // (aStart, aEnd, bStart, bEnd, setupAB, setupBA[, order])
      const int want = _kind == Kind::Transition ? 6 : 7;
      if (nargs != want) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a = want == 6 ? NuvCPArgs(rt, info.signature, {kVar, kVar, kVar, kVar, "int", "int"})
                              : NuvCPArgs(rt, info.signature, {kVar, kVar, kVar, kVar, "int", "int", kVar});
      for (int k = 0; k < 4; ++k) _pair.push_back(a.intVar(k));
      _setupAB = a.intValue(4);
      _setupBA = a.intValue(5);
      if (want == 7) _pair.push_back(a.intVar(6));
      accepted(rt, nargs);
      return;
    }
    if (_kind == Kind::TransitionTimes) {
      // (aStart, aEnd, aType, bStart, bEnd, bType, setup[]): setup holds
      // types x types entries, row by row, types counted from 0.
      if (nargs != 7) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a(rt, info.signature, {kVar, kVar, kVar, kVar, kVar, kVar, "int[]"});
      for (int k = 0; k < 6; ++k) _pair.push_back(a.intVar(k));
      _matrix = a.intValues(6);
      while (static_cast<std::size_t>(_types) * static_cast<std::size_t>(_types) < _matrix.size()) ++_types;
      if (static_cast<std::size_t>(_types) * static_cast<std::size_t>(_types) != _matrix.size() || _types == 0)
        throw PimExecutionError(rt.source(), std::string(info.signature) +
                                                 ": the setup matrix is not square (" +
                                                 std::to_string(_matrix.size()) + " entries)");
      accepted(rt, nargs);
      return;
    }
    if (_kind == Kind::Disjunctive || _kind == Kind::OptionalDisjunctive) {
      const int want = _kind == Kind::Disjunctive ? 4 : 6;
      if (nargs != want) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a(rt, info.signature,
                  want == 4 ? std::initializer_list<const char*>{kVar, kVar, kVar, kVar}
                            : std::initializer_list<const char*>{kVar, kVar, kVar, kVar, kVar, kVar});
      for (int k = 0; k < want; ++k) _pair.push_back(a.intVar(k));
      accepted(rt, nargs);
      return;
    }
    const int arrays = info.presence ? 4 : 3;
    const bool guardAllowed = _kind != Kind::OptionalEdgeFinder;
    if (nargs != arrays && !(guardAllowed && nargs == arrays + 1)) NuvCPCstr::init(rt, nargs);
    std::vector<const char*> types(static_cast<std::size_t>(arrays), kArr);
    if (nargs > arrays) types.push_back(kVar);
    NuvCPArgs a = makeArgs(rt, info.signature, types);
    _start = a.intVars(0);
    _duration = a.intVars(1);
    _end = a.intVars(2);
    if (info.presence) _presence = a.intVars(3);
    if (nargs > arrays) _guard = a.intVar(arrays);
    const std::size_t n = _start.size();
    if (_duration.size() != n || _end.size() != n || (info.presence && _presence.size() != n))
      throw PimExecutionError(rt.source(), std::string(info.signature) +
                                               ": the activity arrays differ in size");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_start, &_duration, &_end, &_presence, &_pair}, {_guard});
    PimAllocator* al = s->allocator();
    const int n = static_cast<int>(_start.size());
    NuvCPIntVarI *const *st = _start.data(), *const *du = _duration.data(), *const *en = _end.data(),
                        *const *pr = _presence.data();
    NuvCPDaemonI* p = nullptr;
    switch (_kind) {
      case Kind::EdgeFinder:
        p = _guard ? nuvCPNew<NuvCPEdgeFinderI>(al, s, n, st, du, en, _guard)
                   : nuvCPNew<NuvCPEdgeFinderPureI>(al, s, n, st, du, en);
        _edgeFinder = static_cast<NuvCPEdgeFinderI*>(p);
        break;
      case Kind::OptionalEdgeFinder:
        p = nuvCPNew<NuvCPEdgeFinderOptionalI>(al, s, n, st, du, pr, true);
        break;
      case Kind::DetectablePrecedences:
        p = nuvCPNew<NuvCPDetectablePrecedencesCstrI>(al, s, n, st, du, en, _guard);
        break;
      case Kind::DetectablePrecedencesWO:
        p = nuvCPNew<NuvCPDetectablePrecedencesWOCstrI>(al, s, n, st, du, en, pr, _guard);
        break;
      case Kind::NotFirst: p = nuvCPNew<NuvCPNotFirstCstrI>(al, s, n, st, du, en, nullptr, _guard); break;
      case Kind::NotLast: p = nuvCPNew<NuvCPNotLastCstrI>(al, s, n, st, du, en, nullptr, _guard); break;
      case Kind::NotFirstOptional:
        p = nuvCPNew<NuvCPNotFirstOptionalCstrI>(al, s, n, st, du, en, pr, _guard);
        break;
      case Kind::NotLastOptional:
        p = nuvCPNew<NuvCPNotLastOptionalCstrI>(al, s, n, st, du, en, pr, _guard);
        break;
      case Kind::Disjunctive:
        p = nuvCPNew<NuvCPDisjunctiveCstrI>(al, s, _pair[0], _pair[1], _pair[2], _pair[3]);
        break;
      case Kind::Transition:
      case Kind::TransitionPrecedence:
        p = nuvCPNew<NuvCPTransitionPairI>(al, s, _pair[0], _pair[1], _pair[2], _pair[3], _setupAB, _setupBA,
                                           _pair.size() > 4 ? _pair[4] : nullptr, nullptr, nullptr, nullptr, 0,
                                           _kind == Kind::Transition ? "DisjunctiveTransitionCstr"
                                                                     : "DisjunctiveTransitionPrecedenceCstr");
        break;
      case Kind::TransitionTimes:
        p = nuvCPNew<NuvCPTransitionPairI>(al, s, _pair[0], _pair[1], _pair[3], _pair[4], 0, 0, nullptr, _pair[2],
                                           _pair[5], _matrix.data(), _types, "DisjunctiveTransitionTimesCstr");
        break;
      case Kind::OptionalDisjunctive:
        p = nuvCPNew<NuvCPOptionalDisjunctiveCstrI>(al, s, _pair[0], _pair[1], _pair[2], _pair[3], _pair[4],
                                                    _pair[5]);
        break;
    }
    _built = p;
    return p;
  }

  // The edge finder's slack queries.
  std::int64_t slack(RavRuntime& rt, bool local) const {
    if (!_edgeFinder) throw PimExecutionError(rt.source(), "EdgeFinder: The constraint is not posted");
    if (local && !_closed)
      throw PimExecutionError(rt.source(), "UnaryResource::getLocalSlack(): The resource is not closed");
    return local ? _edgeFinder->localSlack() : _edgeFinder->globalSlack();
  }
  void close() { _closed = true; }

  static const RavMethodTable* methodTable();

  class Factory : public NuvCPFactory<NuvCPUnaryCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  static NuvCPArgs makeArgs(RavRuntime& rt, const char* name, const std::vector<const char*>& t) {
    switch (t.size()) {
      case 3: return NuvCPArgs(rt, name, {t[0], t[1], t[2]});
      case 4: return NuvCPArgs(rt, name, {t[0], t[1], t[2], t[3]});
      default: return NuvCPArgs(rt, name, {t[0], t[1], t[2], t[3], t[4]});
    }
  }

  Kind _kind = Kind::EdgeFinder;
  std::vector<NuvCPIntVarI*> _start, _duration, _end, _presence, _pair;
  NuvCPIntVarI* _guard = nullptr;
  int _setupAB = 0, _setupBA = 0, _types = 0;
  std::vector<int> _matrix;
  NuvCPDaemonI* _built = nullptr;
  NuvCPEdgeFinderI* _edgeFinder = nullptr;
  bool _closed = false;
};

NuvCPUnaryCstr* self(NuvNativeObject* o) { return static_cast<NuvCPUnaryCstr*>(o); }

RavValue mGlobalSlack(RavRuntime& rt, NuvNativeObject* o, int) { return RavValue(self(o)->slack(rt, false)); }
RavValue mLocalSlack(RavRuntime& rt, NuvNativeObject* o, int) { return RavValue(self(o)->slack(rt, true)); }
RavValue mClose(RavRuntime&, NuvNativeObject* o, int) {
  self(o)->close();
  return RavValue();
}

const RavMethod kMethods[] = {
    {"getGlobalSlack", mGlobalSlack, 0, 0},
    {"getLocalSlack", mLocalSlack, 0, 0},
    {"close", mClose, 0, 0},
};
const RavMethodTable kTable{kMethods, sizeof(kMethods) / sizeof(kMethods[0])};

const RavMethodTable* NuvCPUnaryCstr::methodTable() { return &kTable; }

}  // namespace

NuvInstanceFactory* nuvCPUnaryFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPUnaryCstr::Factory>(a, a, name);
}
