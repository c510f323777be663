// The Boolean variable: a 0/1 integer variable held as a two-bit state, with
// one propagator list and two AC5 lists. A successful narrowing answers
// Success (or the status of the watcher it tells), where the integer
// variable answers Suspend.
#pragma once

#include <cstdint>
#include <iosfwd>

#include <sigc++/sigc++.h>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// The state of a Boolean in a solution.
class NuvCPBoolVarSnapshotI : public NuvCPIntVarSnapshotI {
 public:
  static constexpr int kDataId = 0x4E42;  // archive tag
  NuvCPBoolVarSnapshotI(PimAllocator* a, int id, int state);
  explicit NuvCPBoolVarSnapshotI(PimAllocator* a) : NuvCPBoolVarSnapshotI(a, -1, 3) {}
  int state() const { return _state; }
  int getDataId() const override { return kDataId; }
  std::size_t classSize() const override { return sizeof(NuvCPBoolVarSnapshotI); }
  // "NuvCPBoolVarSnapshotI(" id ":" state ")"
  void print(std::ostream& os) const override;
  void archive(PimArchiver& ar) const override;
  void unarchive(PimArchiver& ar) override;

 private:
  std::int32_t _state;
};

class NuvCPBoolVarI : public NuvCPIntVarI {
 public:
  NuvCPBoolVarI(PimAllocator* allocator, NuvCPManagerI* solver);
  std::size_t classSize() const override { return sizeof(NuvCPBoolVarI); }
  void mark(PimMarker& m) override;
  // "EMPTY!", "false", "true" or "[false,true]".
  void print(std::ostream& os) const override;

  NuvCPIntVarSnapshotI* makeSnapshot(PimAllocator* allocator) override;
  bool isBool() const override { return true; }
  bool isConcrete() const override { return false; }
  bool isBound() const override { return _state == 1 || _state == 2; }
  int getMin() const override { return (_state & 1) ? 0 : 1; }
  int getMax() const override { return (_state & 2) ? 1 : 0; }
  int getInitialMin() const override { return 0; }
  int getInitialMax() const override { return 1; }
  int getSize() const override { return _state == 3 ? 2 : 1; }
  int prevValue(int v) const override { return v != 0 && getMin() == 0 ? 0 : -1; }
  int nextValue(int v) const override { return v == 0 && getMax() == 1 ? 1 : 2; }
  bool memberOfDomain(int v) const override { return member(v); }
  bool member(int v) const override {
    return static_cast<unsigned>(v) <= 1 && (_state & (1 << v)) != 0;
  }
  int updateMin(int v) override;
  int updateMax(int v) override;
  int removeMin() override;
  int removeMax() override;
  int removeValue(int v) override;
  int bind(int v) override;
  // Rebuilds the variable in place as a NuvWatchedCPBoolVarI.
  void becomeWatched() override;
  bool isView() const override { return false; }
  int subscriptionLists(NuvCPListHead** out) override {
    out[0] = &_changes;
    out[1] = &_ac5Value;
    out[2] = &_ac5Bind;
    return 3;
  }

  // Every propagator subscription goes to the one change list.
  void addMin(NuvCPDaemonI* p) override { push(_changes, p); }
  void addMax(NuvCPDaemonI* p) override { push(_changes, p); }
  void addBounds(NuvCPDaemonI* p) override { push(_changes, p); }
  void addBind(NuvCPDaemonI* p) override { push(_changes, p); }
  void addDomain(NuvCPDaemonI* p) override { push(_changes, p); }
  // Value and bind subscriptions have lists; min, max and bounds ones are
  // ignored (a Boolean's bound change is its binding).
  void addAC5Value(NuvCPDaemonI* p) override { push(_ac5Value, p); }
  void addAC5Bind(NuvCPDaemonI* p) override { push(_ac5Bind, p); }
  void addAC5ValueIdx(NuvCPDaemonI* p, int i) override {
    _ac5Value.add<NuvCPDListIdxI>(allocator(), trail(), p, i);
  }
  void addAC5BindIdx(NuvCPDaemonI* p, int i) override {
    _ac5Bind.add<NuvCPDListIdxI>(allocator(), trail(), p, i);
  }
  void addAC5ValueView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override {
    _ac5Value.add<NuvCPDListViewI>(allocator(), trail(), p, v, o);
  }
  void addAC5BindView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override {
    _ac5Bind.add<NuvCPDListViewI>(allocator(), trail(), p, v, o);
  }
  void addAC5ValueIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    _ac5Value.add<NuvCPDListIdxViewI>(allocator(), trail(), p, v, i, o);
  }
  void addAC5BindIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    _ac5Bind.add<NuvCPDListIdxViewI>(allocator(), trail(), p, v, i, o);
  }

  // The watchers: value 1's equality watcher is the variable itself, value
  // 0's is the false watcher; value 1's disequality watcher is the true
  // watcher, any other value's the variable itself. Set once, never undone.
  NuvCPIntVarI* getEqualityWatcher(int v) const override;
  NuvCPIntVarI* getDisequalityWatcher(int v) const override;
  void setEqualityWatcher(NuvCPIntVarI* b, int v) override;
  void setDisequalityWatcher(NuvCPIntVarI* b, int v) override;

  int state() const { return _state; }

  // The change signals, as on the integer variable (fd/NuvCPCIntVarI.h).
  sigc::signal<void(int, int, NuvCPDomainI*, int)> valuesRemoved;
  sigc::signal<void(int)> bound;
  sigc::signal<void()> minChanged;
  sigc::signal<void()> maxChanged;
  sigc::signal<void(const NuvCPIntVarSnapshotI*)> snapshotRestored;
  sigc::signal<void(const NuvCPIntVarSnapshotI*)> snapshotDiffers;

 protected:
  template <bool W>
  int fix(int w, bool skipEmpty = false);
  template <bool W>
  int updateMinImpl(int v);
  template <bool W>
  int updateMaxImpl(int v);
  template <bool W>
  int removeValueImpl(int v);
  template <bool W>
  int bindImpl(int v);

 private:
  NuvTrailI* trail() const;
  void push(NuvCPListHead& l, NuvCPDaemonI* p) { l.add<NuvCPDListI>(allocator(), trail(), p); }

  std::int32_t _state = 3;  // trailed
  PimStamp _stateStamp;
  NuvCPListHead _changes;
  NuvCPListHead _ac5Value;
  NuvCPListHead _ac5Bind;
  NuvCPIntVarI* _falseWatcher = nullptr;  // not trailed, on purpose
  NuvCPIntVarI* _trueWatcher = nullptr;   // not trailed, on purpose
};

// The watched Boolean: the same object after becomeWatched(); fixing to w
// emits values removed (the other value) first, bound after the change list
// is scheduled, and minimum (w = 1) or maximum (w = 0) changed last.
class NuvWatchedCPBoolVarI final : public NuvCPBoolVarI {
 public:
  explicit NuvWatchedCPBoolVarI(NuvCPBoolVarI&& plain) : NuvCPBoolVarI(std::move(plain)) {}
  void becomeWatched() override {}
  int updateMin(int v) override;
  int updateMax(int v) override;
  int removeMin() override;
  int removeMax() override;
  int removeValue(int v) override;
  int bind(int v) override;
};

// Lays every integer and Boolean variable's lists out for the cache
// (NuvCPListHead::compact): what a store should do once its model is
// posted, before search, so that the walks over its propagator lists read
// memory in sequence. Does nothing (false) while a choice point is open;
// false too when the allocator refused a block (the lists are then still
// whole, some of them not compacted).
bool nuvCPCompactLists(NuvCPManagerI* store);

