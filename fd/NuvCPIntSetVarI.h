// The set variable over an integer universe.
//
// Its value is a set of integers between the required set and the possible
// set (required within value within possible), both kept as bit sets over
// the universe lo..hi, with the counts of each. A cardinality variable
// (an integer variable of the same store) stays within the two counts, and
// a link propagator fills the set in when the cardinality reaches one of
// them: at the possible count every possible element is required, at the
// required count every other element is excluded.
//
// Events: requiring an element queues the requires (AC5) events of the
// variable's requires list, excluding one those of its excludes list; both
// schedule the propagators of its change list.
//
// Members: the universe, the solver and the cardinality variable are
// constant; the bit words and the counts are trailed (a stamp per word);
// the lists' heads are trailed.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPSetVarI.h"
#include "host/NuvTrail.h"

class NuvCPIntSetVarI : public NuvCPSetVarI {
 public:
  // Universes above this many elements, or reaching INT32_MAX, are refused
  // (ok() false): the bit sets are sized by the universe.
  static constexpr std::int64_t kMaxUniverse = std::int64_t{1} << 22;

  // Required empty, possible lo..hi, the cardinality 0..hi - lo + 1 (the
  // link propagator is posted on the store).
  NuvCPIntSetVarI(PimAllocator* allocator, NuvCPManagerI* solver, int lo, int hi);
  bool ok() const { return _ok; }
  std::size_t classSize() const override { return sizeof(NuvCPIntSetVarI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;

  int universeMin() const { return _lo; }
  int universeMax() const { return _hi; }
  bool isRequired(int e) const { return inUniverse(e) && test(_required, e); }
  bool isPossible(int e) const { return inUniverse(e) && test(_possible, e); }
  int requiredCount() const { return _requiredCount; }
  int possibleCount() const { return _possibleCount; }
  bool isBound() const { return _requiredCount == _possibleCount; }
  NuvCPIntVarI* card() const { return _card; }
  // The next required (possible) element above e, or INT32_MAX.
  int nextRequired(int e) const { return next(_required, e); }
  int nextPossible(int e) const { return next(_possible, e); }

  // e joins the value (fails when e is not possible).
  int require(int e) override;
  // e leaves the possible set (fails when e is required).
  int exclude(int e) override;
  // The store's decisions: the same operations.
  int inside(int e) override { return require(e); }
  int outside(int e) override { return exclude(e); }

  void addRequires(NuvCPDaemonI* p) { _requiresList.add<NuvCPDListI>(allocator(), trail(), p); }
  void addExcludes(NuvCPDaemonI* p) { _excludesList.add<NuvCPDListI>(allocator(), trail(), p); }
  void addRequiresIdx(NuvCPDaemonI* p, int i) { _requiresList.add<NuvCPDListIdxI>(allocator(), trail(), p, i); }
  void addExcludesIdx(NuvCPDaemonI* p, int i) { _excludesList.add<NuvCPDListIdxI>(allocator(), trail(), p, i); }
  // Any change (an element required or excluded).
  void addChange(NuvCPDaemonI* p) { _changeList.add<NuvCPDListI>(allocator(), trail(), p); }

  PimDataI* makeSnapshot(PimAllocator* a) override;
  int restoreSnapshot(const PimDataI* snapshot) override;

 private:
  struct Word {
    std::uint64_t bits;
    PimStamp stamp;
  };
  NuvTrailI* trail() const;
  bool inUniverse(int e) const { return e >= _lo && e <= _hi; }
  bool test(const Word* w, int e) const {
    const auto k = static_cast<std::uint32_t>(e - _lo);
    return (w[k / 64].bits >> (k % 64)) & 1;
  }
  int next(const Word* w, int e) const;
  // After a count moved: the cardinality's bounds follow.
  int cardinalityFollows();

  std::int32_t _lo, _hi, _words = 0;
  bool _ok = false;
  Word *_required = nullptr, *_possible = nullptr;
  std::int32_t _requiredCount = 0, _possibleCount = 0;
  PimStamp _requiredStamp = 0, _possibleStamp = 0;
  NuvCPIntVarI* _card = nullptr;
  NuvCPListHead _requiresList, _excludesList, _changeList;
};

// The set variable's value in a solution: its required elements (a bound
// variable's value), sorted.
class NuvCPIntSetVarSnapshotI : public PimDataI {
 public:
  NuvCPIntSetVarSnapshotI(PimAllocator* allocator, int id, int count, const int* elements);
  int id() const { return _id; }
  int size() const { return _count; }
  int element(int k) const { return _elements[k]; }
  bool ok() const { return _count == 0 || _elements; }
  std::size_t classSize() const override { return sizeof(NuvCPIntSetVarSnapshotI); }
  void print(std::ostream& os) const override;

 private:
  std::int32_t _id, _count;
  std::int32_t* _elements = nullptr;
};

// Keeps a set variable and its cardinality together: at the possible count
// every possible element is required, at the required count every other
// element is excluded. Runs on the cardinality's bounds and the set's
// changes; O(universe / 64 + elements filled in) a run.
class NuvCPSetCardLinkI : public NuvCPCstrI {
 public:
  NuvCPSetCardLinkI(NuvCPManagerI* store, NuvCPIntSetVarI* x);
  std::size_t classSize() const override { return sizeof(NuvCPSetCardLinkI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  NuvCPIntSetVarI* _x;
};
