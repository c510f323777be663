#include "fd/NuvCPDomain.h"

#include <bit>
#include <cstring>
#include <ostream>

#include "fd/NuvCPManager.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimArchiver.h"
#include "host/PimError.h"

namespace {
const char* const kSource = "..\\..\\fd\\NuvCPDomain";
}

int NuvCPDomainI::wordsFor(int min, int max) {
  std::int64_t n = static_cast<std::int64_t>(max) - min + 1;
  if (n < 1) return 0;
  return static_cast<int>((n >> 5) + ((n & 31) != 0 ? 1 : 0));
}

NuvCPDomainI::NuvCPDomainI(PimAllocator* allocator, NuvTrailI* trail, int min, int max)
    : PimDataI(allocator), _min(min), _max(max), _trail(trail), _words(wordsFor(min, max)) {
  _bits = allocator->allocateArray<std::uint32_t>(_words);
  _stamps = allocator->allocateArray<std::uint32_t>(_words);
  if (_bits) std::memset(_bits, 0xFF, sizeof(std::uint32_t) * _words);
  if (_stamps) std::memset(_stamps, 0, sizeof(std::uint32_t) * _words);
}

NuvCPDomainI::NuvCPDomainI(PimAllocator* allocator, const NuvCPDomainI& src)
    : PimDataI(allocator), _min(src._min), _max(src._max), _trail(src._trail), _words(src._words) {
  _bits = allocator->allocateArray<std::uint32_t>(_words);
  _stamps = allocator->allocateArray<std::uint32_t>(_words);
  if (_bits) std::memcpy(_bits, src._bits, sizeof(std::uint32_t) * _words);
  if (_stamps) std::memcpy(_stamps, src._stamps, sizeof(std::uint32_t) * _words);
}

NuvCPDomainI::NuvCPDomainI(PimAllocator* allocator, NuvTrailI* trail, int min, int max, bool)
    : PimDataI(allocator), _min(min), _max(max), _trail(trail), _words(wordsFor(min, max)) {}

NuvCPDomainI::~NuvCPDomainI() = default;

void NuvCPDomainI::destroy() {
  allocator()->releaseArray(_bits, _words);
  allocator()->releaseArray(_stamps, _words);
  _bits = _stamps = nullptr;
}

NuvCPDomainI* NuvCPDomainI::clone() const {
  NuvCPDomainI* d = pimCreate<NuvCPDomainI>(allocator(), allocator(), *this);
  return d;
}

int NuvCPDomainI::copyFrom(const NuvCPDomainI& src) {
  if (!(_max == src._max && _min == src._min))
    raiseInternalAssertion("_max == src->_max && _min == src->_min", kSource, 52);
  if (_words < 1) return 0;
  int n = _words < src._words ? _words : src._words;
  for (int i = 0; i < n; ++i) {
    _bits[i] = src._bits[i];
    _stamps[i] = src._stamps[i];
  }
  return n;
}

bool NuvCPDomainI::member(int b) const {
  if (!(b >= _min && b <= _max)) {
    raiseInternalAssertion("b >= _min && b <= _max", kSource, 43);
    // Testing anyway must stay inside the arrays.
    if (b < _min || b > _max) return false;
  }
  std::uint32_t o = static_cast<std::uint32_t>(static_cast<std::int64_t>(b) - _min);
  return (_bits[o >> 5] >> (o & 31)) & 1u;
}

void NuvCPDomainI::setValue(int v, bool present) {
  if (v < _min || v > _max) return;
  std::uint32_t o = static_cast<std::uint32_t>(static_cast<std::int64_t>(v) - _min);
  int w = static_cast<int>(o >> 5);
  std::uint32_t mask = 1u << (o & 31);
  trailWord(w);
  if (present)
    _bits[w] |= mask;
  else
    _bits[w] &= ~mask;
}

int NuvCPDomainI::removeRange(int from, int to) {
  if (!(from >= _min && from <= _max))
    raiseInternalAssertion("from >= _min && from <= _max", kSource, 110);
  if (!(to >= _min && to <= _max)) raiseInternalAssertion("to >= _min && to <= _max", kSource, 111);
  if (from < _min) from = _min;
  if (to > _max) to = _max;
  if (from > to) return 0;
  const std::int64_t fo = static_cast<std::int64_t>(from) - _min;
  const std::int64_t eo = static_cast<std::int64_t>(to) + 1 - _min;
  int first = static_cast<int>(fo >> 5);
  int b = static_cast<int>(fo & 31);
  const int last = static_cast<int>(eo >> 5);
  const int e = static_cast<int>(eo & 31);
  int count = 0;
  for (int w = first; w < last; ++w) {
    std::uint32_t mask = ~0u << b;  // bits b..31
    std::uint32_t gone = _bits[w] & mask;
    count += std::popcount(gone);
    trailWord(w);
    _bits[w] &= ~mask;
    b = 0;
  }
  // The last word only when the range ends inside it: a range that ends on a
  // word's last bit leaves the next word untouched.
  if (e != 0) {
    std::uint32_t mask = (~0u << b) & ((1u << e) - 1u);  // bits b..e-1
    std::uint32_t gone = _bits[last] & mask;
    count += std::popcount(gone);
    trailWord(last);
    _bits[last] &= ~mask;
  }
  return count;
}

int NuvCPDomainI::countBetween(int from, int to) const {
  if (from < _min) from = _min;
  if (to > _max) to = _max;
  int count = 0;
  for (std::int64_t v = from; v <= to;) {
    std::int64_t o = v - _min;
    int w = static_cast<int>(o >> 5);
    int b = static_cast<int>(o & 31);
    std::int64_t wordEnd = v + (31 - b);  // last value of this word
    int e = wordEnd <= to ? 31 : static_cast<int>(b + (to - v));
    std::uint32_t mask = (~0u << b) & (e == 31 ? ~0u : ((1u << (e + 1)) - 1u));
    count += std::popcount(_bits[w] & mask);
    v = wordEnd + 1;
  }
  return count;
}

int NuvCPDomainI::nextValue(int v) const {
  std::int64_t o = static_cast<std::int64_t>(v) - _min;
  if (o < 0) o = 0;
  int w = static_cast<int>(o >> 5);
  std::uint32_t word = w < _words ? _bits[w] & (~0u << (o & 31)) : 0;
  while (word == 0 && w + 1 < _words) word = _bits[++w];
  if (word == 0) {
    // The caller promised a present value; report and answer the bound.
    raiseInternalAssertion("(_bits[mw] & mask) == mask", kSource, 196);
    return _max;
  }
  return static_cast<int>(_min + 32LL * w + std::countr_zero(word));
}

int NuvCPDomainI::prevValue(int v) const {
  std::int64_t o = static_cast<std::int64_t>(v) - _min;
  std::int64_t maxO = static_cast<std::int64_t>(_max) - _min;
  if (o > maxO) o = maxO;
  int w = o < 0 ? -1 : static_cast<int>(o >> 5);
  std::uint32_t word = 0;
  if (w >= 0) {
    int b = static_cast<int>(o & 31);
    word = _bits[w] & (b == 31 ? ~0u : ((1u << (b + 1)) - 1u));
  }
  while (word == 0 && w > 0) word = _bits[--w];
  if (word == 0 || w < 0) {
    raiseInternalAssertion("(_bits[mw] & mask) == mask", kSource, 215);
    return _min;
  }
  return static_cast<int>(_min + 32LL * w + (31 - std::countl_zero(word)));
}

int NuvCPDomainI::nthValue(int from, int k) const {
  std::int64_t o = static_cast<std::int64_t>(from) - _min;
  if (o < 0) o = 0;
  int w = static_cast<int>(o >> 5);
  std::uint32_t word = w < _words ? _bits[w] & (~0u << (o & 31)) : 0;
  for (;;) {
    const int c = std::popcount(word);
    if (k < c) break;
    k -= c;
    if (++w >= _words) {
      raiseInternalAssertion("(_bits[mw] & mask) == mask", kSource, 196);
      return _max;
    }
    word = _bits[w];
  }
  for (; k > 0; --k) word &= word - 1;  // drop the k lowest present values
  return static_cast<int>(_min + 32LL * w + std::countr_zero(word));
}

std::int64_t NuvCPDomainI::nextAbsent(int v) const {
  std::int64_t o = static_cast<std::int64_t>(v) - _min;
  if (o < 0) return v;
  int w = static_cast<int>(o >> 5);
  if (w >= _words) return static_cast<std::int64_t>(_max) + 1;
  std::uint32_t word = ~_bits[w] & (~0u << (o & 31));
  while (word == 0 && w + 1 < _words) word = ~_bits[++w];
  if (word == 0) return static_cast<std::int64_t>(_max) + 1;
  const std::int64_t a = _min + 32LL * w + std::countr_zero(word);
  return a > _max ? static_cast<std::int64_t>(_max) + 1 : a;
}

void NuvCPDomainI::archive(PimArchiver& ar) const {
  for (int i = 0; i < _words; ++i) {
    ar.sendUInt32(_bits[i]);
    ar.sendUInt32(_stamps[i]);
  }
}

void NuvCPDomainI::unarchive(PimArchiver& ar) {
  PimAllocator* a = ar.allocator();
  _bits = a->allocateArray<std::uint32_t>(_words);
  _stamps = a->allocateArray<std::uint32_t>(_words);
  if (!_bits || !_stamps)
    throw PimExecutionError(PimSource("archive", 0), "out of memory reading a domain");
  setAllocator(a);
  for (int i = 0; i < _words; ++i) {
    _bits[i] = ar.receiveUInt32();
    _stamps[i] = ar.receiveUInt32();
  }
}

void NuvCPDomainI::print(std::ostream& os) const {
  os << '{';
  bool first = true;
  if (_min <= _max) {
    for (std::int64_t v = _min; v <= _max; ++v) {
      std::int64_t o = v - _min;
      if ((_bits[o >> 5] >> (o & 31)) & 1u) {
        if (!first) os << ',';
        os << v;
        first = false;
      }
    }
  }
  os << '}';
}

// ---- language object ------------------------------------------------------------

void NuvCPDomain::print(std::ostream& os) const {
  if (_domain)
    os << "dom(" << _domain->getMin() << " .. " << _domain->getMax() << ")";
  else
    os << "dom()";
}

void NuvCPDomain::init(RavRuntime& rt, int nargs) {
  if (nargs != 2) NuvNativeObject::init(rt, nargs);
  const PimSource where("Domain constructor", 0);
  if (rt.argIsNull(0)) throw PimNullPointerError(where, "solver is null");
  if (rt.argIsNull(1)) throw PimNullPointerError(where, "range is null");
  NuvCPArgs a(rt, "Domain", {"CP$Store", "range"});
  NuvCPManager* owner = nuvCPArgStore(a, 0);
  RavIntSet r = rt.argIntSet(1);
  if (r.empty() || r.min() < INT32_MIN || r.max() > INT32_MAX)
    throw PimExecutionError(rt.source(), "Domain: the range must be a non-empty 32-bit range");
  NuvCPManagerI* s = owner->store();
  _domain = pimCreate<NuvCPDomainI>(s->allocator(), s->allocator(), s->trail(),
                                    static_cast<int>(r.min()), static_cast<int>(r.max()));
  if (!_domain || !_domain->bits())
    throw PimExecutionError(rt.source(), "out of memory creating a CP$Domain");
}

namespace {

NuvCPDomainI* dom(RavRuntime& rt, NuvNativeObject* o) {
  NuvCPDomainI* d = static_cast<NuvCPDomain*>(o)->domain();
  if (!d) throw PimExecutionError(rt.source(), "the domain was never initialised");
  return d;
}

int valueIn(RavRuntime& rt, NuvCPDomainI* d, int n) {
  const int v = rt.argInt(n);
  if (v < d->getMin() || v > d->getMax())
    throw PimExecutionError(rt.source(), "Domain: value " + std::to_string(v) + " outside " +
                                             std::to_string(d->getMin()) + ".." +
                                             std::to_string(d->getMax()));
  return v;
}

RavValue mSetValue(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPDomainI* d = dom(rt, o);
  d->setValue(valueIn(rt, d, 0), rt.argBool(1));
  return RavValue();
}
RavValue mNextValue(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPDomainI* d = dom(rt, o);
  const int v = valueIn(rt, d, 0);
  if (d->countBetween(v, d->getMax()) == 0)
    throw PimExecutionError(rt.source(), "Domain: no value from " + std::to_string(v) + " up");
  return RavValue(d->nextValue(v));
}
RavValue mPrevValue(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPDomainI* d = dom(rt, o);
  const int v = valueIn(rt, d, 0);
  if (d->countBetween(d->getMin(), v) == 0)
    throw PimExecutionError(rt.source(), "Domain: no value from " + std::to_string(v) + " down");
  return RavValue(d->prevValue(v));
}
RavValue mMember(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPDomainI* d = dom(rt, o);
  return RavValue(d->member(valueIn(rt, d, 0)));
}

const RavMethod kMethods[] = {
    {"setValue", mSetValue, 2, 2},
    {"nextValue", mNextValue, 1, 1},
    {"prevValue", mPrevValue, 1, 1},
    {"member", mMember, 1, 1},
};
const RavMethodTable kTable{kMethods, sizeof(kMethods) / sizeof(kMethods[0])};

}  // namespace

const RavMethodTable* NuvCPDomain::methodTable() { return &kTable; }
