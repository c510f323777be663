#include "fd/NuvCPTable.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

void NuvCPTable::init(RavRuntime& rt, int nargs) {
  if (nargs != 2)
    throw PimExecutionError(rt.source(), "no constructor of CP$Table takes " + std::to_string(nargs) +
                                             " argument(s)");
  NuvCPArgs a(rt, "Table", {"int", "int[]"});
  const int arity = a.intValue(0);
  std::vector<int> values = a.intValues(1);
  if (arity < 1)
    throw PimExecutionError(rt.source(), "table: the arity must be at least 1, not " + std::to_string(arity));
  if (values.empty()) throw PimExecutionError(rt.source(), "table: the table has no tuples");
  if (values.size() % static_cast<std::size_t>(arity) != 0)
    throw PimExecutionError(rt.source(), "table: " + std::to_string(values.size()) +
                                             " values do not make rows of " + std::to_string(arity) +
                                             " (the last row has " +
                                             std::to_string(values.size() % static_cast<std::size_t>(arity)) +
                                             ")");
  if (values.size() / static_cast<std::size_t>(arity) > static_cast<std::size_t>(INT32_MAX / 2))
    throw PimExecutionError(rt.source(), "table: too many tuples");
  _data = std::make_unique<NuvCPTableData>(arity, values);
}

namespace {

const NuvCPTableData* tableOf(RavRuntime& rt, NuvNativeObject* o) {
  const NuvCPTableData* d = static_cast<NuvCPTable*>(o)->data();
  if (!d) throw PimExecutionError(rt.source(), "table: the table was not built");
  return d;
}
RavValue mGetArity(RavRuntime& rt, NuvNativeObject* o, int) { return RavValue(tableOf(rt, o)->arity()); }
RavValue mGetSize(RavRuntime& rt, NuvNativeObject* o, int) { return RavValue(tableOf(rt, o)->size()); }

const RavMethod kMethods[] = {
    {"getArity", mGetArity, 0, 0},
    {"getSize", mGetSize, 0, 0},
};
const RavMethodTable kTable{kMethods, sizeof(kMethods) / sizeof(kMethods[0])};

class NuvCPTableCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPTableCstr); }
  void mark(PimMarker& m) override {
    m.mark(_table);
    for (NuvCPIntVarI* x : _vars) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 2 && nargs != 3) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a = nargs == 2 ? NuvCPArgs(rt, "table", {"var<CP>{int}[]", "CP$Table"})
                             : NuvCPArgs(rt, "table", {"var<CP>{int}[]", "CP$Table", "string"});
    _vars = a.intVars(0);
    _table = static_cast<NuvCPTable*>(a.object(1, "CP$Table"));
    const NuvCPTableData* d = tableOf(rt, _table);
    if (static_cast<int>(_vars.size()) != d->arity())
      throw PimExecutionError(rt.source(), "table: " + std::to_string(_vars.size()) +
                                               " variables for a table of arity " +
                                               std::to_string(d->arity()));
    if (nargs == 3) {
      if (rt.argIsNull(2)) a.throwNull(2);
      const std::string& s = rt.argString(2);
      if (s == "residue")
        _algorithm = 1;
      else if (s == "compact")
        _algorithm = 2;
      else if (s != "auto")
        throw PimExecutionError(rt.source(), "table: unknown algorithm \"" + s +
                                                 "\" (auto, residue or compact)");
    }
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    for (NuvCPIntVarI* x : _vars)
      if (x->getSolver() != s)
        throw PimExecutionError(PimSource(), "CP$TableCstr: posted to a solver its variables do not belong to");
    const NuvCPTableData* d = _table->data();
    const int n = static_cast<int>(_vars.size());
    if (_algorithm == 1) return nuvCPNew<NuvCPTableCstrI>(s->allocator(), s, _vars.data(), n, d, _table);
    if (_algorithm == 2) return nuvCPNew<NuvCPCompactTableI>(s->allocator(), s, _vars.data(), n, d, _table);
    return nuvCPMakeTablePropagator(s, _vars.data(), n, d, _table);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPTableCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _vars;
  NuvCPTable* _table = nullptr;
  int _algorithm = 0;
};

}  // namespace

const RavMethodTable* NuvCPTable::methodTable() { return &kTable; }

NuvInstanceFactory* nuvCPTableFactory(PimAllocator* a, const char* name) {
  if (std::string(name) == "CP$TableCstr") return pimCreate<NuvCPTableCstr::Factory>(a, a, name);
  return pimCreate<NuvCPTable::Factory>(a, a, name);
}
