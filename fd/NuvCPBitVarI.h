// The bit-vector variable: a decision variable over 32-bit unsigned words,
// known bit by bit (lo: bits known to be 1, up: bits that may be 1) and
// bounded numerically (min, max). It is not an integer variable: it has a
// table of its own in the store, a list told of every bit that gets fixed,
// and min and max propagator lists.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "host/PimCell.h"

class NuvCPBitVarI : public PimDataI {
 public:
  NuvCPBitVarI(PimAllocator* allocator, NuvCPManagerI* solver);
  std::size_t classSize() const override { return sizeof(NuvCPBitVarI); }
  void mark(PimMarker& m) override;
  // "(" size "," free bits ")[" bit 0 .. bit 31 as 1, 0 or {0,1} "]".
  void print(std::ostream& os) const override;

  NuvCPManagerI* getSolver() const { return _solver; }
  int getId() const { return _id; }
  std::uint32_t lo() const { return _lo; }
  std::uint32_t up() const { return _up; }
  std::uint32_t getMin() const { return _min; }
  std::uint32_t getMax() const { return _max; }
  int freeBits() const { return _nbf; }
  bool isBound() const { return _nbf == 0; }

  bool member(std::uint32_t w) const { return (w & ~_up) == 0 && (w & _lo) == _lo; }
  int setBit(int k, int b);
  int setByte(int i, std::uint32_t byte);
  // Binds every bit at once. Deliberately schedules neither the min nor the
  // max list: a binding reaches propagators through the bit list only.
  int bindWord(std::uint32_t w);
  // The completions: the words obtained from lo by choosing the free bits.
  std::int64_t getInternalSize() const { return std::int64_t{1} << _nbf; }
  // The r-th completion (free bit i takes bit i of r); up when r is beyond.
  std::uint32_t valueAt(std::int64_t r) const;
  // The number of completions within [min, max].
  std::int64_t getSize() const;

  void addBit(NuvCPDaemonI* p) { _bitList.add<NuvCPDListI>(allocator(), trail(), p); }
  void addBitIdx(NuvCPDaemonI* p, int i) { _bitList.add<NuvCPDListIdxI>(allocator(), trail(), p, i); }
  void addMin(NuvCPDaemonI* p) { _minList.add<NuvCPDListI>(allocator(), trail(), p); }
  void addMax(NuvCPDaemonI* p) { _maxList.add<NuvCPDListI>(allocator(), trail(), p); }

 private:
  NuvTrailI* trail() const;
  // Completions c <= x.
  std::int64_t countUpTo(std::uint32_t x) const;

  NuvCPManagerI* _solver;
  std::int32_t _id;
  std::uint32_t _lo = 0;  // every field below is trailed
  PimStamp _loStamp;
  std::uint32_t _up = 0xFFFFFFFFu;
  PimStamp _upStamp;
  std::uint32_t _min = 0;
  PimStamp _minStamp;
  std::uint32_t _max = 0xFFFFFFFFu;
  PimStamp _maxStamp;
  std::int32_t _nbf = 32;
  PimStamp _nbfStamp;
  NuvCPListHead _bitList;
  NuvCPListHead _minList;
  NuvCPListHead _maxList;
};
