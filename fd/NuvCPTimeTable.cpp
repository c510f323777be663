#include "fd/NuvCPTimeTable.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPDiscreteEdgeFinderI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPTimeTableI.h"
#include "fd/NuvCPReservoirI.h"
#include "fd/NuvCPTimeTableMinI.h"
#include "host/PimError.h"

namespace {

class NuvCPTimeTable : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPTimeTable); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_s, &_d, &_r, &_p})
      for (NuvCPIntVarI* x : *a) m.mark(x);
    m.mark(_c);
  }

  void init(RavRuntime& rt, int nargs) override {
    // CP$TimeTableCapOptionalCstr takes the presence array last;
    // CP$DiscreteEdgeFinder takes it optionally.
    _edgeFinder = nativeClass()->name() == "CP$DiscreteEdgeFinder";
    const bool optional = nativeClass()->name() == "CP$TimeTableCapOptionalCstr" || (_edgeFinder && nargs == 5);
    if (nargs != (optional ? 5 : 4)) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a = optional ? NuvCPArgs(rt, "cumulative",
                                       {"var<CP>{int}[]", "var<CP>{int}[]", "var<CP>{int}[]", "var<CP>{int}",
                                        "var<CP>{int}[]"})
                           : NuvCPArgs(rt, "cumulative",
                                       {"var<CP>{int}[]", "var<CP>{int}[]", "var<CP>{int}[]", "var<CP>{int}"});
    _s = a.intVars(0);
    _d = a.intVars(1);
    _r = a.intVars(2);
    _c = a.intVar(3);
    if (optional) _p = a.intVars(4);
    if (_d.size() != _s.size() || _r.size() != _s.size() || (optional && _p.size() != _s.size()))
      throw PimExecutionError(rt.source(), optional ? "cumulative: the start, duration, demand and presence "
                                                      "arrays differ in size"
                                                    : "cumulative: the start, duration and demand arrays differ "
                                                      "in size");
    _optional = optional;
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_s, &_d, &_r, &_p}, {_c});
    if (_edgeFinder)
      return nuvCPNew<NuvCPDiscreteEdgeFinderI>(s->allocator(), s, static_cast<int>(_s.size()), _s.data(),
                                                _d.data(), _r.data(), _c, _optional ? _p.data() : nullptr);
    return nuvCPNew<NuvCPTimeTableI>(s->allocator(), s, static_cast<int>(_s.size()), _s.data(),
                                     _d.data(), _r.data(), _c, _optional ? _p.data() : nullptr);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPTimeTable> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _s, _d, _r, _p;
  NuvCPIntVarI* _c = nullptr;
  bool _optional = false;
  bool _edgeFinder = false;
};

// CP$TimeTableMinCstr(s, d, r, m, from, to) with a constant level m,
// CP$TimeTableMinCapCstr(s, d, r, m, from, to) with a level variable.
class NuvCPTimeTableMin : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPTimeTableMin); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_s, &_d, &_r})
      for (NuvCPIntVarI* x : *a) m.mark(x);
    if (_m) m.mark(_m);
  }

  void init(RavRuntime& rt, int nargs) override {
    const bool cap = nativeClass()->name() == "CP$TimeTableMinCapCstr";
    if (nargs != 6) NuvCPCstr::init(rt, nargs);
    constexpr const char* arr = "var<CP>{int}[]";
    NuvCPArgs a = cap ? NuvCPArgs(rt, "coverage", {arr, arr, arr, "var<CP>{int}", "int", "int"})
                      : NuvCPArgs(rt, "coverage", {arr, arr, arr, "int", "int", "int"});
    _s = a.intVars(0);
    _d = a.intVars(1);
    _r = a.intVars(2);
    if (cap)
      _m = a.intVar(3);
    else
      _level = a.intValue(3);
    _from = a.intValue(4);
    _to = a.intValue(5);
    if (_d.size() != _s.size() || _r.size() != _s.size())
      throw PimExecutionError(rt.source(), "coverage: the start, duration and provision arrays differ in size");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_s, &_d, &_r}, {_m});
    NuvCPIntVarI* m = _m ? _m : nuvCPNew<NuvCPCIntVarI>(s->allocator(), s->allocator(), s, _level, _level);
    if (!m) return nullptr;
    return nuvCPNew<NuvCPTimeTableMinI>(s->allocator(), s, static_cast<int>(_s.size()), _s.data(), _d.data(),
                                        _r.data(), m, _from, _to);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPTimeTableMin> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _s, _d, _r;
  NuvCPIntVarI* _m = nullptr;
  int _level = 0, _from = 0, _to = 0;
};

// CP$TimeTable(c): a cumulative resource of capacity c built an activity
// at a time (add(start, duration, demand)), time-tabled once posted.
class NuvCPTimeTableResource : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPTimeTableResource); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_s, &_d, &_r})
      for (NuvCPIntVarI* x : *a) m.mark(x);
    m.mark(_c);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 1) NuvCPCstr::init(rt, nargs);
    _c = NuvCPArgs(rt, "TimeTable", {"var<CP>{int}"}).intVar(0);
    accepted(rt, nargs);
  }

  void add(RavRuntime& rt) {
    NuvCPArgs a(rt, "add", {"var<CP>{int}", "var<CP>{int}", "var<CP>{int}"});
    NuvCPIntVarI *s = a.intVar(0), *d = a.intVar(1), *r = a.intVar(2);
    if (s->getSolver() != _c->getSolver() || d->getSolver() != _c->getSolver() || r->getSolver() != _c->getSolver())
      throw PimExecutionError(rt.source(), "TimeTable: an activity of another solver than the capacity's");
    if (_posted) throw PimExecutionError(rt.source(), "TimeTable: the resource is posted; no activity can join it");
    _s.push_back(s);
    _d.push_back(d);
    _r.push_back(r);
  }
  int size() const { return static_cast<int>(_s.size()); }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    if (_c->getSolver() != s)
      throw PimExecutionError(PimSource(), "CP$TimeTable: posted to a solver its variables do not belong to");
    _posted = true;
    return nuvCPNew<NuvCPTimeTableI>(s->allocator(), s, size(), _s.data(), _d.data(), _r.data(), _c, nullptr);
  }

  static const RavMethodTable* methodTable();

  class Factory : public NuvCPFactory<NuvCPTimeTableResource> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _s, _d, _r;
  NuvCPIntVarI* _c = nullptr;
  bool _posted = false;
};

RavValue mAdd(RavRuntime& rt, NuvNativeObject* o, int) {
  static_cast<NuvCPTimeTableResource*>(o)->add(rt);
  return RavValue();
}
RavValue mSize(RavRuntime&, NuvNativeObject* o, int) {
  return RavValue(static_cast<NuvCPTimeTableResource*>(o)->size());
}
const RavMethod kResourceMethods[] = {
    {"add", mAdd, 3, 3},
    {"size", mSize, 0, 0},
};
const RavMethodTable kResourceTable{kResourceMethods, sizeof(kResourceMethods) / sizeof(kResourceMethods[0])};
const RavMethodTable* NuvCPTimeTableResource::methodTable() { return &kResourceTable; }

// CP$TakeCapacityCstr, CP$GiveCapacityCstr, CP$TakeMinCapacityCstr,
// CP$GiveMinCapacityCstr (s, d, h, initial, bound): a reservoir.
class NuvCPReservoir : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPReservoir); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_s, &_d, &_h})
      for (NuvCPIntVarI* x : *a) m.mark(x);
    m.mark(_bound);
  }

  void init(RavRuntime& rt, int nargs) override {
    const std::string& name = nativeClass()->name();
    _atEnd = name.find("Give") != std::string::npos;
    _minimum = name.find("Min") != std::string::npos;
    _sig = name.substr(3);
    if (nargs != 5) NuvCPCstr::init(rt, nargs);
    constexpr const char* arr = "var<CP>{int}[]";
    NuvCPArgs a(rt, _sig.c_str(), {arr, arr, arr, "int", "var<CP>{int}"});
    _s = a.intVars(0);
    _d = a.intVars(1);
    _h = a.intVars(2);
    _initial = a.intValue(3);
    _bound = a.intVar(4);
    if (_d.size() != _s.size() || _h.size() != _s.size())
      throw PimExecutionError(rt.source(), _sig + ": the start, duration and amount arrays differ in size");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_s, &_d, &_h}, {_bound});
    return nuvCPNew<NuvCPReservoirI>(s->allocator(), s, static_cast<int>(_s.size()), _s.data(), _d.data(),
                                     _h.data(), _initial, _bound, _atEnd, _minimum);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPReservoir> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _s, _d, _h;
  NuvCPIntVarI* _bound = nullptr;
  int _initial = 0;
  bool _atEnd = false, _minimum = false;
  std::string _sig;  // NuvCPArgs keeps the name's pointer
};

}  // namespace

NuvInstanceFactory* nuvCPTimeTableResourceFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPTimeTableResource::Factory>(a, a, name);
}

NuvInstanceFactory* nuvCPReservoirFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPReservoir::Factory>(a, a, name);
}

NuvInstanceFactory* nuvCPTimeTableMinFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPTimeTableMin::Factory>(a, a, name);
}

NuvInstanceFactory* nuvCPTimeTableFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPTimeTable::Factory>(a, a, name);
}
