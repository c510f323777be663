#include "fd/NuvCPBitVar.h"

#include <ostream>
#include <sstream>

#include "fd/NuvCPBitVarI.h"
#include "fd/NuvCPManager.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

void NuvCPBitVar::mark(PimMarker& m) { m.mark(_var); }

void NuvCPBitVar::print(std::ostream& os) const {
  if (_var)
    _var->print(os);
  else
    os << "var<CP>{bits}(uninitialised)";
}

void NuvCPBitVar::init(RavRuntime& rt, int nargs) {
  if (nargs != 1) NuvNativeObject::init(rt, nargs);
  NuvCPArgs a(rt, "var<CP>{bits}", {"CP$Store"});
  NuvCPManagerI* s = nuvCPArgStore(a, 0)->store();
  _var = nuvCPNew<NuvCPBitVarI>(s->allocator(), s->allocator(), s);
  if (!_var) throw PimExecutionError(rt.source(), "out of memory creating a CP$BitVar");
}

namespace {

NuvCPBitVarI* bv(RavRuntime& rt, NuvNativeObject* o) {
  NuvCPBitVarI* b = static_cast<NuvCPBitVar*>(o)->bitVar();
  if (!b) throw PimExecutionError(rt.source(), "the bit-vector variable was never initialised");
  return b;
}

std::uint32_t word(RavRuntime& rt, int n) {
  const std::int64_t w = rt.argInt64(n);
  if (w < 0 || w > 0xFFFFFFFFll)
    throw PimExecutionError(rt.source(), "CP$BitVar: " + std::to_string(w) +
                                             " is not a 32-bit unsigned word");
  return static_cast<std::uint32_t>(w);
}

RavValue mSetBit(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(bv(rt, o)->setBit(rt.argInt(0), rt.argInt(1)));
}
RavValue mSetByte(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(bv(rt, o)->setByte(rt.argInt(0), word(rt, 1) & 0xFF));
}
RavValue mBindWord(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(bv(rt, o)->bindWord(word(rt, 0)));
}
RavValue mMember(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(bv(rt, o)->member(word(rt, 0)));
}
RavValue mGetMin(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(static_cast<std::int64_t>(bv(rt, o)->getMin()));
}
RavValue mGetMax(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(static_cast<std::int64_t>(bv(rt, o)->getMax()));
}
RavValue mGetSize(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(bv(rt, o)->getSize());
}
RavValue mFreeBits(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(bv(rt, o)->freeBits());
}
RavValue mIsBound(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(bv(rt, o)->isBound());
}
RavValue mToString(RavRuntime& rt, NuvNativeObject* o, int) {
  std::ostringstream os;
  bv(rt, o)->print(os);
  return RavValue(os.str());
}

const RavMethod kMethods[] = {
    {"setBit", mSetBit, 2, 2},     {"setByte", mSetByte, 2, 2},   {"bindWord", mBindWord, 1, 1},
    {"member", mMember, 1, 1},     {"getMin", mGetMin, 0, 0},     {"getMax", mGetMax, 0, 0},
    {"getSize", mGetSize, 0, 0},   {"freeBits", mFreeBits, 0, 0}, {"isBound", mIsBound, 0, 0},
    {"toString", mToString, 0, 0},
};
const RavMethodTable kTable{kMethods, sizeof(kMethods) / sizeof(kMethods[0])};

}  // namespace

const RavMethodTable* NuvCPBitVar::methodTable() { return &kTable; }
