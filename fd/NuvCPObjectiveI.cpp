#include "fd/NuvCPObjectiveI.h"

#include <cmath>
#include <iostream>
#include <limits>

#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"
#include "host/PimThread.h"
#include "host/Rav.h"

namespace {

template <class T>
int order(T a, T b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

PimSource sourceOf(const NuvCPManagerI* s) {
  return s->runtime() ? s->runtime()->source() : PimSource();
}

}  // namespace

// ---- values ---------------------------------------------------------------------------

int NuvObjectiveMinimizeIntValueI::compare(const NuvObjectiveValueI& o) const {
  return order<std::int64_t>(_value, o.getInt());
}
NuvObjectiveValueI* NuvObjectiveMinimizeIntValueI::degrade() const {
  return pimCreate<NuvObjectiveMinimizeIntValueI>(allocator(), allocator(),
                                                  _value == INT32_MAX ? _value : _value + 1);
}
void NuvObjectiveMinimizeIntValueI::print(std::ostream& os) const { os << _value; }

int NuvObjectiveMaximizeIntValueI::compare(const NuvObjectiveValueI& o) const {
  return order<std::int64_t>(o.getInt(), _value);
}
NuvObjectiveValueI* NuvObjectiveMaximizeIntValueI::degrade() const {
  return pimCreate<NuvObjectiveMaximizeIntValueI>(allocator(), allocator(),
                                                  _value == INT32_MIN ? _value : _value - 1);
}
void NuvObjectiveMaximizeIntValueI::print(std::ostream& os) const { os << _value; }

int NuvObjectiveMinimizeFloatValueI::compare(const NuvObjectiveValueI& o) const {
  return order<double>(_value, o.getFloat());
}
NuvObjectiveValueI* NuvObjectiveMinimizeFloatValueI::degrade() const {
  return pimCreate<NuvObjectiveMinimizeFloatValueI>(
      allocator(), allocator(), std::nextafter(_value, std::numeric_limits<double>::infinity()));
}
void NuvObjectiveMinimizeFloatValueI::print(std::ostream& os) const { os << _value; }

int NuvObjectiveMaximizeFloatValueI::compare(const NuvObjectiveValueI& o) const {
  return order<double>(o.getFloat(), _value);
}
NuvObjectiveValueI* NuvObjectiveMaximizeFloatValueI::degrade() const {
  return pimCreate<NuvObjectiveMaximizeFloatValueI>(
      allocator(), allocator(), std::nextafter(_value, -std::numeric_limits<double>::infinity()));
}
void NuvObjectiveMaximizeFloatValueI::print(std::ostream& os) const { os << _value; }

// ---- minimise ---------------------------------------------------------------------------

void NuvCPMinimizeI::mark(PimMarker& m) {
  NuvCPObjectiveI::mark(m);
  m.mark(_x);
}

void NuvCPMinimizeI::print(std::ostream& os) const {
  os << "minimize ";
  _x->print(os);
  os << "f* = " << _fstar;
}

int NuvCPMinimizeI::post(int) {
  _fstar = _x->getMax() + 1;  // within int: the bound is at most 1073741822
  _x->addBounds(this);
  return NuvCPSuspend;
}

int NuvCPMinimizeI::propagate() {
  return _x->updateMax(_fstar == INT32_MIN ? INT32_MIN : _fstar - 1) > 0 ? NuvCPSuspend
                                                                         : NuvCPFailure;
}

void NuvCPMinimizeI::traceTightened() const {
  const RavRuntime* rt = store()->runtime();
  // Without a host runtime there is no trace level: the line is written.
  if (rt && const_cast<RavRuntime*>(rt)->program().getMgr()->getTraceLevel() < 0) return;
  PimThreadKey::output() << "objective tightened to: " << _fstar << std::endl;
}

void NuvCPMinimizeI::tighten() {
  _fstar = _x->getMin();
  traceTightened();
}

std::int64_t NuvCPMinimizeI::setBound(std::int64_t b) {
  _fstar = static_cast<std::int32_t>(b < INT32_MIN ? INT32_MIN : b > INT32_MAX ? INT32_MAX : b);
  return _fstar;
}

void NuvCPMinimizeI::reset() {
  _fstar = INT32_MAX;
  std::cout << "objective reset to: " << INT32_MAX << std::endl;
}

NuvObjectiveValueI* NuvCPMinimizeI::makeCurrentValue() {
  return pimCreate<NuvObjectiveMinimizeIntValueI>(allocator(), allocator(), _x->getMin());
}

NuvObjectiveValueI* NuvCPMinimizeI::makeBoundValue() {
  return pimCreate<NuvObjectiveMinimizeIntValueI>(allocator(), allocator(), _fstar);
}

std::int64_t NuvCPMinimizeI::mergeValue(const NuvObjectiveValueI* v) {
  auto* mine = dynamic_cast<const NuvObjectiveMinimizeIntValueI*>(v);
  if (!mine)
    throw PimExecutionError(sourceOf(store()),
                            "Minimize<CP>: the objective value is not of the proper type");
  if (mine->value() < _fstar) _fstar = mine->value();
  return mine->value();
}

void NuvCPMinimizeI::tightenOnSolution() {
  if (!_x->isBound())
    throw PimExecutionError(sourceOf(store()), "Minimize<CP>: the objective function is not bound");
  tighten();
}

// ---- maximise ---------------------------------------------------------------------------

void NuvCPMaximizeI::print(std::ostream& os) const {
  os << "maximize ";
  _x->print(os);
  os << "f* = " << _fstar;
}

int NuvCPMaximizeI::post(int) {
  _fstar = _x->getMin() - 1;  // within int: the bound is at least -1073741823
  _x->addBounds(this);
  return NuvCPSuspend;
}

int NuvCPMaximizeI::propagate() {
  return _x->updateMin(_fstar == INT32_MAX ? INT32_MAX : _fstar + 1) > 0 ? NuvCPSuspend
                                                                         : NuvCPFailure;
}

void NuvCPMaximizeI::reset() {
  _fstar = INT32_MIN;
  std::cout << "objective reset to: " << INT32_MIN << std::endl;
}

NuvObjectiveValueI* NuvCPMaximizeI::makeCurrentValue() {
  return pimCreate<NuvObjectiveMaximizeIntValueI>(allocator(), allocator(), _x->getMin());
}

NuvObjectiveValueI* NuvCPMaximizeI::makeBoundValue() {
  return pimCreate<NuvObjectiveMaximizeIntValueI>(allocator(), allocator(), _fstar);
}

std::int64_t NuvCPMaximizeI::mergeValue(const NuvObjectiveValueI* v) {
  auto* mine = dynamic_cast<const NuvObjectiveMaximizeIntValueI*>(v);
  if (!mine)
    throw PimExecutionError(sourceOf(store()),
                            "Maximize<CP>: the objective value is not of the proper type");
  if (mine->value() > _fstar) _fstar = mine->value();
  return mine->value();
}

void NuvCPMaximizeI::tightenOnSolution() {
  if (!_x->isBound())
    throw PimExecutionError(sourceOf(store()), "Maximize<CP>: the objective function is not bound");
  tighten();
}
