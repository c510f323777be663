// The Boolean variable, its watched form and its snapshot.
//
// A 0/1 variable kept as a two-bit mask: bit 0 set when false is possible,
// bit 1 set when true is possible (3 both, 1 false, 2 true, 0 empty). It has
// one propagator list for every kind of change and two AC5 lists (values and
// bindings); the min, max and bounds AC5 subscriptions are ignored because
// on a 0/1 variable every change is a binding.
//
// A Boolean can watch an integer variable: it is the variable's equality
// watcher for a value (true exactly when the variable takes it) or its
// disequality watcher. Conversely it keeps a false watcher and a true
// watcher, told when it becomes false (true) by binding them; those two links
// are plain writes, not trailed: once made they are permanent.
//
// Unlike the concrete integer variable, a successful narrowing of a Boolean
// answers Success (or its watcher's answer): propagators on Booleans may test
// for it.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"
#include "host/NuvTrail.h"

// A Boolean in a solution: its two-bit state.
class NuvCPBoolVarSnapshotI : public NuvCPIntVarSnapshotI {
 public:
  static constexpr int kDataId = 0x4E42;  // archive tag

  NuvCPBoolVarSnapshotI(PimAllocator* allocator, int id, std::uint32_t state);
  // An empty snapshot for unarchiving.
  explicit NuvCPBoolVarSnapshotI(PimAllocator* allocator) : NuvCPBoolVarSnapshotI(allocator, -1, 3) {}

  std::uint32_t state() const { return _state; }
  int getDataId() const override { return kDataId; }
  std::size_t classSize() const override { return sizeof(NuvCPBoolVarSnapshotI); }
  // "NuvCPBoolVarSnapshotI(" id ":" the variable's print form ")".
  void print(std::ostream& os) const override;
  // The state, 4 bytes.
  void archive(PimArchiver& ar) const override;
  void unarchive(PimArchiver& ar) override;

 protected:
  // Binds x to the snapshot's value; nothing for an unbound snapshot.
  int impose(NuvCPIntVarI* x) const override;

 private:
  void setState(std::uint32_t state);
  std::uint32_t _state;
};

class NuvCPBoolVarI : public NuvCPIntVarI {
 public:
  static constexpr std::uint32_t kFalse = 1;
  static constexpr std::uint32_t kTrue = 2;
  static constexpr std::uint32_t kBoth = 3;

  // Both values possible, no subscriptions, no watchers.
  NuvCPBoolVarI(PimAllocator* allocator, NuvCPManagerI* solver);
  ~NuvCPBoolVarI() override = default;

  std::uint32_t state() const { return _state; }
  std::size_t classSize() const override { return sizeof(NuvCPBoolVarI); }
  void mark(PimMarker& m) override;
  // "EMPTY!", "false", "true" or "[false,true]".
  void print(std::ostream& os) const override;

  NuvCPIntVarSnapshotI* makeSnapshot(PimAllocator* allocator) override;
  bool isBool() const override { return true; }
  bool isBound() const override { return _state == kFalse || _state == kTrue; }
  int getMin() const override { return (_state & 1u) ? 0 : 1; }
  int getMax() const override { return (_state & 2u) ? 1 : 0; }
  int getInitialMin() const override { return 0; }
  int getInitialMax() const override { return 1; }
  // 1 also for the empty state.
  int getSize() const override { return _state == kBoth ? 2 : 1; }
  int prevValue(int v) const override { return v != 0 && getMin() == 0 ? 0 : -1; }
  int nextValue(int v) const override { return v == 0 && getMax() == 1 ? 1 : 2; }
  bool memberOfDomain(int v) const override { return member(v); }
  // Unsigned test: negative values are outside too.
  bool member(int v) const override {
    return static_cast<unsigned>(v) <= 1u && (_state & (1u << v)) != 0;
  }
  int updateMin(int v) override;
  int updateMax(int v) override;
  int removeMin() override;
  int removeMax() override;
  int removeValue(int v) override;
  int bind(int v) override;
  // Rebuilds this object in place as a NuvWatchedCPBoolVarI.
  void becomeWatched() override;
  bool isView() const override { return false; }

  // Every propagator subscription goes on the one change list.
  void addMin(NuvCPDaemonI* p) override { push(_changeList, p); }
  void addMax(NuvCPDaemonI* p) override { push(_changeList, p); }
  void addBounds(NuvCPDaemonI* p) override { push(_changeList, p); }
  void addBind(NuvCPDaemonI* p) override { push(_changeList, p); }
  void addDomain(NuvCPDaemonI* p) override { push(_changeList, p); }
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

  // v = 1: this variable; otherwise the false watcher.
  NuvCPIntVarI* getEqualityWatcher(int v) const override {
    return v == 1 ? const_cast<NuvCPBoolVarI*>(this) : _falseWatcher;
  }
  // v = 1: the true watcher; otherwise this variable.
  NuvCPIntVarI* getDisequalityWatcher(int v) const override {
    return v == 1 ? _trueWatcher : const_cast<NuvCPBoolVarI*>(this);
  }
  // v = 0 stores the false watcher; v = 1 has nothing to store.
  void setEqualityWatcher(NuvCPIntVarI* b, int v) override;
  // v = 1 stores the true watcher; v = 0 has nothing to store.
  void setDisequalityWatcher(NuvCPIntVarI* b, int v) override;

  NuvCPChangeSignals* changeSignals() override { return &signals; }
  NuvCPChangeSignals signals;

  const NuvCPListHead& changeList() const { return _changeList; }

 protected:
  // The narrowings, with the change signals emitted when W is true (the
  // watched form).
  template <bool W>
  int updateMinT(int v);
  template <bool W>
  int updateMaxT(int v);
  template <bool W>
  int removeMinT();
  template <bool W>
  int removeMaxT();
  template <bool W>
  int removeValueT(int v);
  template <bool W>
  int bindT(int v);

 private:
  NuvTrailI* trail() const { return getSolver()->trail(); }
  void push(NuvCPListHead& l, NuvCPDaemonI* p) { l.add<NuvCPDListI>(allocator(), trail(), p); }
  // Makes the variable take w: state, change list, the two AC5 lists, then
  // the watcher of the value, whose answer is the result. B: for bind(),
  // whose signals differ.
  template <bool W, bool B = false>
  int fixTo(int w);

  std::uint32_t _state = kBoth;  // trailed
  PimStamp _stateStamp;
  NuvCPListHead _changeList;        // trailed
  NuvCPListHead _ac5Value;          // trailed
  NuvCPListHead _ac5Bind;           // trailed
  NuvCPIntVarI* _falseWatcher = nullptr;  // constant once set
  NuvCPIntVarI* _trueWatcher = nullptr;   // constant once set
};

// The Boolean with its narrowing signals. It has no fields of its own, so
// that becomeWatched() can rebuild a NuvCPBoolVarI in place.
//
// Fixing to w emits valuesRemoved(1 - w, 1 - w, null, 0) before any change,
// bound(w) once the change list is scheduled, and last minChanged() (w = 1)
// or maxChanged() (w = 0). bind(w) emits no removal: once the change list is
// scheduled it emits minChanged(), maxChanged() and bound(w), in this order,
// before the AC5 lists and the watcher are told.
class NuvWatchedCPBoolVarI final : public NuvCPBoolVarI {
 public:
  // Takes over the state, lists, watchers and signals of `plain`.
  explicit NuvWatchedCPBoolVarI(const NuvCPBoolVarI& plain) : NuvCPBoolVarI(plain) {}
  ~NuvWatchedCPBoolVarI() override = default;

  int updateMin(int v) override;
  int updateMax(int v) override;
  int removeMin() override;
  int removeMax() override;
  int removeValue(int v) override;
  int bind(int v) override;
  // Already watched.
  void becomeWatched() override {}
};
