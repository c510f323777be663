// The offset view y + c and its snapshot.
//
// A view has no domain, lists or stamps of its own: every question and every
// narrowing goes to the viewed variable y with values translated by c, and
// AC5 subscriptions become y's view subscriptions, whose events name the view
// and carry values in the view's terms. Views never nest: a view of a view is
// built directly on the innermost variable with the offsets added.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPIVarI.h"

// A view in a solution: its bounds and size in the view's terms, and the
// viewed variable's own snapshot, which carries the holes (in y's terms).
class NuvCPViewIntVarSnapshotI : public NuvCPIntVarSnapshotI {
 public:
  static constexpr int kDataId = 0x4E56;  // archive tag

  NuvCPViewIntVarSnapshotI(PimAllocator* allocator, int id, int min, int max, unsigned size,
                           NuvCPIntVarSnapshotI* viewed, int offset)
      : NuvCPIntVarSnapshotI(allocator, id, min, max, size, nullptr), _viewed(viewed), _offset(offset) {}
  // An empty snapshot for unarchiving.
  explicit NuvCPViewIntVarSnapshotI(PimAllocator* allocator)
      : NuvCPViewIntVarSnapshotI(allocator, -1, 0, 0, 0, nullptr, 0) {}

  const NuvCPIntVarSnapshotI* viewed() const { return _viewed; }
  int offset() const { return _offset; }
  int getDataId() const override { return kDataId; }
  std::size_t classSize() const override { return sizeof(NuvCPViewIntVarSnapshotI); }
  void mark(PimMarker& m) override { m.mark(_viewed); }
  // "NuvCPViewIntVarSnapshotI(" id ":" min "," max "," size ")".
  void print(std::ostream& os) const override;
  // min, max, size, offset, then the viewed snapshot as an object (reading
  // it back needs an archive registry that knows its class).
  void archive(PimArchiver& ar) const override;
  void unarchive(PimArchiver& ar) override;

 protected:
  // The bounds, then every hole of the viewed snapshot shifted by the offset.
  int impose(NuvCPIntVarI* x) const override;

 private:
  NuvCPIntVarSnapshotI* _viewed;
  std::int32_t _offset;
};

class NuvCPViewIntVarI : public NuvCPIntVarI {
 public:
  // The view y + c; on the innermost variable when y is itself a view.
  NuvCPViewIntVarI(PimAllocator* allocator, NuvCPManagerI* solver, NuvCPIntVarI* y, int c);
  ~NuvCPViewIntVarI() override = default;

  int getOffset() const { return _c; }
  std::size_t classSize() const override { return sizeof(NuvCPViewIntVarI); }
  void mark(PimMarker& m) override;
  // As a concrete variable prints: the value, "(size)[min..max]" or the runs
  // of "(DOM:size)[...]", in the view's terms.
  void print(std::ostream& os) const override;

  NuvCPIntVarSnapshotI* makeSnapshot(PimAllocator* allocator) override;
  bool isBound() const override { return _y->isBound(); }
  int getMin() const override { return _y->getMin() + _c; }
  int getMax() const override { return _y->getMax() + _c; }
  int getInitialMin() const override { return _y->getInitialMin() + _c; }
  int getInitialMax() const override { return _y->getInitialMax() + _c; }
  int getSize() const override { return _y->getSize(); }
  int prevValue(int v) const override { return _y->prevValue(v - _c) + _c; }
  int nextValue(int v) const override { return _y->nextValue(v - _c) + _c; }
  bool memberOfDomain(int v) const override { return _y->memberOfDomain(v - _c); }
  bool member(int v) const override { return _y->member(v - _c); }
  bool memberOfDomainAgain(int v) const override { return _y->memberOfDomainAgain(v - _c); }
  void ensureDomain() override { _y->ensureDomain(); }
  // y's domain, in y's terms.
  NuvCPDomainI* copyDomain() override { return _y->copyDomain(); }
  bool hasDomain() const override { return _y->hasDomain(); }
  int updateMin(int v) override { return _y->updateMin(v - _c); }
  int updateMax(int v) override { return _y->updateMax(v - _c); }
  int removeMin() override { return _y->removeMin(); }
  int removeMax() override { return _y->removeMax(); }
  int removeValue(int v) override { return _y->removeValue(v - _c); }
  int bind(int v) override { return _y->bind(v - _c); }
  // A view changes only through y: it is y that becomes watched, and
  // handlers listen to y's signals.
  void becomeWatched() override { _y->becomeWatched(); }
  bool isView() const override { return true; }
  NuvCPIntVarI* getViewedVar() const override { return _y; }

  void addMin(NuvCPDaemonI* p) override { _y->addMin(p); }
  void addMax(NuvCPDaemonI* p) override { _y->addMax(p); }
  void addBounds(NuvCPDaemonI* p) override { _y->addBounds(p); }
  void addBind(NuvCPDaemonI* p) override { _y->addBind(p); }
  void addDomain(NuvCPDaemonI* p) override { _y->addDomain(p); }
  // Plain and indexed subscriptions name this view with offset c; view
  // subscriptions keep the view they name and add c to its offset.
  void addAC5Value(NuvCPDaemonI* p) override { _y->addAC5ValueView(p, this, _c); }
  void addAC5Min(NuvCPDaemonI* p) override { _y->addAC5MinView(p, this, _c); }
  void addAC5Max(NuvCPDaemonI* p) override { _y->addAC5MaxView(p, this, _c); }
  void addAC5Bounds(NuvCPDaemonI* p) override { _y->addAC5BoundsView(p, this, _c); }
  void addAC5Bind(NuvCPDaemonI* p) override { _y->addAC5BindView(p, this, _c); }
  void addAC5ValueIdx(NuvCPDaemonI* p, int i) override { _y->addAC5ValueIdxView(p, this, i, _c); }
  void addAC5MinIdx(NuvCPDaemonI* p, int i) override { _y->addAC5MinIdxView(p, this, i, _c); }
  void addAC5MaxIdx(NuvCPDaemonI* p, int i) override { _y->addAC5MaxIdxView(p, this, i, _c); }
  void addAC5BoundsIdx(NuvCPDaemonI* p, int i) override { _y->addAC5BoundsIdxView(p, this, i, _c); }
  void addAC5BindIdx(NuvCPDaemonI* p, int i) override { _y->addAC5BindIdxView(p, this, i, _c); }
  void addAC5ValueView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override {
    _y->addAC5ValueView(p, v, _c + o);
  }
  void addAC5MinView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override {
    _y->addAC5MinView(p, v, _c + o);
  }
  void addAC5MaxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override {
    _y->addAC5MaxView(p, v, _c + o);
  }
  void addAC5BoundsView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override {
    _y->addAC5BoundsView(p, v, _c + o);
  }
  void addAC5BindView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override {
    _y->addAC5BindView(p, v, _c + o);
  }
  void addAC5ValueIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    _y->addAC5ValueIdxView(p, v, i, _c + o);
  }
  void addAC5MinIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    _y->addAC5MinIdxView(p, v, i, _c + o);
  }
  void addAC5MaxIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    _y->addAC5MaxIdxView(p, v, i, _c + o);
  }
  void addAC5BoundsIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    _y->addAC5BoundsIdxView(p, v, i, _c + o);
  }
  void addAC5BindIdxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int i, int o) override {
    _y->addAC5BindIdxView(p, v, i, _c + o);
  }

  void check() override { _y->check(); }
  NuvCPIntVarI* getEqualityWatcher(int v) const override { return _y->getEqualityWatcher(v - _c); }
  NuvCPIntVarI* getDisequalityWatcher(int v) const override {
    return _y->getDisequalityWatcher(v - _c);
  }
  void setEqualityWatcher(NuvCPIntVarI* b, int v) override { _y->setEqualityWatcher(b, v - _c); }
  void setDisequalityWatcher(NuvCPIntVarI* b, int v) override {
    _y->setDisequalityWatcher(b, v - _c);
  }
  NuvCPDomainI* getDomain() const override { return _y->getDomain(); }
  // y's walk, with its base moved by c so that the values it yields are the
  // view's.
  void domainIterator(NuvCPDomainIterator& it) const override {
    _y->domainIterator(it);
    it.base += _c;
  }
  bool isRemoved(int v) const override { return _y->isRemoved(v - _c); }

  // The view's own signals: only snapshot restores emit them (narrowings
  // are y's, and so are their signals).
  NuvCPChangeSignals* changeSignals() override { return &signals; }
  NuvCPChangeSignals signals;

 private:
  NuvCPIntVarI* _y;
  std::int32_t _c;
};
