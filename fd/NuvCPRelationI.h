// Binary and reified relations and the Boolean connectives: the small
// propagators every model uses. None keeps a domain of its own; all work
// through the integer-variable operations and their events.
//
// Offsets: a sum such as y.getMin() + k is formed in 64 bits and clamped to
// the int range before it reaches a variable. Concrete variables hold values
// within -1073741823..1073741822 and offset views (|c| < 2^30) stay strictly
// inside the int range, so INT32_MIN and INT32_MAX are never possible
// values: a clamped bound or value lies outside every domain exactly when
// the true one does, and the narrowing that follows fails, or removes
// nothing, as it would with unbounded integers. No valid value is ever
// pruned because of a wrapped sum; the search tests check this at the ends
// of the range, through views too.
//
// Shared variables: any two of x, y and b may be one variable, or offset
// views of one (fd/NuvCPShared.h). Reasoning on them as independent would
// prune solutions or accept non-solutions (x <= x - 1 binding x to its
// own bound), so every post first compares the roots:
//  - binary relations over one root: x - (y + k) is a constant, so the post
//    is entailed or fails and subscribes nothing; x + y <= k with y == x + g
//    becomes x <= floor((k - g) / 2), entailed;
//  - reified unary with b on x's root: each of b's two values fixes x, so
//    the post keeps the values of b that agree with the relation there and
//    is entailed;
//  - reified binary with x and y on one root: the relation is decided, b is
//    bound at post. With b on x's root (or y's), each of b's values fixes
//    that operand and leaves a unary condition (==, !=, >= or <= a
//    constant) on the other one, z: the propagator (for as long as it
//    lives) drops b's values whose condition no value of z meets and z's
//    values that meet neither condition, and once b is fixed narrows z to
//    its condition and is entailed. Domain consistent; it watches z's domain
//    (its bounds for <=) and b's binding, never the AC5 value events;
//  - connectives with a Boolean in two or three positions: propagated value
//    by value over the distinct variables (at most eight assignments),
//    domain consistent, entailed once they are bound.
// The shared forms keep no state of their own: sharing is read from the
// arguments (which never change) at each call.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPIntMath.h"

// a + b clamped to the int range.
inline int nuvCPAdd(std::int64_t a, std::int64_t b) { return nuvCPClampInt(a + b); }

// ---- x == y + k and friends -----------------------------------------------------------

class NuvCPEqualI : public NuvCPCstrI {
 public:
  NuvCPEqualI(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, int k)
      : NuvCPCstrI(s), _x(x), _y(y), _k(k) {}
  std::size_t classSize() const override { return sizeof(NuvCPEqualI); }
  void mark(PimMarker& m) override;
  NuvCPIntVarI* x() const { return _x; }
  NuvCPIntVarI* y() const { return _y; }
  int k() const { return _k; }

 protected:
  // The four bound updates of x == y + k, stopping at the first failure.
  int boundUpdates();
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  std::int32_t _k;
};

// x == y + k, bounds consistency.
class NuvCPEqualBCI : public NuvCPEqualI {
 public:
  using NuvCPEqualI::NuvCPEqualI;
  std::size_t classSize() const override { return sizeof(NuvCPEqualBCI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// x == y + k, domain consistency.
class NuvCPEqualACI : public NuvCPEqualI {
 public:
  using NuvCPEqualI::NuvCPEqualI;
  std::size_t classSize() const override { return sizeof(NuvCPEqualACI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  int valRemove(NuvCPIntVarI* v, int val) override;
  int valBind(NuvCPIntVarI* v, int val) override;
};

// Two variables and an offset: the common shape of LEqual, SLEqual, NEqual.
class NuvCPBinaryI : public NuvCPCstrI {
 public:
  NuvCPBinaryI(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, int k)
      : NuvCPCstrI(s), _x(x), _y(y), _k(k) {}
  void mark(PimMarker& m) override;
  NuvCPIntVarI* x() const { return _x; }
  NuvCPIntVarI* y() const { return _y; }
  int k() const { return _k; }

 protected:
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  std::int32_t _k;
};

// x <= y + k
class NuvCPLEqualI : public NuvCPBinaryI {
 public:
  using NuvCPBinaryI::NuvCPBinaryI;
  std::size_t classSize() const override { return sizeof(NuvCPLEqualI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// x + y <= k
class NuvCPSLEqualI : public NuvCPBinaryI {
 public:
  using NuvCPBinaryI::NuvCPBinaryI;
  std::size_t classSize() const override { return sizeof(NuvCPSLEqualI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// x != y + k
class NuvCPNEqualI : public NuvCPBinaryI {
 public:
  using NuvCPBinaryI::NuvCPBinaryI;
  std::size_t classSize() const override { return sizeof(NuvCPNEqualI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// ---- unary relations ----------------------------------------------------------------

class NuvCPRelationcI : public NuvCPCstrI {
 public:
  NuvCPRelationcI(NuvCPManagerI* s, NuvCPIntVarI* x, int k) : NuvCPCstrI(s), _x(x), _k(k) {}
  void mark(PimMarker& m) override;
  NuvCPIntVarI* x() const { return _x; }
  int k() const { return _k; }

 protected:
  NuvCPIntVarI* _x;
  std::int32_t _k;
};

#define NUV_CP_UNARY(Name)                                                  \
  class Name : public NuvCPRelationcI {                                     \
   public:                                                                  \
    using NuvCPRelationcI::NuvCPRelationcI;                                 \
    std::size_t classSize() const override { return sizeof(Name); }        \
    void print(std::ostream& os) const override;                            \
    int post(int level) override;                                           \
  };
NUV_CP_UNARY(NuvCPEqualcI)   // x == k
NUV_CP_UNARY(NuvCPNEqualcI)  // x != k
NUV_CP_UNARY(NuvCPLEqualcI)  // x <= k
NUV_CP_UNARY(NuvCPGEqualcI)  // x >= k
#undef NUV_CP_UNARY

// ---- reified unary relations: b <=> (x rel k) ---------------------------------------

class NuvCPReifyUnaryI : public NuvCPCstrI {
 public:
  NuvCPReifyUnaryI(NuvCPManagerI* s, NuvCPIntVarI* x, int k, NuvCPIntVarI* b)
      : NuvCPCstrI(s), _x(x), _k(k), _b(b) {}
  void mark(PimMarker& m) override;
  NuvCPIntVarI* x() const { return _x; }
  int k() const { return _k; }
  NuvCPIntVarI* b() const { return _b; }

 protected:
  NuvCPIntVarI* _x;
  std::int32_t _k;
  NuvCPIntVarI* _b;
};

// b <=> x == k, through x's equality watcher for k when it has none yet.
class NuvCPReifyEqualcI : public NuvCPReifyUnaryI {
 public:
  using NuvCPReifyUnaryI::NuvCPReifyUnaryI;
  std::size_t classSize() const override { return sizeof(NuvCPReifyEqualcI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  int valRemove(NuvCPIntVarI* v, int val) override;
  int valBind(NuvCPIntVarI* v, int val) override;
};

// b <=> x != k
class NuvCPReifyNEqualcI : public NuvCPReifyUnaryI {
 public:
  using NuvCPReifyUnaryI::NuvCPReifyUnaryI;
  std::size_t classSize() const override { return sizeof(NuvCPReifyNEqualcI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  int valRemove(NuvCPIntVarI* v, int val) override;
  int valBind(NuvCPIntVarI* v, int val) override;
};

// b <=> x <= k
class NuvCPReifyLEqualcI : public NuvCPReifyUnaryI {
 public:
  using NuvCPReifyUnaryI::NuvCPReifyUnaryI;
  std::size_t classSize() const override { return sizeof(NuvCPReifyLEqualcI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  int decide(bool posting);
};

// b <=> x >= k
class NuvCPReifyGEqualcI : public NuvCPReifyUnaryI {
 public:
  using NuvCPReifyUnaryI::NuvCPReifyUnaryI;
  std::size_t classSize() const override { return sizeof(NuvCPReifyGEqualcI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  int decide(bool posting);
};

// ---- reified binary relations: b <=> (x rel y + k) ----------------------------------

class NuvCPReifyBinaryI : public NuvCPCstrI {
 public:
  NuvCPReifyBinaryI(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, int k, NuvCPIntVarI* b)
      : NuvCPCstrI(s), _x(x), _y(y), _k(k), _b(b), _controlShared(sharedControl(x, y, b)) {}
  void mark(PimMarker& m) override;
  NuvCPIntVarI* x() const { return _x; }
  NuvCPIntVarI* y() const { return _y; }
  int k() const { return _k; }
  NuvCPIntVarI* b() const { return _b; }

 protected:
  // With b unbound: b := 0 / 1 when the equality is decided, else 2.
  // `equalIs` is the value b takes when x == y + k holds.
  int decideEquality(int equalIs);
  // The relation that b reifies: x rel y + k.
  enum class Rel { Eq, Ne, Le };
  // Sharing, seen at post: the post's status, or -1 when x, y and b have
  // three different roots.
  int postShared(Rel rel);
  // b shares its root with x or with y (roots never change: read once, at
  // construction, rather than following views on every run).
  bool controlShared() const { return _controlShared; }
  static bool sharedControl(const NuvCPIntVarI* x, const NuvCPIntVarI* y, const NuvCPIntVarI* b);
  // b and the operand it does not share with: drops each of b's values
  // that no value of the operand supports, and once b is decided narrows
  // the operand to the values that agree with it (entailed).
  int propagateSharedControl(Rel rel);
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  std::int32_t _k;
  NuvCPIntVarI* _b;
  bool _controlShared;  // constant
};

class NuvCPReifyEqualI : public NuvCPReifyBinaryI {
 public:
  using NuvCPReifyBinaryI::NuvCPReifyBinaryI;
};

// b <=> x == y + k, bounds reasoning.
class NuvCPReifyEqualBCI : public NuvCPReifyEqualI {
 public:
  using NuvCPReifyEqualI::NuvCPReifyEqualI;
  std::size_t classSize() const override { return sizeof(NuvCPReifyEqualBCI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// b <=> x == y + k, domain reasoning.
class NuvCPReifyEqualACI : public NuvCPReifyEqualI {
 public:
  using NuvCPReifyEqualI::NuvCPReifyEqualI;
  std::size_t classSize() const override { return sizeof(NuvCPReifyEqualACI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  int valRemove(NuvCPIntVarI* v, int val) override;
  int valBind(NuvCPIntVarI* v, int val) override;
};

// b <=> x != y + k
class NuvCPReifyNEqualI : public NuvCPReifyBinaryI {
 public:
  using NuvCPReifyBinaryI::NuvCPReifyBinaryI;
  std::size_t classSize() const override { return sizeof(NuvCPReifyNEqualI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  int valRemove(NuvCPIntVarI* v, int val) override;
  int valBind(NuvCPIntVarI* v, int val) override;
};

// b <=> x <= y + k
class NuvCPReifyLEqualI : public NuvCPReifyBinaryI {
 public:
  using NuvCPReifyBinaryI::NuvCPReifyBinaryI;
  std::size_t classSize() const override { return sizeof(NuvCPReifyLEqualI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// ---- Boolean connectives: b <=> x op y over Boolean variables ---------------------

class NuvCPBoolVarI;

class NuvCPLogicI : public NuvCPCstrI {
 public:
  NuvCPLogicI(NuvCPManagerI* s, NuvCPBoolVarI* x, NuvCPBoolVarI* y, NuvCPBoolVarI* b)
      : NuvCPCstrI(s), _x(x), _y(y), _b(b) {}
  void mark(PimMarker& m) override;

 protected:
  // Subscribes to the bind events of whichever of x, y, b is unbound.
  void subscribeUnbound();
  // Some variable fills two or three of the positions.
  bool shared() const { return _x == _y || _x == _b || _y == _b; }
  // The connective over the distinct variables, value by value: keeps each
  // value that some assignment (at most eight) agreeing with the sharing
  // supports; entailed once every variable is bound.
  int propagateShared(bool (*op)(int, int));
  void printAs(std::ostream& os, const char* op) const;
  NuvCPBoolVarI* _x;
  NuvCPBoolVarI* _y;
  NuvCPBoolVarI* _b;
};

// b <=> x && y
class NuvCPLogicAndI : public NuvCPLogicI {
 public:
  using NuvCPLogicI::NuvCPLogicI;
  std::size_t classSize() const override { return sizeof(NuvCPLogicAndI); }
  void print(std::ostream& os) const override { printAs(os, " && "); }
  int propagate() override;
  int post(int level) override;
};

// b <=> x || y
class NuvCPLogicOrI : public NuvCPLogicI {
 public:
  using NuvCPLogicI::NuvCPLogicI;
  std::size_t classSize() const override { return sizeof(NuvCPLogicOrI); }
  void print(std::ostream& os) const override { printAs(os, " || "); }
  int propagate() override;
  int post(int level) override;
};

// b <=> (x => y)
class NuvCPLogicImplyI : public NuvCPLogicI {
 public:
  using NuvCPLogicI::NuvCPLogicI;
  std::size_t classSize() const override { return sizeof(NuvCPLogicImplyI); }
  void print(std::ostream& os) const override { printAs(os, " => "); }
  int propagate() override;
  int post(int level) override;
};
