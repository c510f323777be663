// "CP$Store": the language object of one solver, and "CP$TrailIntList".
//
// A store object owns everything its solver touches: an arena for the
// solver's cells, the trail, and the solver itself. Two stores share nothing,
// so they may search on two threads at once.
#pragma once

#include <cstdint>
#include <memory>

#include "fd/NuvCPNative.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

class NuvCPManagerI;

class NuvCPManager : public NuvNativeObject {
 public:
  NuvCPManager(PimAllocator* a, const NuvNativeClass* cls);
  ~NuvCPManager() override;
  std::size_t classSize() const override { return sizeof(NuvCPManager); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  // CP$Store() or CP$Store(int arenaLimitBytes).
  void init(RavRuntime& rt, int nargs) override;

  NuvCPManagerI* store() const { return _store; }
  PimArenaAllocator* arena() const { return _owned ? &_owned->arena : nullptr; }
  NuvTrailI* trail() const { return _owned ? &_owned->trail : nullptr; }

  // Builds the constraint object's propagator in this store and posts it;
  // the store's status afterwards. Out of memory is an execution error.
  int post(RavRuntime& rt, NuvCPCstr* c);

  static const RavMethodTable* methodTable();

  class Factory : public NuvCPFactory<NuvCPManager> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  struct Owned {
    PimArenaAllocator arena;
    NuvTrailI trail;
  };
  std::unique_ptr<Owned> _owned;
  NuvCPManagerI* _store = nullptr;
};

class NuvCPSolutionI;

// A solution as scripts hold it: made by the store's "makeSolution" and
// read through the variables' "getSnapshot", "getSnapshotMin" and
// "getSnapshotMax". It is not one of the registered classes (scripts never
// create one by name); its class description belongs to the module.
class NuvCPSolution : public NuvNativeObject {
 public:
  NuvCPSolution(PimAllocator* a, NuvCPSolutionI* s);
  std::size_t classSize() const override { return sizeof(NuvCPSolution); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  NuvCPSolutionI* solution() const { return _solution; }
  static const NuvNativeClass* nativeClassOfSolutions();

 private:
  NuvCPSolutionI* _solution;
};

// The store language object of argument n (null -> the signature message).
NuvCPManager* nuvCPArgStore(const NuvCPArgs& args, int n);

// A list of integers whose length is trailed: values appended inside a
// choice point are gone when it is undone. Scripts use it to keep search
// state that must backtrack with the store.
class NuvCPTrailIntList : public NuvNativeObject {
 public:
  using NuvNativeObject::NuvNativeObject;
  std::size_t classSize() const override { return sizeof(NuvCPTrailIntList); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  // CP$TrailIntList(CP$Store).
  void init(RavRuntime& rt, int nargs) override;

  void add(int v);
  int size() const { return _size; }
  int get(int i) const { return _values[i]; }

  static const RavMethodTable* methodTable();

  class Factory : public NuvCPFactory<NuvCPTrailIntList> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  NuvCPManager* _owner = nullptr;
  std::int32_t* _values = nullptr;  // in the store's arena
  std::int32_t _capacity = 0;
  std::int32_t _size = 0;  // trailed
  PimStamp _sizeStamp = 0;
};
