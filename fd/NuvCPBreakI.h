// Activities and a calendar of breaks (times when the resource does not
// work): explicit breaks or breaks that recur with a period.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// The breaks: disjoint half-open intervals [from, to), either listed in
// increasing order or [offset + k * period, offset + k * period + length)
// for every integer k (0 < length < period).
class NuvCPBreakCalendar {
 public:
  // Listed breaks (copied; the arrays are sorted, disjoint, from < to).
  bool init(PimAllocator* a, int n, const int* from, const int* to);
  void initPeriodic(std::int64_t offset, std::int64_t period, std::int64_t length);

  // The first break that ends after t (it may contain t); false if none.
  bool after(std::int64_t t, std::int64_t& from, std::int64_t& to) const;
  // The last break that starts before t; false if none.
  bool before(std::int64_t t, std::int64_t& from, std::int64_t& to) const;
  // The smallest v' >= v (the largest v' <= v) at which [v', v' + d) meets
  // no break; d > 0. kNever when there is none.
  std::int64_t fitUp(std::int64_t v, std::int64_t d) const;
  std::int64_t fitDown(std::int64_t v, std::int64_t d) const;
  // Working time: the end of d units of work started at t (inside a
  // break: at its end), the work pausing during breaks. Non-decreasing in
  // t and in d.
  std::int64_t finish(std::int64_t t, std::int64_t d) const;
  bool inside(std::int64_t t) const;

  static constexpr std::int64_t kNever = INT64_MAX / 4;

 private:
  bool _periodic = false;
  std::int64_t _offset = 0, _period = 0, _length = 0;
  int _n = 0;
  std::int32_t* _from = nullptr;
  std::int32_t* _to = nullptr;
};

// n activities (start, duration, end; end = start + duration kept by the
// activity) on a resource with breaks. Not breakable: an activity of
// positive duration runs within one stretch between breaks, [s, s + d)
// meeting no break. Breakable: an activity starts outside a break and its
// work pauses during breaks: end = the time its d units of work are done.
//
// Consistency: bounds. Not breakable: each start's bounds move to the
// nearest times at which [s, s + min d) meets no break (a longer duration
// meets every break the minimum meets). Breakable: starts leave breaks,
// the end lies within [finish(min s, min d), finish(max s, max d)], and
// the start's bounds follow from the end's by the monotony of finish
// (binary search). No published algorithm is followed: the rules are the
// calendar's own monotony (a later start or a longer duration never ends
// earlier). Durations are only read, so each rule holds of every
// schedule; once all is bound the relation is checked exactly. Not
// idempotent (a start moved into a break is moved out on the next run):
// its own changes queue it again.
// Cost of one run: O(n * (breaks met + log)) listed, O(n) periodic; the
// breakable bounds by binary search, O(log range) finishes each.
// Shared arguments: every narrowing follows from the bounds of one
// activity, read afresh; a variable in several places only weakens it.
// Members: the variables, the calendar and the flag are constant; nothing
// is trailed.
class NuvCPBreakI : public NuvCPCstrI {
 public:
  NuvCPBreakI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration,
              NuvCPIntVarI* const* end, const NuvCPBreakCalendar& calendar, bool breakable, bool periodic);
  std::size_t classSize() const override { return sizeof(NuvCPBreakI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || (_start && _duration && _end); }

 private:
  int fixed(int i);      // not breakable
  int breakable(int i);

  std::int32_t _n;
  NuvCPIntVarI** _start;
  NuvCPIntVarI** _duration;
  NuvCPIntVarI** _end;
  NuvCPBreakCalendar _calendar;
  bool _breakable;
  bool _periodic;
};
