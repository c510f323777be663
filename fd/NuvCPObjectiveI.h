// Objectives: propagators installed as the store's objective hook that keep
// the objective variable strictly better than the best value found (f*).
// f* is not trailed: the store re-imposes it after every restore through
// restartPropagation(), so the bound survives backtracking.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// A comparable objective value, as the host search keeps them with its
// solutions.
class NuvObjectiveValueI : public PimDataI {
 public:
  using PimDataI::PimDataI;
  // < 0 when this value is better than `other`, 0 when equal, > 0 worse.
  virtual int compare(const NuvObjectiveValueI& other) const = 0;
  // A new value one step worse (the bound a search may still accept).
  virtual NuvObjectiveValueI* degrade() const = 0;
  virtual bool isInt() const { return false; }
  virtual std::int64_t getInt() const { return 0; }
  virtual bool isFloat() const { return false; }
  virtual double getFloat() const { return 0; }
};

class NuvObjectiveMinimizeIntValueI : public NuvObjectiveValueI {
 public:
  NuvObjectiveMinimizeIntValueI(PimAllocator* a, int v) : NuvObjectiveValueI(a), _value(v) {}
  std::size_t classSize() const override { return sizeof(NuvObjectiveMinimizeIntValueI); }
  int compare(const NuvObjectiveValueI& other) const override;
  NuvObjectiveValueI* degrade() const override;
  bool isInt() const override { return true; }
  std::int64_t getInt() const override { return _value; }
  void print(std::ostream& os) const override;
  int value() const { return _value; }

 private:
  std::int32_t _value;
};

class NuvObjectiveMaximizeIntValueI : public NuvObjectiveValueI {
 public:
  NuvObjectiveMaximizeIntValueI(PimAllocator* a, int v) : NuvObjectiveValueI(a), _value(v) {}
  std::size_t classSize() const override { return sizeof(NuvObjectiveMaximizeIntValueI); }
  int compare(const NuvObjectiveValueI& other) const override;
  NuvObjectiveValueI* degrade() const override;
  bool isInt() const override { return true; }
  std::int64_t getInt() const override { return _value; }
  void print(std::ostream& os) const override;
  int value() const { return _value; }

 private:
  std::int32_t _value;
};

// The float values keep their place for the float objectives.
class NuvObjectiveMinimizeFloatValueI : public NuvObjectiveValueI {
 public:
  NuvObjectiveMinimizeFloatValueI(PimAllocator* a, double v) : NuvObjectiveValueI(a), _value(v) {}
  std::size_t classSize() const override { return sizeof(NuvObjectiveMinimizeFloatValueI); }
  int compare(const NuvObjectiveValueI& other) const override;
  NuvObjectiveValueI* degrade() const override;
  bool isFloat() const override { return true; }
  double getFloat() const override { return _value; }
  void print(std::ostream& os) const override;

 private:
  double _value;
};

class NuvObjectiveMaximizeFloatValueI : public NuvObjectiveValueI {
 public:
  NuvObjectiveMaximizeFloatValueI(PimAllocator* a, double v) : NuvObjectiveValueI(a), _value(v) {}
  std::size_t classSize() const override { return sizeof(NuvObjectiveMaximizeFloatValueI); }
  int compare(const NuvObjectiveValueI& other) const override;
  NuvObjectiveValueI* degrade() const override;
  bool isFloat() const override { return true; }
  double getFloat() const override { return _value; }
  void print(std::ostream& os) const override;

 private:
  double _value;
};

class NuvCPObjectiveI : public NuvCPCstrI {
 public:
  using NuvCPCstrI::NuvCPCstrI;
  bool isObjective() const override { return true; }
  // The nine objective operations, in slot order.
  virtual void tighten() = 0;                                         // 1
  virtual std::int64_t currentValue() const = 0;                      // 2
  virtual std::int64_t setBound(std::int64_t b) = 0;                  // 3
  virtual double getBound() const = 0;                                // 4
  virtual void reset() = 0;                                           // 5
  virtual NuvObjectiveValueI* makeCurrentValue() = 0;                 // 6
  virtual NuvObjectiveValueI* makeBoundValue() = 0;                   // 7
  virtual std::int64_t mergeValue(const NuvObjectiveValueI* v) = 0;   // 8
  virtual void tightenOnSolution() = 0;                               // 9
};

// Minimise (or, in NuvCPMaximizeI, maximise) an integer variable.
class NuvCPMinimizeI : public NuvCPObjectiveI {
 public:
  NuvCPMinimizeI(NuvCPManagerI* s, NuvCPIntVarI* x) : NuvCPObjectiveI(s), _x(x) {}
  std::size_t classSize() const override { return sizeof(NuvCPMinimizeI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int post(int level) override;
  int propagate() override;

  void tighten() override;
  std::int64_t currentValue() const override { return _x->getMin(); }
  std::int64_t setBound(std::int64_t b) override;
  double getBound() const override { return _fstar; }
  void reset() override;
  NuvObjectiveValueI* makeCurrentValue() override;
  NuvObjectiveValueI* makeBoundValue() override;
  std::int64_t mergeValue(const NuvObjectiveValueI* v) override;
  void tightenOnSolution() override;

  NuvCPIntVarI* var() const { return _x; }
  int bound() const { return _fstar; }

 protected:
  void traceTightened() const;
  NuvCPIntVarI* _x;
  std::int32_t _fstar = 0;  // not trailed
};

class NuvCPMaximizeI : public NuvCPMinimizeI {
 public:
  using NuvCPMinimizeI::NuvCPMinimizeI;
  std::size_t classSize() const override { return sizeof(NuvCPMaximizeI); }
  void print(std::ostream& os) const override;
  int post(int level) override;
  int propagate() override;
  void reset() override;
  NuvObjectiveValueI* makeCurrentValue() override;
  NuvObjectiveValueI* makeBoundValue() override;
  std::int64_t mergeValue(const NuvObjectiveValueI* v) override;
  void tightenOnSolution() override;
};
