// The offset view: presents y + c for an integer variable y, with no domain,
// lists or stamps of its own. Views never nest: a view of a view is a view
// of the underlying variable with the offsets added. Offsets are meant to be
// small: |c| stays below 2^30, so that y + c never leaves the int range.
#pragma once

#include <cstdint>
#include <iosfwd>

#include <sigc++/sigc++.h>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPIntMath.h"

class NuvCPViewIntVarSnapshotI : public NuvCPIntVarSnapshotI {
 public:
  using NuvCPIntVarSnapshotI::NuvCPIntVarSnapshotI;
  std::size_t classSize() const override { return sizeof(NuvCPViewIntVarSnapshotI); }
  // "NuvCPViewIntVarSnapshotI(" id ":" min "," max "," size ")"
  void print(std::ostream& os) const override;
};

class NuvCPViewIntVarI : public NuvCPIntVarI {
 public:
  NuvCPViewIntVarI(PimAllocator* allocator, NuvCPManagerI* solver, NuvCPIntVarI* y, int c);
  std::size_t classSize() const override { return sizeof(NuvCPViewIntVarI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;

  int offset() const { return _c; }

  // The snapshot holds the view's bounds and size (its holes are y's).
  NuvCPIntVarSnapshotI* makeSnapshot(PimAllocator* allocator) override;
  bool isBound() const override { return _y->isBound(); }
  int getMin() const override { return _y->getMin() + _c; }
  int getMax() const override { return _y->getMax() + _c; }
  int getInitialMin() const override { return _y->getInitialMin() + _c; }
  int getInitialMax() const override { return _y->getInitialMax() + _c; }
  int getSize() const override { return _y->getSize(); }
  int prevValue(int v) const override { return _y->prevValue(v - _c) + _c; }
  int nextValue(int v) const override { return _y->nextValue(v - _c) + _c; }
  bool memberOfDomain(int v) const override { return _y->memberOfDomain(sub(v)); }
  bool member(int v) const override { return _y->member(sub(v)); }
  bool memberOfDomainAgain(int v) const override { return _y->memberOfDomainAgain(sub(v)); }
  void ensureDomain() override { _y->ensureDomain(); }
  // y's domain, in y's terms: a caller that asked hasDomain() must find one.
  NuvCPDomainI* copyDomain() override { return _y->copyDomain(); }
  bool hasDomain() const override { return _y->hasDomain(); }
  int updateMin(int v) override { return _y->updateMin(sub(v)); }
  int updateMax(int v) override { return _y->updateMax(sub(v)); }
  int removeMin() override { return _y->removeMin(); }
  int removeMax() override { return _y->removeMax(); }
  int removeValue(int v) override { return _y->removeValue(sub(v)); }
  int bind(int v) override { return _y->bind(sub(v)); }
  void becomeWatched() override {}
  bool isView() const override { return true; }
  NuvCPIntVarI* getViewedVar() const override { return _y; }

  void addMin(NuvCPDaemonI* p) override { _y->addMin(p); }
  void addMax(NuvCPDaemonI* p) override { _y->addMax(p); }
  void addBounds(NuvCPDaemonI* p) override { _y->addBounds(p); }
  void addBind(NuvCPDaemonI* p) override { _y->addBind(p); }
  void addDomain(NuvCPDaemonI* p) override { _y->addDomain(p); }
  // Events on y reach the propagator in the view's terms through view nodes.
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
  void addAC5MinView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override { _y->addAC5MinView(p, v, _c + o); }
  void addAC5MaxView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override { _y->addAC5MaxView(p, v, _c + o); }
  void addAC5BoundsView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override {
    _y->addAC5BoundsView(p, v, _c + o);
  }
  void addAC5BindView(NuvCPDaemonI* p, NuvCPIntVarI* v, int o) override { _y->addAC5BindView(p, v, _c + o); }
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
  NuvCPIntVarI* getEqualityWatcher(int v) const override { return _y->getEqualityWatcher(sub(v)); }
  NuvCPIntVarI* getDisequalityWatcher(int v) const override {
    return _y->getDisequalityWatcher(sub(v));
  }
  void setEqualityWatcher(NuvCPIntVarI* b, int v) override { _y->setEqualityWatcher(b, sub(v)); }
  void setDisequalityWatcher(NuvCPIntVarI* b, int v) override {
    _y->setDisequalityWatcher(b, sub(v));
  }
  bool isRemoved(int v) const override { return _y->isRemoved(sub(v)); }
  int subscriptionLists(NuvCPListHead** out) override { return _y->subscriptionLists(out); }
  NuvCPDomainI* getDomain() const override { return _y->getDomain(); }
  // y's walk with its base moved by c, so that the values it yields are the
  // view's.
  void domainIterator(NuvCPDomainIterator& it) const override {
    _y->domainIterator(it);
    it.base += _c;
  }

  sigc::signal<void(int)> minChanged;
  sigc::signal<void(int)> maxChanged;
  sigc::signal<void()> boundsChanged;
  sigc::signal<void(int)> valueRemoved;
  sigc::signal<void(int)> bound;
  sigc::signal<void()> domainChanged;

 private:
  // v - c, clamped: beyond the int range it is beyond y's domain too.
  int sub(int v) const { return nuvCPClampInt(std::int64_t{v} - _c); }
  NuvCPIntVarI* _y;
  std::int32_t _c;
};
