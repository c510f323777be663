// Cells: the unit of the host's object model.
//
// A cell's first word is its allocator word: the owning allocator's address,
// whose two low bits hold the cell's mark colour. Cells live in their store's
// arena and are reclaimed with it; the mark pass exists so that the host can
// tell which cells a store still reaches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <vector>

class PimAllocator;
class PimArchiver;
class PimMarker;

class PimCellI {
 public:
  explicit PimCellI(PimAllocator* allocator = nullptr)
      : _allocWord(reinterpret_cast<std::uintptr_t>(allocator)) {}
  virtual ~PimCellI() = default;

  PimAllocator* allocator() const {
    return reinterpret_cast<PimAllocator*>(_allocWord & ~kMarkMask);
  }
  void setAllocator(PimAllocator* a) {
    _allocWord = reinterpret_cast<std::uintptr_t>(a) | (_allocWord & kMarkMask);
  }
  unsigned markColour() const { return static_cast<unsigned>(_allocWord & kMarkMask); }
  bool isMarked(unsigned colour) const { return markColour() == colour; }
  // Sets the colour; false when the cell already had it.
  bool setMarkColour(unsigned colour) {
    if (markColour() == colour) return false;
    _allocWord = (_allocWord & ~kMarkMask) | (colour & kMarkMask);
    return true;
  }

  // Size of the concrete object, as the host accounts for it.
  virtual std::size_t classSize() const { return sizeof(PimCellI); }
  // Hands every cell this one references to the marker.
  virtual void mark(PimMarker&) {}

 private:
  static constexpr std::uintptr_t kMarkMask = 3;
  std::uintptr_t _allocWord;
};

// One mark pass. Colours alternate between passes (1, 2, 1, ...), so that no
// pass has to clear the previous one's bits. Marking uses a work list rather
// than recursion: subscription lists can be long.
class PimMarker {
 public:
  explicit PimMarker(unsigned colour) : _colour(colour) {}
  unsigned colour() const { return _colour; }
  void mark(const PimCellI* cell) {
    auto* c = const_cast<PimCellI*>(cell);
    if (c && c->setMarkColour(_colour)) _work.push_back(c);
  }
  // Marks `root` and everything reachable from it; returns the number of
  // cells newly marked.
  std::size_t run(const PimCellI* root);

 private:
  unsigned _colour;
  std::vector<PimCellI*> _work;
};

// Cells with printing, copying and archiving.
class PimDataI : public PimCellI {
 public:
  using PimCellI::PimCellI;
  virtual void print(std::ostream& os) const;
  virtual int getDataId() const { return 0; }
  // A fresh copy in the same allocator; nullptr when the class cannot copy.
  virtual PimDataI* clone() const { return nullptr; }
  virtual void copy(const PimDataI&) {}
  virtual void archive(PimArchiver&) const {}
  virtual void unarchive(PimArchiver&) {}
};

std::ostream& operator<<(std::ostream& os, const PimDataI& d);

class NuvTrailI;
class PimSolutionI;

// A store: the owner of a trail and an allocator, printable and closable.
class PimStoreI : public PimDataI {
 public:
  PimStoreI(PimAllocator* allocator, NuvTrailI* trail) : PimDataI(allocator), _trail(trail) {}
  NuvTrailI* trail() const { return _trail; }
  // The colour of the next mark pass from this store.
  unsigned nextMarkColour() {
    _lastColour = _lastColour == 1 ? 2 : 1;
    return _lastColour;
  }
  // Marks everything the store reaches; returns the colour used.
  unsigned markReachable();
  virtual void refreshSolution(PimSolutionI*) {}
  virtual void close() { _closedBase = true; }
  bool isClosedBase() const { return _closedBase; }

 private:
  NuvTrailI* _trail;
  unsigned _lastColour = 0;
  bool _closedBase = false;
};

// A recorded state of a store that can be printed, archived and restored.
class PimSolutionI : public PimDataI {
 public:
  using PimDataI::PimDataI;
};
