// The integer-variable interface that every propagator sees.
//
// Every integer variable kind (the concrete variable, Boolean variables,
// offset views) implements it. The slot order of the virtual operations is
// fixed; operations a kind has no use for keep the defaults below (a kind
// silently ignores subscriptions it does not support).
//
// Narrowing operations answer a status (fd/NuvCPStatus.h): 0 when the domain
// would become empty, 1 only for a bind to the value already held, 2
// otherwise. They trail what they change, schedule the propagator lists of
// the change and queue value events on the AC5 lists through the store.
#pragma once

#include <cstdint>

#include "host/PimCell.h"

class NuvCPManagerI;
class NuvCPDaemonI;
struct NuvCPListHead;
class NuvCPDListI;
class NuvCPDomainI;
class NuvCPIntVarSnapshotI;
struct RavIntSet;

// A walk over the words of a domain's bit array between two values. The
// variable fills it (domain iterator slot); `valid` is false for an empty
// walk, which is all the base class gives.
struct NuvCPDomainIterator {
  const std::uint32_t* bits = nullptr;
  int base = 0;                // value of bit 0 of word 0
  int word = 0;                // index of the current word
  int lastWord = 0;            // index of the word of the last value
  std::uint32_t current = 0;   // current word, already masked
  std::uint32_t lastMask = 0;  // bits of the last word up to the last value
  bool valid = false;
};

class NuvCPIntVarI : public PimDataI {
 public:
  // Registers the variable in the solver's integer-variable table; its
  // identifier is its index there.
  NuvCPIntVarI(PimAllocator* allocator, NuvCPManagerI* solver);

  NuvCPManagerI* getSolver() const { return _solver; }
  int getId() const { return _id; }
  std::size_t classSize() const override { return sizeof(NuvCPIntVarI); }
  void mark(PimMarker& m) override;

  virtual NuvCPIntVarSnapshotI* makeSnapshot(PimAllocator* allocator) = 0;  // 1
  virtual bool isBool() const { return false; }                           // 2
  virtual bool isConcrete() const { return false; }                       // 3
  virtual bool isBound() const = 0;                                       // 4
  virtual int getMin() const = 0;                                         // 5
  virtual int getMax() const = 0;                                         // 6
  virtual int getInitialMin() const = 0;                                  // 7
  virtual int getInitialMax() const = 0;                                  // 8
  virtual int gapAboveMin() const { return nextValue(getMin()) - getMin(); }  // 9
  virtual int gapBelowMax() const { return getMax() - prevValue(getMax()); }  // 10
  virtual int getSize() const = 0;                                        // 11
  // Largest possible value below v / smallest above v; one must exist.
  virtual int prevValue(int v) const = 0;        // 12
  virtual int nextValue(int v) const = 0;        // 13
  virtual bool memberOfDomain(int v) const = 0;  // 14: ignores the bounds
  virtual bool member(int v) const = 0;          // 15
  virtual bool memberOfDomainAgain(int v) const { return member(v); }  // 16
  virtual void ensureDomain() {}                                        // 17
  virtual NuvCPDomainI* copyDomain() { return nullptr; }                // 18
  virtual bool hasDomain() const { return false; }                      // 19
  virtual int updateMin(int v) = 0;                                     // 20
  virtual int updateMax(int v) = 0;                                     // 21
  virtual int removeMin() = 0;                                          // 22
  virtual int removeMax() = 0;                                          // 23
  virtual int removeValue(int v) = 0;                                   // 24
  virtual int bind(int v) = 0;                                          // 25
  // Removes every value of [min, max] (read once) that `s` lacks.
  virtual int restrictTo(const RavIntSet& s);  // 26
  // Removes every element of `s`, in its iteration order.
  virtual int removeAll(const RavIntSet& s);   // 27
  virtual void becomeWatched() = 0;                                 // 28
  virtual bool isView() const = 0;                                  // 29
  virtual NuvCPIntVarI* getViewedVar() const { return nullptr; }    // 30

  // Propagator lists (31-35): min raised, max lowered, a bound moved, bound
  // to a value, any change.
  virtual void addMin(NuvCPDaemonI*) {}
  virtual void addMax(NuvCPDaemonI*) {}
  virtual void addBounds(NuvCPDaemonI*) {}
  virtual void addBind(NuvCPDaemonI*) {}
  virtual void addDomain(NuvCPDaemonI*) {}
  // AC5 event lists (value, min, max, bounds, bind), plain nodes (36-40).
  virtual void addAC5Value(NuvCPDaemonI*) {}
  virtual void addAC5Min(NuvCPDaemonI*) {}
  virtual void addAC5Max(NuvCPDaemonI*) {}
  virtual void addAC5Bounds(NuvCPDaemonI*) {}
  virtual void addAC5Bind(NuvCPDaemonI*) {}
  // Indexed nodes (41-45): events carry `index`.
  virtual void addAC5ValueIdx(NuvCPDaemonI*, int /*index*/) {}
  virtual void addAC5MinIdx(NuvCPDaemonI*, int) {}
  virtual void addAC5MaxIdx(NuvCPDaemonI*, int) {}
  virtual void addAC5BoundsIdx(NuvCPDaemonI*, int) {}
  virtual void addAC5BindIdx(NuvCPDaemonI*, int) {}
  // View nodes (46-50): events name `view` and carry value + `offset`.
  virtual void addAC5ValueView(NuvCPDaemonI*, NuvCPIntVarI* /*view*/, int /*offset*/) {}
  virtual void addAC5MinView(NuvCPDaemonI*, NuvCPIntVarI*, int) {}
  virtual void addAC5MaxView(NuvCPDaemonI*, NuvCPIntVarI*, int) {}
  virtual void addAC5BoundsView(NuvCPDaemonI*, NuvCPIntVarI*, int) {}
  virtual void addAC5BindView(NuvCPDaemonI*, NuvCPIntVarI*, int) {}
  // Indexed view nodes (51-55).
  virtual void addAC5ValueIdxView(NuvCPDaemonI*, NuvCPIntVarI*, int /*index*/, int /*offset*/) {}
  virtual void addAC5MinIdxView(NuvCPDaemonI*, NuvCPIntVarI*, int, int) {}
  virtual void addAC5MaxIdxView(NuvCPDaemonI*, NuvCPIntVarI*, int, int) {}
  virtual void addAC5BoundsIdxView(NuvCPDaemonI*, NuvCPIntVarI*, int, int) {}
  virtual void addAC5BindIdxView(NuvCPDaemonI*, NuvCPIntVarI*, int, int) {}

  virtual void check() {}                                                      // 56
  virtual NuvCPIntVarI* getEqualityWatcher(int) const { return nullptr; }     // 57
  virtual NuvCPIntVarI* getDisequalityWatcher(int) const { return nullptr; }  // 58
  virtual void setEqualityWatcher(NuvCPIntVarI*, int) {}                       // 59
  virtual void setDisequalityWatcher(NuvCPIntVarI*, int) {}                    // 60
  virtual NuvCPDomainI* getDomain() const { return nullptr; }                  // 61
  virtual void domainIterator(NuvCPDomainIterator& it) const { it.valid = false; }  // 62

  // 63. The removed-value test of the range events: true when v, which was a
  // possible value when the range event was queued, is no longer possible.
  // A range event covers every value between two old bounds, including values
  // that were already holes before the change; a variable with holes should
  // answer false for those (for instance by consulting its domain bits, which
  // bound changes and binds leave alone), so that a propagator is not told
  // twice of the same removal. The base answers "not a member any more".
  virtual bool isRemoved(int v) const { return !member(v); }

  // 64. The variable's subscription lists, propagator and event lists alike
  // (some may be empty), for walks over the daemons that watch it (the
  // search's failure weights) and for laying them out (nuvCPCompactLists);
  // a daemon may sit on several. Writes at most kMaxSubscriptionLists list
  // heads to `out` and answers how many. A view answers its variable's.
  static constexpr int kMaxSubscriptionLists = 10;
  virtual int subscriptionLists(NuvCPListHead** /*out*/) { return 0; }

 private:
  NuvCPManagerI* _solver;
  std::int32_t _id;
};
