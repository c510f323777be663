#include "fd/NuvCPTableI.h"

#include <algorithm>
#include <bit>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPShared.h"
#include "host/PimError.h"

// ---- the table ------------------------------------------------------------------

NuvCPTableData::NuvCPTableData(int arity, const std::vector<std::int32_t>& rows)
    : _n(arity), _t(static_cast<std::int32_t>(rows.size() / static_cast<std::size_t>(arity))),
      _stride(static_cast<std::size_t>(_t)), _cols(static_cast<std::size_t>(arity)) {
  const std::size_t cells = static_cast<std::size_t>(_n) * _stride;
  _cells.resize(cells);
  _next.assign(cells, kNone);
  for (std::size_t t = 0; t < _stride; ++t)
    for (int i = 0; i < _n; ++i) _cells[static_cast<std::size_t>(i) * _stride + t] = rows[t * static_cast<std::size_t>(_n) + static_cast<std::size_t>(i)];
  // A column gets one slot per value of its range while the range is at most
  // a few times its number of tuples (building stays linear), one per
  // distinct value otherwise.
  const std::int64_t denseLimit = 4 * static_cast<std::int64_t>(_t) + 1024;
  std::size_t firstSize = 0;
  for (int i = 0; i < _n; ++i) {
    Column& c = _cols[static_cast<std::size_t>(i)];
    const std::int32_t* col = column(i);
    for (int t = 0; t < _t; ++t) {
      c.min = std::min(c.min, col[t]);
      c.max = std::max(c.max, col[t]);
    }
    const std::int64_t range = static_cast<std::int64_t>(c.max) - c.min + 1;
    c.dense = range <= denseLimit;
    if (!c.dense) {
      c.distinctOff = _distinct.size();
      _distinct.insert(_distinct.end(), col, col + _t);
      auto b = _distinct.begin() + static_cast<std::ptrdiff_t>(c.distinctOff);
      std::sort(b, _distinct.end());
      _distinct.erase(std::unique(b, _distinct.end()), _distinct.end());
      c.slots = static_cast<std::int32_t>(_distinct.size() - c.distinctOff);
    } else {
      c.slots = static_cast<std::int32_t>(range);
    }
    c.firstOff = firstSize;
    firstSize += static_cast<std::size_t>(c.slots);
  }
  _distinct.shrink_to_fit();
  _first.assign(firstSize, kNone);
  for (int i = 0; i < _n; ++i) {
    const Column& c = _cols[static_cast<std::size_t>(i)];
    const std::int32_t* col = column(i);
    std::int32_t* next = _next.data() + static_cast<std::size_t>(i) * _stride;
    std::int32_t* first = _first.data() + c.firstOff;
    for (int t = 0; t < _t; ++t) {
      const int s = c.dense ? col[t] - c.min : sparseSlot(c, col[t]);
      next[t] = first[s];
      first[s] = t;
    }
  }
}

int NuvCPTableData::sparseSlot(const Column& c, int value) const {
  const std::int32_t* b = _distinct.data() + c.distinctOff;
  const std::int32_t* e = b + c.slots;
  const std::int32_t* p = std::lower_bound(b, e, value);
  return p != e && *p == value ? static_cast<int>(p - b) : -1;
}

std::size_t NuvCPTableData::bytes() const {
  return sizeof(std::int32_t) * (_cells.size() + _next.size() + _first.size() + _distinct.size()) +
         sizeof(Column) * _cols.size();
}

namespace {

// Fills link/delta (position i presents the variable of position link[i],
// its value that one's plus delta[i]); answers whether any position links.
bool computeSharing(NuvCPIntVarI* const* vars, int n, std::int32_t* link, std::int32_t* delta) {
  bool any = false;
  for (int i = 0; i < n; ++i) {
    link[i] = -1;
    delta[i] = 0;
    for (int j = 0; j < i; ++j) {
      std::int64_t d;
      if (nuvCPShared(vars[j], vars[i], d)) {
        link[i] = j;
        delta[i] = static_cast<std::int32_t>(d);
        any = true;
        break;
      }
    }
  }
  return any;
}

void printTable(std::ostream& os, NuvCPIntVarI* const* vars, int n) {
  os << "table(";
  for (int i = 0; i < n; ++i) vars[i]->print(os);
  os << ")";
}

constexpr const char* kSource = "..\\..\\fd\\NuvCPtableI";

}  // namespace

// ---- residual supports --------------------------------------------------------------

NuvCPTableCstrI::NuvCPTableCstrI(NuvCPManagerI* s, NuvCPIntVarI* const* vars, int n,
                                 const NuvCPTableData* table, PimCellI* owner)
    : NuvCPCstrI(s, 7), _n(n), _table(table), _owner(owner) {
  PimAllocator* a = s->allocator();
  const auto un = static_cast<std::size_t>(n);
  _vars = a->allocateArray<NuvCPIntVarI*>(un);
  _supOff = a->allocateArray<std::int32_t>(un + 1);
  _link = a->allocateArray<std::int32_t>(un);
  _delta = a->allocateArray<std::int32_t>(un);
  if (!_vars || !_supOff || !_link || !_delta) {
    _vars = nullptr;
    return;
  }
  for (int i = 0; i < n; ++i) _vars[i] = vars[i];
}

void NuvCPTableCstrI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_owner);
  for (int i = 0; _vars && i < _n; ++i) m.mark(_vars[i]);
}

void NuvCPTableCstrI::print(std::ostream& os) const { printTable(os, _vars, _n); }

int NuvCPTableCstrI::supportOf(int i, int v) const {
  const int s = _sup ? _table->slot(i, v) : -1;
  return s < 0 ? NuvCPTableData::kNone : _sup[_supOff[i] + s].tuple;
}

bool NuvCPTableCstrI::valid(int t) const {
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->member(_table->value(i, t))) return false;
  if (_shared)
    for (int i = 0; i < _n; ++i)
      if (_link[i] >= 0 &&
          static_cast<std::int64_t>(_table->value(i, t)) !=
              static_cast<std::int64_t>(_table->value(_link[i], t)) + _delta[i])
        return false;
  return true;
}

int NuvCPTableCstrI::post(int) {
  if (!ok() || _table->arity() != _n) return NuvCPFailure;
  _shared = computeSharing(_vars, _n, _link, _delta);
  std::size_t total = 0;
  for (int i = 0; i < _n; ++i) {
    _supOff[i] = static_cast<std::int32_t>(total);
    total += static_cast<std::size_t>(_table->slots(i));
  }
  _supOff[_n] = static_cast<std::int32_t>(total);
  _sup = store()->allocator()->allocateArray<Support>(total);
  if (!_sup) return NuvCPFailure;
  const PimStamp st = store()->trail()->stamp();
  for (std::size_t k = 0; k < total; ++k) _sup[k] = Support{NuvCPTableData::kNone, st};
  for (int i = 0; i < _n; ++i)
    if (initVar(i) == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->isBound()) _vars[i]->addAC5Value(this);
  return NuvCPSuspend;
}

int NuvCPTableCstrI::initVar(int i) {
  NuvCPIntVarI* x = _vars[i];
  if (x->updateMin(_table->colMin(i)) == NuvCPFailure || x->updateMax(_table->colMax(i)) == NuvCPFailure)
    return NuvCPFailure;
  int r = NuvCPSuspend;
  nuvCPForEachValue(x, [&](int a) {
    const int s = _table->slot(i, a);
    int t = s < 0 ? NuvCPTableData::kNone : _table->first(i, s);
    while (t != NuvCPTableData::kNone && !valid(t)) t = _table->next(i, t);
    if (t != NuvCPTableData::kNone)
      setSupport(support(i, s), t);
    else
      r = x->removeValue(a);
    return r != NuvCPFailure;
  });
  return r == NuvCPFailure ? NuvCPFailure : NuvCPSuspend;
}

int NuvCPTableCstrI::resupport(int j, int t) {
  const int s = _table->slot(j, _table->value(j, t));
  Support& e = support(j, s);
  if (e.tuple != t) return NuvCPSuspend;
  int u = _table->next(j, t);
  while (u != NuvCPTableData::kNone && !valid(u)) u = _table->next(j, u);
  if (u != NuvCPTableData::kNone) {
    setSupport(e, u);
    return NuvCPSuspend;
  }
  return _vars[j]->removeValue(_table->value(j, t)) == NuvCPFailure ? NuvCPFailure : NuvCPSuspend;
}

int NuvCPTableCstrI::removed(int i, int v) {
  const int s = _table->slot(i, v);
  if (s < 0) return NuvCPSuspend;
  for (int t = support(i, s).tuple; t != NuvCPTableData::kNone; t = _table->next(i, t))
    for (int j = 0; j < _n; ++j)
      if (j != i && resupport(j, t) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPTableCstrI::valRemove(NuvCPIntVarI* x, int v) {
  bool found = false;
  for (int i = 0; i < _n; ++i)
    if (_vars[i] == x) {
      found = true;
      if (removed(i, v) == NuvCPFailure) return NuvCPFailure;
    }
  if (!found) raiseInternalAssertion("false", kSource, 501);
  return NuvCPSuspend;
}

int NuvCPTableCstrI::revise(int j) {
  NuvCPIntVarI* x = _vars[j];
  int r = NuvCPSuspend;
  nuvCPForEachValue(x, [&](int a) {
    const int s = _table->slot(j, a);
    Support* e = s < 0 ? nullptr : &support(j, s);
    int t = e ? e->tuple : NuvCPTableData::kNone;
    while (t != NuvCPTableData::kNone && !valid(t)) t = _table->next(j, t);
    if (t != NuvCPTableData::kNone)
      setSupport(*e, t);
    else
      r = x->removeValue(a);
    return r != NuvCPFailure;
  });
  return r == NuvCPFailure ? NuvCPFailure : NuvCPSuspend;
}

int NuvCPTableCstrI::valBind(NuvCPIntVarI* x, int) {
  int i = 0;
  while (i < _n && _vars[i] != x) ++i;
  if (i == _n) {
    raiseInternalAssertion("false", kSource, 501);
    return NuvCPSuspend;
  }
  for (int j = 0; j < _n; ++j)
    if (j != i && revise(j) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

// ---- compact table -------------------------------------------------------------------

NuvCPCompactTableI::NuvCPCompactTableI(NuvCPManagerI* s, NuvCPIntVarI* const* vars, int n,
                                       const NuvCPTableData* table, PimCellI* owner)
    : NuvCPCstrI(s, 7, true), _n(n), _table(table), _owner(owner) {
  PimAllocator* a = s->allocator();
  const auto un = static_cast<std::size_t>(n);
  _vars = a->allocateArray<NuvCPIntVarI*>(un);
  _link = a->allocateArray<std::int32_t>(un);
  _delta = a->allocateArray<std::int32_t>(un);
  if (!_vars || !_link || !_delta) {
    _vars = nullptr;
    return;
  }
  for (int i = 0; i < n; ++i) _vars[i] = vars[i];
  _concrete = a->allocateArray<bool>(un);
  if (!_concrete) {
    _vars = nullptr;
    return;
  }
  for (int i = 0; i < n; ++i) _concrete[i] = vars[i]->isConcrete();
  _limitStamp = s->trail()->stamp();
}

void NuvCPCompactTableI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_owner);
  for (int i = 0; _vars && i < _n; ++i) m.mark(_vars[i]);
}

void NuvCPCompactTableI::print(std::ostream& os) const { printTable(os, _vars, _n); }

void NuvCPCompactTableI::clearTuple(int t) { _valid[t >> 6].bits &= ~(Word{1} << (t & 63)); }

int NuvCPCompactTableI::post(int) {
  if (!ok() || _table->arity() != _n) return NuvCPFailure;
  _shared = computeSharing(_vars, _n, _link, _delta);
  for (int i = 0; i < _n; ++i)
    if (_vars[i]->updateMin(_table->colMin(i)) == NuvCPFailure ||
        _vars[i]->updateMax(_table->colMax(i)) == NuvCPFailure)
      return NuvCPFailure;
  PimAllocator* a = store()->allocator();
  const int T = _table->size();
  _words = (T + 63) / 64;
  const auto uw = static_cast<std::size_t>(_words);
  const auto un = static_cast<std::size_t>(_n);
  _valid = a->allocateArray<TWord>(uw);
  _index = a->allocateArray<std::int32_t>(uw);
  _work = a->allocateArray<Word>(uw);
  _maskOff = a->allocateArray<std::size_t>(un + 1);
  if (!_valid || !_index || !_work || !_maskOff) return NuvCPFailure;
  std::size_t slots = 0;
  for (int i = 0; i < _n; ++i) {
    _maskOff[i] = slots;
    slots += static_cast<std::size_t>(_table->slots(i));
  }
  _maskOff[_n] = slots;
  _masks = a->allocateArray<Word>(slots * uw);
  _residue = a->allocateArray<std::int32_t>(slots);
  if (!_masks || !_residue) return NuvCPFailure;
  std::fill(_masks, _masks + slots * uw, Word{0});
  const PimStamp st = store()->trail()->stamp();
  for (std::size_t w = 0; w < uw; ++w) {
    const int bitsHere = std::min(64, T - static_cast<int>(w) * 64);
    _valid[w] = TWord{bitsHere == 64 ? ~Word{0} : (Word{1} << bitsHere) - 1, st};
  }
  // The tuples the current domains (and the sharing) allow; the masks.
  for (int t = 0; t < T; ++t) {
    bool ok = true;
    for (int i = 0; i < _n && ok; ++i) ok = _vars[i]->member(_table->value(i, t));
    for (int i = 0; i < _n && ok && _shared; ++i)
      ok = _link[i] < 0 || static_cast<std::int64_t>(_table->value(i, t)) ==
                               static_cast<std::int64_t>(_table->value(_link[i], t)) + _delta[i];
    if (!ok) {
      clearTuple(t);
      continue;
    }
    for (int i = 0; i < _n; ++i) {
      const int s = _table->slot(i, _table->value(i, t));
      _masks[(_maskOff[i] + static_cast<std::size_t>(s)) * uw + static_cast<std::size_t>(t >> 6)] |=
          Word{1} << (t & 63);
    }
  }
  _limit = 0;
  for (int w = 0; w < _words; ++w)
    if (_valid[w].bits) _index[_limit++] = w;
  for (std::size_t k = 0; k < slots; ++k) _residue[k] = 0;
  // Per position: the slots its variable held at the last run (a trailed
  // bit set) and its size then.
  _pos = a->allocateArray<Pos>(un);
  _snapOff = a->allocateArray<std::int32_t>(un + 1);
  if (!_pos || !_snapOff) return NuvCPFailure;
  std::int32_t snapWords = 0, maxSlots = 0;
  for (int i = 0; i < _n; ++i) {
    _snapOff[i] = snapWords;
    snapWords += (_table->slots(i) + 63) / 64;
    maxSlots = std::max(maxSlots, _table->slots(i));
  }
  _snapOff[_n] = snapWords;
  _snap = a->allocateArray<TWord>(static_cast<std::size_t>(snapWords));
  _gone = a->allocateArray<std::int32_t>(static_cast<std::size_t>(maxSlots) + 1);
  _kept = a->allocateArray<std::int32_t>(static_cast<std::size_t>(maxSlots) + 1);
  if (!_snap || !_gone || !_kept) return NuvCPFailure;
  if (_limit == 0) return NuvCPFailure;
  // The snapshots: the slots of the values the variables hold now (every
  // value left has a slot: the column bounds cut the rest, or the filter
  // below removes them as unsupported).
  for (int k = 0; k < snapWords; ++k) _snap[k] = TWord{0, st};
  for (int i = 0; i < _n; ++i) {
    int r = NuvCPSuspend;
    nuvCPForEachValue(_vars[i], [&](int v) {
      const int sl = _table->slot(i, v);
      if (sl >= 0)
        _snap[_snapOff[i] + (sl >> 6)].bits |= Word{1} << (sl & 63);
      else
        r = _vars[i]->removeValue(v);  // no tuple holds it
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return r;
  }
  const int r = filter(-1);
  if (r == NuvCPFailure) return r;
  for (int i = 0; i < _n; ++i) _pos[i] = Pos{_vars[i]->getSize(), st};
  // What filter removed is still in the snapshots: the next run finds it
  // gone (it had no valid tuple, so the set does not change).
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->isBound()) _vars[i]->addDomain(this);
  return NuvCPSuspend;
}

bool NuvCPCompactTableI::intersectWork() {
  NuvTrailI* tr = store()->trail();
  int limit = _limit;
  bool changed = false;
  for (int k = limit - 1; k >= 0; --k) {
    const int w = _index[k];
    TWord& tw = _valid[w];
    const Word nw = tw.bits & _work[w];
    if (nw != tw.bits) {
      changed = true;
      tr->assign(tw.bits, tw.stamp, nw);
      if (nw == 0) {
        _index[k] = _index[limit - 1];
        _index[limit - 1] = w;
        --limit;
      }
    }
  }
  if (limit != _limit) tr->assign(_limit, _limitStamp, limit);
  return changed;
}

bool NuvCPCompactTableI::updateVar(int i) {
  // The slots gone since the last run and those left, from the snapshot;
  // the snapshot then forgets the gone ones (trailed words).
  NuvCPIntVarI* x = _vars[i];
  NuvTrailI* tr = store()->trail();
  int gone = 0, kept = 0;
  const int first = _snapOff[i], last = _snapOff[i + 1];
  // A concrete variable's membership is read from its bits directly.
  NuvCPDomainIterator it;
  int lo = 0, hi = -1;
  const bool direct = _concrete[i];
  if (direct) {
    x->domainIterator(it);
    lo = x->getMin();
    hi = x->getMax();
  }
  auto member = [&](int v) {
    if (!direct) return x->member(v);
    if (v < lo || v > hi) return false;
    if (!it.valid) return true;  // no holes
    const std::int64_t o = std::int64_t{v} - it.base;
    return ((it.bits[o >> 5] >> (o & 31)) & 1u) != 0;
  };
  for (int w = first; w < last; ++w) {
    Word bits = _snap[w].bits, drop = 0;
    while (bits) {
      const int b = std::countr_zero(bits);
      bits &= bits - 1;
      const int sl = (w - first) * 64 + b;
      if (member(_table->slotValue(i, sl))) {
        _kept[kept++] = sl;
      } else {
        _gone[gone++] = sl;
        drop |= Word{1} << b;
      }
    }
    if (drop) tr->assign(_snap[w].bits, _snap[w].stamp, _snap[w].bits & ~drop);
  }
  if (_words == 1) {
    // Up to 64 tuples: one word, no index to walk.
    Word acc = 0;
    const bool clear = gone < kept;
    const std::int32_t* list = clear ? _gone : _kept;
    const int count = clear ? gone : kept;
    for (int k = 0; k < count; ++k) acc |= mask(i, list[k])[0];
    TWord& tw = _valid[0];
    const Word nw = clear ? tw.bits & ~acc : tw.bits & acc;
    if (nw == tw.bits) return false;
    tr->assign(tw.bits, tw.stamp, nw);
    if (nw == 0) tr->assign(_limit, _limitStamp, 0);
    return true;
  }
  for (int k = 0; k < _limit; ++k) _work[_index[k]] = 0;
  if (gone < kept) {
    // Fewer went than are left: clear the tuples of the gone values.
    for (int k = 0; k < gone; ++k) {
      const Word* m = mask(i, _gone[k]);
      for (int q = 0; q < _limit; ++q) _work[_index[q]] |= m[_index[q]];
    }
    for (int k = 0; k < _limit; ++k) _work[_index[k]] = ~_work[_index[k]];
  } else {
    // Keep the tuples of the remaining values.
    for (int k = 0; k < kept; ++k) {
      const Word* m = mask(i, _kept[k]);
      for (int q = 0; q < _limit; ++q) _work[_index[q]] |= m[_index[q]];
    }
  }
  return intersectWork();
}

int NuvCPCompactTableI::propagate() {
  NuvTrailI* tr = store()->trail();
  int changed = 0, last = -1;
  for (int i = 0; i < _n; ++i) {
    Pos& p = _pos[i];
    const int size = _vars[i]->getSize();
    if (size == p.seen) continue;
    if (updateVar(i)) {
      ++changed;
      last = i;
    }
    tr->assign(p.seen, p.seenStamp, size);
    if (_limit == 0) return NuvCPFailure;
  }
  if (changed == 0) return NuvCPSuspend;
  // When one variable's removals changed the valid set, its remaining
  // values kept every tuple they had.
  const int r = filter(changed == 1 ? last : -1);
  if (r == NuvCPFailure) return r;
  // The values filter removed had no valid tuple: the snapshots forget
  // them at the next run without changing the set.
  return r;
}

int NuvCPCompactTableI::filter(int skip) {
  // Each variable's values are its snapshot's slots: a run has brought
  // every snapshot up to its variable's domain before filtering (and post
  // before its first filter), so no domain walk and no value-to-slot
  // lookup is needed here.
  for (int i = 0; i < _n; ++i) {
    NuvCPIntVarI* x = _vars[i];
    if (i == skip || x->isBound()) {
      // A bound variable's value is supported as long as the set is not
      // empty (every valid tuple holds it).
      continue;
    }
    const int first = _snapOff[i], last = _snapOff[i + 1];
    for (int w = first; w < last; ++w) {
      for (Word bits = _snap[w].bits; bits; bits &= bits - 1) {
        const int sl = (w - first) * 64 + std::countr_zero(bits);
        const Word* m = mask(i, sl);
        if (_words == 1) {
          if (!(_valid[0].bits & m[0]) && x->removeValue(_table->slotValue(i, sl)) == NuvCPFailure)
            return NuvCPFailure;
          continue;
        }
        std::int32_t& res = _residue[_maskOff[i] + static_cast<std::size_t>(sl)];
        if (_valid[res].bits & m[res]) continue;
        bool supported = false;
        for (int k = 0; k < _limit; ++k) {
          const int wd = _index[k];
          if (_valid[wd].bits & m[wd]) {
            res = wd;
            supported = true;
            break;
          }
        }
        if (!supported && x->removeValue(_table->slotValue(i, sl)) == NuvCPFailure) return NuvCPFailure;
      }
    }
  }
  return NuvCPSuspend;
}

// ---- reified ------------------------------------------------------------------------

NuvCPTableReifI::NuvCPTableReifI(NuvCPManagerI* s, NuvCPIntVarI* const* vars, int n,
                                 const NuvCPTableData* table, NuvCPIntVarI* b, PimCellI* owner)
    : NuvCPCstrI(s), _n(n), _table(table), _b(b), _owner(owner) {
  PimAllocator* a = s->allocator();
  const auto un = static_cast<std::size_t>(n);
  _vars = a->allocateArray<NuvCPIntVarI*>(un);
  _markOff = a->allocateArray<std::size_t>(un + 1);
  if (!_vars || !_markOff) {
    _vars = nullptr;
    return;
  }
  std::size_t slots = 0;
  for (int i = 0; i < n; ++i) {
    _vars[i] = vars[i];
    _markOff[i] = slots;
    slots += static_cast<std::size_t>(table->arity() == n ? table->slots(i) : 0);
  }
  _markOff[n] = slots;
  _marks = a->allocateArray<std::uint8_t>(slots + 1);
}

void NuvCPTableReifI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_owner);
  m.mark(_b);
  for (int i = 0; _vars && i < _n; ++i) m.mark(_vars[i]);
}

void NuvCPTableReifI::print(std::ostream& os) const {
  printTable(os, _vars, _n);
  os << " <=> ";
  _b->print(os);
}

bool NuvCPTableReifI::valid(int t) const {
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->member(_table->value(i, t))) return false;
  return true;
}

int NuvCPTableReifI::post(int) {
  if (!ok() || _table->arity() != _n) return NuvCPFailure;
  // b is a truth value, whatever variable stands for it.
  if (_b->updateMin(0) == NuvCPFailure || _b->updateMax(1) == NuvCPFailure) return NuvCPFailure;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->isBound()) _vars[i]->addDomain(this);
  if (!_b->isBound()) _b->addDomain(this);
  return NuvCPSuspend;
}

int NuvCPTableReifI::propagate() {
  // Removals here can bind a position and so change which rows remain:
  // repeat until a pass removes nothing (each pass removes a value or
  // stops, so this ends).
  for (;;) {
    bool changed = false;
    const int r = pass(changed);
    if (r != NuvCPSuspend || !changed) return r;
  }
}

int NuvCPTableReifI::pass(bool& changed) {
  const int T = _table->size();
  const bool must = _b->isBound() && _b->getMin() == 1;
  const bool mustNot = _b->isBound() && _b->getMin() == 0;
  int open = -1, opens = 0;
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->isBound()) {
      open = i;
      ++opens;
    }
  if (must) std::fill(_marks, _marks + _markOff[_n], std::uint8_t{0});
  int rows = 0;
  for (int t = 0; t < T; ++t) {
    if (!valid(t)) continue;
    ++rows;
    if (must) {
      for (int i = 0; i < _n; ++i)
        _marks[_markOff[i] + static_cast<std::size_t>(_table->slot(i, _table->value(i, t)))] = 1;
    } else if (mustNot && opens == 1) {
      // The bound positions match this row: its value at the open one
      // would complete it.
      if (_vars[open]->member(_table->value(open, t))) {
        changed = true;
        if (_vars[open]->removeValue(_table->value(open, t)) == NuvCPFailure) return NuvCPFailure;
      }
    }
  }
  if (rows == 0) return _b->bind(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  if (mustNot) return opens <= 1 ? (opens == 0 ? NuvCPFailure : NuvCPSuccess) : NuvCPSuspend;
  if (opens == 0) return _b->bind(1) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  if (!must) return NuvCPSuspend;
  // b holds: every value without a row goes.
  for (int i = 0; i < _n; ++i) {
    NuvCPIntVarI* x = _vars[i];
    if (x->isBound()) continue;
    int r = NuvCPSuspend;
    nuvCPForEachValue(x, [&](int v) {
      const int sl = _table->slot(i, v);
      if (sl < 0 || !_marks[_markOff[i] + static_cast<std::size_t>(sl)]) {
        changed = true;
        r = x->removeValue(v);
      }
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return r;
  }
  return NuvCPSuspend;
}

bool nuvCPCompactFits(const NuvCPTableData& table) {
  if (table.size() < kNuvCPCompactTuples) return false;
  // One mask of T bits per (column, value): with many values per column
  // the masks outgrow the table itself (1,000 values a column over a
  // million rows would take 375 MB); such tables keep residual supports.
  std::int64_t slots = 0;
  for (int i = 0; i < table.arity(); ++i) slots += table.slots(i);
  return slots <= std::int64_t{kNuvCPCompactSlotsPerColumn} * table.arity();
}

NuvCPCstrI* nuvCPMakeTablePropagator(NuvCPManagerI* s, NuvCPIntVarI* const* vars, int n,
                                     const NuvCPTableData* table, PimCellI* owner) {
  if (nuvCPCompactFits(*table))
    return nuvCPNew<NuvCPCompactTableI>(s->allocator(), s, vars, n, table, owner);
  return nuvCPNew<NuvCPTableCstrI>(s->allocator(), s, vars, n, table, owner);
}
