// The concrete integer variable, its per-value watcher tables and its
// snapshot.
//
// The variable keeps min, max and size itself and stays a plain interval
// until a value strictly inside its bounds is removed; only then does it
// build a bit set over its initial bounds. Bound changes never clear bits:
// in interval mode a bound change costs a few trailed words and one range
// event, whatever the number of values it removes.
#pragma once

#include <cstdint>
#include <iosfwd>

#include <sigc++/sigc++.h>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPDomain.h"
#include "fd/NuvCPIVarI.h"
#include "host/NuvTrail.h"
#include "host/PimCell.h"

// Per-value watchers of one variable, addressed directly by value over the
// variable's initial bounds. Entries are trailed: a watcher set inside a
// choice point is gone after backtracking.
class NuvAC5ValueI : public PimCellI {
 public:
  // Every entry null. Null (check ok()) when the allocator refuses the array.
  NuvAC5ValueI(PimAllocator* allocator, NuvCPManagerI* solver, int low, int up);
  bool ok() const { return _entries != nullptr; }
  NuvCPIntVarI* get(int c) const;
  void set(int c, NuvCPIntVarI* watcher);
  int low() const { return _low; }
  int up() const { return _up; }
  std::size_t classSize() const override { return sizeof(NuvAC5ValueI); }
  void mark(PimMarker& m) override;

 private:
  struct Entry {
    NuvCPIntVarI* watcher;  // trailed
    PimStamp stamp;
  };
  NuvCPManagerI* _solver;
  Entry* _entries;
  std::int32_t _low;
  std::int32_t _up;
};

// What every variable snapshot of a solution is.
class NuvCPVarSnapshotI : public PimDataI {
 public:
  using PimDataI::PimDataI;
};

// The state of an integer variable in a solution: its bounds, its size and a
// copy of its holes (null for an interval).
class NuvCPIntVarSnapshotI : public NuvCPVarSnapshotI {
 public:
  static constexpr int kDataId = 0x4E49;  // archive tag

  NuvCPIntVarSnapshotI(PimAllocator* allocator, int id, int min, int max, unsigned size,
                       NuvCPDomainI* domain)
      : NuvCPVarSnapshotI(allocator), _id(id), _min(min), _max(max), _size(size), _domain(domain) {}
  // An empty snapshot for unarchiving.
  explicit NuvCPIntVarSnapshotI(PimAllocator* allocator) : NuvCPIntVarSnapshotI(allocator, -1, 0, 0, 0, nullptr) {}

  int id() const { return _id; }
  int getMin() const { return _min; }
  int getMax() const { return _max; }
  unsigned getSize() const { return _size; }
  const NuvCPDomainI* domain() const { return _domain; }
  // The value of a bound variable; PimExecutionError otherwise.
  int value() const;
  // Imposes the snapshot's bounds and holes on `x`; answers the status.
  int restoreOnto(NuvCPIntVarI* x) const;

  int getDataId() const override { return kDataId; }
  std::size_t classSize() const override { return sizeof(NuvCPIntVarSnapshotI); }
  void mark(PimMarker& m) override { m.mark(_domain); }
  void print(std::ostream& os) const override;
  // min, max, size, then the domain as its class tag (0 for none), its
  // universe and its words: the universe has to come before the words.
  void archive(PimArchiver& ar) const override;
  void unarchive(PimArchiver& ar) override;

 private:
  std::int32_t _id;
  std::int32_t _min;
  std::int32_t _max;
  std::uint32_t _size;
  NuvCPDomainI* _domain;
};

class NuvCPCIntVarI : public NuvCPIntVarI {
 public:
  static constexpr std::int64_t kMinBound = -1073741823;  // -(2^30 - 1)
  static constexpr std::int64_t kMaxBound = 1073741822;   // 2^30 - 2, not symmetric on purpose
  // Beyond this many initial values a variable is "wide": its bit set, when
  // holes first appear, covers its current bounds only (and goes away on
  // backtracking), and it keeps no per-value watcher tables. A bit set over
  // the whole range of a variable declared over all integers would take
  // 256 MB.
  static constexpr std::int64_t kWideRange = std::int64_t{1} << 20;
  bool isWide() const { return std::int64_t{_initialMax} - _initialMin + 1 > kWideRange; }

  // Bounds outside [kMinBound, kMaxBound] are clamped. An empty range is not
  // detected here.
  NuvCPCIntVarI(PimAllocator* allocator, NuvCPManagerI* solver, std::int64_t lo, std::int64_t hi);
  ~NuvCPCIntVarI() override = default;

  std::size_t classSize() const override { return sizeof(NuvCPCIntVarI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;

  NuvCPIntVarSnapshotI* makeSnapshot(PimAllocator* allocator) override;
  bool isConcrete() const override { return true; }
  bool isBound() const override { return _size == 1; }
  int getMin() const override { return _min; }
  int getMax() const override { return _max; }
  int getInitialMin() const override { return _initialMin; }
  int getInitialMax() const override { return _initialMax; }
  int getSize() const override { return static_cast<int>(_size); }
  int prevValue(int v) const override { return _domain ? _domain->prevValue(v - 1) : v - 1; }
  int nextValue(int v) const override { return _domain ? _domain->nextValue(v + 1) : v + 1; }
  // Values outside the domain's universe were outside the bounds when it was
  // made (a wide variable's domain covers only those bounds, see
  // ensureDomain), so they are absent.
  bool memberOfDomain(int v) const override {
    return !_domain || (v >= _domain->getMin() && v <= _domain->getMax() && _domain->member(v));
  }
  bool member(int v) const override;
  bool memberOfDomainAgain(int v) const override { return memberOfDomain(v); }
  void ensureDomain() override;
  NuvCPDomainI* copyDomain() override;
  bool hasDomain() const override { return _domain != nullptr; }
  int updateMin(int v) override;
  int updateMax(int v) override;
  int removeMin() override;
  int removeMax() override;
  int removeValue(int v) override;
  int bind(int v) override;
  // Rebuilds the variable in place as a NuvWatchedCPIntVarI.
  void becomeWatched() override;
  bool isView() const override { return false; }

  void addMin(NuvCPDaemonI* p) override { push(_minList, p); }
  void addMax(NuvCPDaemonI* p) override { push(_maxList, p); }
  void addBounds(NuvCPDaemonI* p) override { push(_boundsList, p); }
  void addBind(NuvCPDaemonI* p) override { push(_bindList, p); }
  void addDomain(NuvCPDaemonI* p) override { push(_domainList, p); }
  void addAC5Value(NuvCPDaemonI* p) override { push(_ac5Value, p); }
  void addAC5Min(NuvCPDaemonI* p) override { push(_ac5Min, p); }
  void addAC5Max(NuvCPDaemonI* p) override { push(_ac5Max, p); }
  void addAC5Bounds(NuvCPDaemonI* p) override { push(_ac5Bounds, p); }
  void addAC5Bind(NuvCPDaemonI* p) override { push(_ac5Bind, p); }
  void addAC5ValueIdx(NuvCPDaemonI* p, int i) override { pushIdx(_ac5Value, p, i); }
  void addAC5MinIdx(NuvCPDaemonI* p, int i) override { pushIdx(_ac5Min, p, i); }
  void addAC5MaxIdx(NuvCPDaemonI* p, int i) override { pushIdx(_ac5Max, p, i); }
  void addAC5BoundsIdx(NuvCPDaemonI* p, int i) override { pushIdx(_ac5Bounds, p, i); }
  void addAC5BindIdx(NuvCPDaemonI* p, int i) override { pushIdx(_ac5Bind, p, i); }
  void addAC5ValueView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override { pushView(_ac5Value, p, v, o); }
  void addAC5MinView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override { pushView(_ac5Min, p, v, o); }
  void addAC5MaxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override { pushView(_ac5Max, p, v, o); }
  void addAC5BoundsView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override { pushView(_ac5Bounds, p, v, o); }
  void addAC5BindView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override { pushView(_ac5Bind, p, v, o); }
  void addAC5ValueIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    pushIdxView(_ac5Value, p, v, i, o);
  }
  void addAC5MinIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    pushIdxView(_ac5Min, p, v, i, o);
  }
  void addAC5MaxIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    pushIdxView(_ac5Max, p, v, i, o);
  }
  void addAC5BoundsIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    pushIdxView(_ac5Bounds, p, v, i, o);
  }
  void addAC5BindIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    pushIdxView(_ac5Bind, p, v, i, o);
  }

  void check() override;
  NuvCPIntVarI* getEqualityWatcher(int v) const override { return _eqWatchers ? _eqWatchers->get(v) : nullptr; }
  NuvCPIntVarI* getDisequalityWatcher(int v) const override {
    return _neqWatchers ? _neqWatchers->get(v) : nullptr;
  }
  void setEqualityWatcher(NuvCPIntVarI* b, int v) override;
  void setDisequalityWatcher(NuvCPIntVarI* b, int v) override;
  NuvCPDomainI* getDomain() const override { return _domain; }
  void domainIterator(NuvCPDomainIterator& it) const override;
  bool isRemoved(int v) const override;
  int subscriptionLists(NuvCPListHead** out) override {
    NuvCPListHead* lists[] = {&_minList, &_maxList, &_boundsList, &_bindList, &_ac5Value,
                              &_ac5Min,  &_ac5Max,  &_ac5Bounds,  &_ac5Bind,  &_domainList};
    static_assert(sizeof(lists) / sizeof(lists[0]) <= kMaxSubscriptionLists);
    int n = 0;
    for (NuvCPListHead* l : lists) out[n++] = l;
    return n;
  }

  // Tells the watchers of v that the variable is now v.
  int bindWatchers(int v);
  // Tells the equality watchers of the values of [a, b] (those `dom` still
  // holds, when given) that the variable differs from them.
  int removedWatchers(int a, int b, const NuvCPDomainI* dom);

  // The change signals, in order of declaration. The watched form emits
  // 1-4 from its narrowings; scripts' handlers connect to them.
  //  1 values removed: first, last, the domain (null for an interval), 0
  sigc::signal<void(int, int, NuvCPDomainI*, int)> valuesRemoved;
  //  2 bound: the value
  sigc::signal<void(int)> bound;
  //  3 minimum changed, 4 maximum changed: emitted last, after the change
  sigc::signal<void()> minChanged;
  sigc::signal<void()> maxChanged;
  //  5 a snapshot was imposed on the variable (restoreOnto), with it
  sigc::signal<void(const NuvCPIntVarSnapshotI*)> snapshotRestored;
  //  6 compareWithSnapshot found the variable different from the snapshot
  sigc::signal<void(const NuvCPIntVarSnapshotI*)> snapshotDiffers;
  // Whether the variable is exactly as the snapshot says (bounds, size,
  // values); emits signal 6 when it is not.
  bool compareWithSnapshot(const NuvCPIntVarSnapshotI* snap);

  // The list heads, for the engine's tests and the watched form.
  const NuvCPListHead& minList() const { return _minList; }
  const NuvCPListHead& bindList() const { return _bindList; }
  const NuvCPListHead& domainList() const { return _domainList; }
  const NuvCPListHead& ac5ValueList() const { return _ac5Value; }

 protected:
  template <bool W>
  int updateMinImpl(int v);
  template <bool W>
  int updateMaxImpl(int v);
  template <bool W>
  int removeMinImpl();
  template <bool W>
  int removeMaxImpl();
  template <bool W>
  int removeValueImpl(int v);
  template <bool W>
  int bindImpl(int v);

 private:
  NuvTrailI* trail() const { return getSolver()->trail(); }
  void setMin(int v) { trail()->assign(_min, _minStamp, v); }
  void setMax(int v) { trail()->assign(_max, _maxStamp, v); }
  void setSize(std::uint32_t s) { trail()->assign(_size, _sizeStamp, s); }
  // Always through the store, even for an empty list: scheduling resets the
  // store's current level, and the loop's choice of leaving a level depends
  // on the value the last scheduling call of a run left there.
  void schedule(const NuvCPListHead& l) { getSolver()->schedule(l.head); }
  // schedule(bind list), then BindToValue on the five AC5 lists.
  void postBinding(int v);
  void push(NuvCPListHead& l, NuvCPDaemonI* p) { l.add<NuvCPDListI>(allocator(), trail(), p); }
  void pushIdx(NuvCPListHead& l, NuvCPDaemonI* p, int i) {
    l.add<NuvCPDListIdxI>(allocator(), trail(), p, i);
  }
  void pushView(NuvCPListHead& l, NuvCPDaemonI* p, NuvCPIntVarI* v, int o) {
    l.add<NuvCPDListViewI>(allocator(), trail(), p, v, o);
  }
  void pushIdxView(NuvCPListHead& l, NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) {
    l.add<NuvCPDListIdxViewI>(allocator(), trail(), p, v, i, o);
  }
  NuvAC5ValueI* watcherTable(NuvAC5ValueI*& table);

  std::int32_t _initialMin;
  std::int32_t _initialMax;
  NuvCPDomainI* _domain = nullptr;  // trailed only for wide variables
  PimStamp _domainStamp = 0;
  std::int32_t _min;  // trailed
  PimStamp _minStamp;
  std::int32_t _max;  // trailed
  PimStamp _maxStamp;
  std::uint32_t _size;  // trailed
  PimStamp _sizeStamp;
  NuvCPListHead _minList;
  NuvCPListHead _maxList;
  NuvCPListHead _boundsList;
  NuvCPListHead _bindList;
  NuvCPListHead _ac5Value;
  NuvCPListHead _ac5Min;
  NuvCPListHead _ac5Max;
  NuvCPListHead _ac5Bounds;
  NuvCPListHead _ac5Bind;
  NuvCPListHead _domainList;
  NuvAC5ValueI* _eqWatchers = nullptr;
  NuvAC5ValueI* _neqWatchers = nullptr;
  // The bounds at the domain's creation (trailed, so that they follow the
  // bits back when the creation's clearing is undone): outside them a clear
  // bit was cleared by the creation, not by a removal of a hole.
  std::int32_t _bitsFrom;
  PimStamp _bitsFromStamp;
  std::int32_t _bitsTo;
  PimStamp _bitsToStamp;
};

// The watched form of the integer variable: the same object, rebuilt in
// place by becomeWatched(), whose six narrowings also emit the signals:
// values removed before the removal is posted (one per value with a domain,
// one range without), bound once the lists are scheduled and before the
// watchers run, then minimum (or maximum) changed last on success; bind
// emits minimum changed, maximum changed and bound before its events.
class NuvWatchedCPIntVarI final : public NuvCPCIntVarI {
 public:
  explicit NuvWatchedCPIntVarI(NuvCPCIntVarI&& plain) : NuvCPCIntVarI(std::move(plain)) {}
  ~NuvWatchedCPIntVarI() override = default;
  void becomeWatched() override {}
  int updateMin(int v) override;
  int updateMax(int v) override;
  int removeMin() override;
  int removeMax() override;
  int removeValue(int v) override;
  int bind(int v) override;
};
