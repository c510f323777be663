#include "fd/NuvCPFunctionalTable.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPPairI.h"
#include "fd/NuvCPTableI.h"
#include "host/PimError.h"

namespace {

class NuvCPFunctionalTable : public NuvNativeObject {
 public:
  NuvCPFunctionalTable(PimAllocator* a, const NuvNativeClass* cls) : NuvNativeObject(a, cls) {
    if (a) a->registerFinalizer(this);
  }
  std::size_t classSize() const override { return sizeof(NuvCPFunctionalTable); }

  void init(RavRuntime& rt, int nargs) override {
    const bool multi = nativeClass()->name() == "CP$MultiFunctionalTable";
    const std::string sig = multi ? "MultiFunctionalTable" : "FunctionalTable";
    if (nargs != (multi ? 3 : 2))
      throw PimExecutionError(rt.source(), "no constructor of " + nativeClass()->name() + " takes " +
                                               std::to_string(nargs) + " argument(s)");
    NuvCPArgs a = multi ? NuvCPArgs(rt, "MultiFunctionalTable", {"int", "int", "int[]"})
                        : NuvCPArgs(rt, "FunctionalTable", {"int", "int[]"});
    _inputs = a.intValue(0);
    _outputs = multi ? a.intValue(1) : 1;
    const std::vector<int> values = a.intValues(multi ? 2 : 1);
    if (_inputs < 0 || _outputs < 1)
      throw PimExecutionError(rt.source(), sig + ": needs inputs >= 0 and outputs >= 1");
    const auto arity = static_cast<std::size_t>(_inputs + _outputs);
    if (values.empty() || values.size() % arity != 0)
      throw PimExecutionError(rt.source(), sig + ": " + std::to_string(values.size()) +
                                               " values do not make rows of " + std::to_string(arity));
    // The function: no inputs twice with different outputs (the same row
    // twice is harmless).
    std::map<std::vector<int>, std::vector<int>> seen;
    for (std::size_t r = 0; r < values.size() / arity; ++r) {
      const auto row = values.begin() + static_cast<std::ptrdiff_t>(r * arity);
      std::vector<int> in(row, row + _inputs), out(row + _inputs, row + static_cast<std::ptrdiff_t>(arity));
      auto [it, fresh] = seen.emplace(in, out);
      if (!fresh && it->second != out)
        throw PimExecutionError(rt.source(), sig + ": row " + std::to_string(r + 1) +
                                                 " gives its inputs a second output");
    }
    _data = std::make_unique<NuvCPTableData>(_inputs + _outputs, values);
  }

  const NuvCPTableData* data() const { return _data.get(); }
  int inputs() const { return _inputs; }
  int outputs() const { return _outputs; }

  static const RavMethodTable* methodTable();

  class Factory : public NuvCPFactory<NuvCPFunctionalTable> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  int _inputs = 0, _outputs = 1;
  std::unique_ptr<NuvCPTableData> _data;
};

NuvCPFunctionalTable* tableOf(NuvNativeObject* o) { return static_cast<NuvCPFunctionalTable*>(o); }
RavValue mInputs(RavRuntime&, NuvNativeObject* o, int) { return RavValue(tableOf(o)->inputs()); }
RavValue mOutputs(RavRuntime&, NuvNativeObject* o, int) { return RavValue(tableOf(o)->outputs()); }
RavValue mSize(RavRuntime&, NuvNativeObject* o, int) {
  return RavValue(tableOf(o)->data() ? tableOf(o)->data()->size() : 0);
}
const RavMethod kMethods[] = {
    {"getInputs", mInputs, 0, 0},
    {"getOutputs", mOutputs, 0, 0},
    {"getSize", mSize, 0, 0},
};
const RavMethodTable kTable{kMethods, sizeof(kMethods) / sizeof(kMethods[0])};
const RavMethodTable* NuvCPFunctionalTable::methodTable() { return &kTable; }

class NuvCPFunctionalTableCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPFunctionalTableCstr); }
  void mark(PimMarker& m) override {
    m.mark(_table);
    for (NuvCPIntVarI* x : _vars) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    const bool multi = nativeClass()->name() == "CP$MultiFunctionalTableCstr";
    if (nargs != 3) NuvCPCstr::init(rt, nargs);
    const char* tableClass = multi ? "CP$MultiFunctionalTable" : "CP$FunctionalTable";
    NuvCPArgs a = multi ? NuvCPArgs(rt, "MultiFunctionalTableCstr", {"var<CP>{int}[]", "var<CP>{int}[]", tableClass})
                        : NuvCPArgs(rt, "FunctionalTableCstr", {"var<CP>{int}[]", "var<CP>{int}", tableClass});
    _vars = a.intVars(0);
    const std::size_t inputs = _vars.size();
    if (multi) {
      for (NuvCPIntVarI* y : a.intVars(1)) _vars.push_back(y);
    } else {
      _vars.push_back(a.intVar(1));
    }
    _table = tableOf(a.object(2, tableClass));
    if (!_table->data()) throw PimExecutionError(rt.source(), "FunctionalTable: the table was not built");
    if (static_cast<int>(inputs) != _table->inputs() ||
        static_cast<int>(_vars.size() - inputs) != _table->outputs())
      throw PimExecutionError(rt.source(), std::string(multi ? "MultiFunctionalTableCstr" : "FunctionalTableCstr") +
                                               ": " + std::to_string(inputs) + " inputs and " +
                                               std::to_string(_vars.size() - inputs) + " outputs for a table of " +
                                               std::to_string(_table->inputs()) + " and " +
                                               std::to_string(_table->outputs()));
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    for (NuvCPIntVarI* x : _vars)
      if (x->getSolver() != s)
        throw PimExecutionError(PimSource(), nativeClass()->name() +
                                                 ": posted to a solver its variables do not belong to");
    return nuvCPMakeTablePropagator(s, _vars.data(), static_cast<int>(_vars.size()), _table->data(), _table);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPFunctionalTableCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _vars;
  NuvCPFunctionalTable* _table = nullptr;
};

// CP$Pair(x, y, z, width) and CP$pairLink(x[], y[], z[], width).
class NuvCPPairCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPPairCstr); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_x, &_y, &_z})
      for (NuvCPIntVarI* v : *a) m.mark(v);
  }

  void init(RavRuntime& rt, int nargs) override {
    const bool link = nativeClass()->name() == "CP$pairLink";
    if (nargs != 4) NuvCPCstr::init(rt, nargs);
    if (link) {
      NuvCPArgs a(rt, "pairLink", {"var<CP>{int}[]", "var<CP>{int}[]", "var<CP>{int}[]", "int"});
      _x = a.intVars(0);
      _y = a.intVars(1);
      _z = a.intVars(2);
      _width = a.intValue(3);
    } else {
      NuvCPArgs a(rt, "Pair", {"var<CP>{int}", "var<CP>{int}", "var<CP>{int}", "int"});
      _x = {a.intVar(0)};
      _y = {a.intVar(1)};
      _z = {a.intVar(2)};
      _width = a.intValue(3);
    }
    const std::string sig = link ? "pairLink" : "Pair";
    if (_y.size() != _x.size() || _z.size() != _x.size())
      throw PimExecutionError(rt.source(), sig + ": the arrays differ in size");
    if (_width < 1) throw PimExecutionError(rt.source(), sig + ": the width " + std::to_string(_width) + " is not positive");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    bool mine = true;
    for (const auto* a : {&_x, &_y, &_z})
      for (NuvCPIntVarI* v : *a) mine = mine && v->getSolver() == s;
    if (!mine)
      throw PimExecutionError(PimSource(), nativeClass()->name() +
                                               ": posted to a solver its variables do not belong to");
    return nuvCPNew<NuvCPPairI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(), _y.data(), _z.data(),
                                _width);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPPairCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x, _y, _z;
  int _width = 1;
};

}  // namespace

NuvInstanceFactory* nuvCPFunctionalTableFactory(PimAllocator* a, const char* name) {
  const std::string n(name);
  if (n == "CP$Pair" || n == "CP$pairLink") return pimCreate<NuvCPPairCstr::Factory>(a, a, name);
  if (n == "CP$FunctionalTable" || n == "CP$MultiFunctionalTable")
    return pimCreate<NuvCPFunctionalTable::Factory>(a, a, name);
  return pimCreate<NuvCPFunctionalTableCstr::Factory>(a, a, name);
}
