// Small daemons and an interval variable of the tests' own, enough to drive
// the store without the real variables.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "host/Rav.h"

// A daemon whose operations log "name.op(args)" and answer what the test
// says (2 unless told otherwise).
class Probe : public NuvCPCstrI {
 public:
  Probe(NuvCPManagerI* s, std::string name, unsigned priority, std::vector<std::string>* log,
        bool idempotent = false)
      : NuvCPCstrI(s, priority, idempotent), name(std::move(name)), log(log) {}

  int propagate() override {
    log->push_back(name);
    return onPropagate ? onPropagate() : NuvCPSuspend;
  }
  int post(int) override { return onPost ? onPost() : NuvCPSuspend; }
  int valRemove(NuvCPIntVarI* x, int v) override { return value("rm", x, v); }
  int updateMin(NuvCPIntVarI* x, int v) override { return value("min", x, v); }
  int valBind(NuvCPIntVarI* x, int v) override { return value("bind", x, v); }
  int valRemoveIdx(NuvCPIntVarI* x, int i, int v) override {
    return value("rm[" + std::to_string(i) + "]", x, v);
  }
  void print(std::ostream& os) const override {
    os << "probe(" << name << ")";
    printStatus(os);
  }

  std::function<int()> onPropagate;
  std::function<int()> onPost;
  std::function<int(int)> onValue;  // answer of the value handlers
  std::string name;
  std::vector<std::string>* log;
  NuvCPIntVarI* lastVar = nullptr;

 private:
  int value(const std::string& op, NuvCPIntVarI* x, int v) {
    lastVar = x;
    log->push_back(name + "." + op + "(" + std::to_string(v) + ")");
    return onValue ? onValue(v) : NuvCPSuspend;
  }
};

// An interval variable [min, max] with trailed bounds, a propagator list for
// bound changes and an AC5 value list; enough to produce the engine's events.
class FakeVar : public NuvCPIntVarI {
 public:
  FakeVar(NuvCPManagerI* s, int lo, int hi) : NuvCPIntVarI(s->allocator(), s), _min(lo), _max(hi) {}

  NuvCPIntVarSnapshotI* makeSnapshot(PimAllocator*) override { return nullptr; }
  bool isBound() const override { return _min == _max; }
  int getMin() const override { return _min; }
  int getMax() const override { return _max; }
  int getInitialMin() const override { return _min; }
  int getInitialMax() const override { return _max; }
  int getSize() const override { return _max - _min + 1; }
  int prevValue(int v) const override { return v - 1; }
  int nextValue(int v) const override { return v + 1; }
  bool memberOfDomain(int) const override { return true; }
  bool member(int v) const override { return v >= _min && v <= _max; }
  int updateMin(int v) override {
    if (v <= _min) return NuvCPSuspend;
    if (v > _max) return NuvCPFailure;
    int old = _min;
    trail()->assign(_min, _minStamp, v);
    getSolver()->schedule(bounds.head);
    getSolver()->notifyRemoveRangeUp(values.head, this, old, v - 1);
    return NuvCPSuspend;
  }
  int updateMax(int v) override {
    if (v >= _max) return NuvCPSuspend;
    if (v < _min) return NuvCPFailure;
    int old = _max;
    trail()->assign(_max, _maxStamp, v);
    getSolver()->schedule(bounds.head);
    getSolver()->notifyRemoveRangeDown(values.head, this, v + 1, old);
    return NuvCPSuspend;
  }
  int removeMin() override { return updateMin(_min + 1); }
  int removeMax() override { return updateMax(_max - 1); }
  int removeValue(int v) override {
    if (v == _min) return removeMin();
    if (v == _max) return removeMax();
    return NuvCPSuspend;
  }
  int bind(int v) override {
    if (v < _min || v > _max) return NuvCPFailure;
    if (_min == v && _max == v) return NuvCPSuccess;
    int r = updateMin(v);
    return r == NuvCPFailure ? r : updateMax(v);
  }
  void becomeWatched() override {}
  bool isView() const override { return false; }
  void addBounds(NuvCPDaemonI* d) override {
    bounds.add<NuvCPDListI>(allocator(), trail(), d);
  }
  void addAC5Value(NuvCPDaemonI* d) override {
    values.add<NuvCPDListI>(allocator(), trail(), d);
  }

  NuvCPListHead bounds;
  NuvCPListHead values;

 private:
  NuvTrailI* trail() const { return getSolver()->trail(); }
  int _min;
  int _max;
  PimStamp _minStamp = 0;
  PimStamp _maxStamp = 0;
};

class EngineTest : public ::testing::Test {
 protected:
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  std::vector<std::string> log;
  std::vector<std::unique_ptr<PimCellI>> owned;

  Probe* probe(const std::string& name, unsigned priority = 7, bool idempotent = false) {
    return keep(new Probe(&store, name, priority, &log, idempotent));
  }
  FakeVar* var(int lo, int hi) { return keep(new FakeVar(&store, lo, hi)); }
  // A propagator list of the given daemons, in the given order (the list
  // puts new nodes in front, so they are added last to first).
  NuvCPDListI* list(std::initializer_list<NuvCPDaemonI*> ds) {
    auto* head = std::make_unique<NuvCPListHead>().release();
    heads.emplace_back(head);
    std::vector<NuvCPDaemonI*> v(ds);
    for (auto it = v.rbegin(); it != v.rend(); ++it)
      head->add<NuvCPDListI>(&arena, &trail, *it);
    return head->head;
  }
  template <class T>
  T* keep(T* p) {
    owned.emplace_back(p);
    return p;
  }
  std::vector<std::unique_ptr<NuvCPListHead>> heads;
};
