// The backtrackable set of values of an integer variable.
//
// A bit per value of a fixed universe [_min, _max], in 32-bit words, each
// word with a stamp so that it is saved on the trail at most once per choice
// point. The domain only answers membership and next/previous questions and
// clears values; the owning variable keeps min, max and size itself, and the
// bits are authoritative only inside the variable's current bounds.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "host/PimCell.h"

class NuvCPDomainI : public PimDataI {
 public:
  // All values present, all stamps 0. Requires min <= max.
  NuvCPDomainI(PimAllocator* allocator, NuvTrailI* trail, int min, int max);
  // Same trail and universe as `src`; bits and stamps copied word by word.
  NuvCPDomainI(PimAllocator* allocator, const NuvCPDomainI& src);
  // For unarchiving: the universe is set, the arrays come from unarchive().
  NuvCPDomainI(PimAllocator* allocator, NuvTrailI* trail, int min, int max, bool noArrays);
  ~NuvCPDomainI() override;
  NuvCPDomainI(const NuvCPDomainI&) = delete;
  NuvCPDomainI& operator=(const NuvCPDomainI&) = delete;

  static constexpr int kDataId = 0x4E44;  // archive tag
  int getDataId() const override { return kDataId; }
  std::size_t classSize() const override { return sizeof(NuvCPDomainI); }

  // A copy in this domain's allocator; nullptr when it is exhausted.
  NuvCPDomainI* clone() const override;
  // Copies bits and stamps from a domain of the same universe, untrailed
  // (only for domains not yet part of a search state). Answers the number of
  // words copied.
  int copyFrom(const NuvCPDomainI& src);

  bool member(int v) const;
  void setValue(int v, bool present);
  // Clears [from, to]; answers how many of those values were present.
  int removeRange(int from, int to);
  int countBetween(int from, int to) const;
  // Smallest present value >= v; one must exist.
  int nextValue(int v) const;
  // Largest present value <= v; one must exist.
  int prevValue(int v) const;
  // The k-th (from 0) present value >= from, a word at a time; k values
  // must follow it.
  int nthValue(int from, int k) const;
  // Smallest absent value >= v, or _max + 1.
  std::int64_t nextAbsent(int v) const;

  void archive(PimArchiver& ar) const override;
  void unarchive(PimArchiver& ar) override;
  void print(std::ostream& os) const override;
  // Gives both word arrays back to the allocator.
  void destroy();

  int getMin() const { return _min; }
  int getMax() const { return _max; }
  int wordCount() const { return _words; }
  const std::uint32_t* bits() const { return _bits; }
  NuvTrailI* trail() const { return _trail; }

  static int wordsFor(int min, int max);

  // The variable's domain iterator reads these directly.
  const int _min;
  const int _max;

 private:
  void trailWord(int w) {
    PimStamp s = _trail->stamp();
    if (_stamps[w] != s) {
      _stamps[w] = s;
      _trail->trail(&_bits[w]);
    }
  }

  NuvTrailI* _trail;
  std::uint32_t* _bits = nullptr;
  std::uint32_t* _stamps = nullptr;
  int _words;
};

// "CP$Domain": the language object of a domain made directly by a script,
// over the store's allocator and trail.
#include "fd/NuvCPNative.h"

class NuvCPDomain : public NuvNativeObject {
 public:
  using NuvNativeObject::NuvNativeObject;
  std::size_t classSize() const override { return sizeof(NuvCPDomain); }
  void mark(PimMarker& m) override { m.mark(_domain); }
  // "dom(" min " .. " max ")".
  void print(std::ostream& os) const override;
  // CP$Domain(store, range).
  void init(RavRuntime& rt, int nargs) override;
  NuvCPDomainI* domain() const { return _domain; }
  static const RavMethodTable* methodTable();

  class Factory : public NuvCPFactory<NuvCPDomain> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  NuvCPDomainI* _domain = nullptr;
};
