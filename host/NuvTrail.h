// The trail: backtrackable memory for the engine.
//
// Stamp rule. Every trailed word is paired with a stamp word. Before writing
// the word, its owner compares the stamp with the trail's current stamp; when
// they differ it saves the old value here and copies the current stamp into
// the stamp word. The current stamp changes at every push and pop of a choice
// point and never repeats, so a word is saved at most once per choice point.
//
// Stamps are 32-bit. Running out of them would silently skip a save and
// corrupt a later restore, so the trail refuses to go on instead (a
// PimExecutionError) - after about four billion choice points.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "host/PimCell.h"

using PimStamp = std::uint32_t;

class NuvTrailI {
 public:
  NuvTrailI();

  PimStamp stamp() const { return _stamp; }
  // Number of open choice points.
  std::size_t depth() const { return _marks.size(); }
  std::size_t size() const { return _size; }
  // The largest number of saved words held at once (as of the last push or
  // pop: the peak is taken at choice-point boundaries, not on every save).
  std::size_t peakSize() const { return _peak > _size ? _peak : _size; }

  // Saves the current value of a word.
  void trail(std::int8_t* w) { save(w); }
  void trail(std::uint8_t* w) { save(w); }
  void trail(std::int16_t* w) { save(w); }
  void trail(std::uint16_t* w) { save(w); }
  void trail(std::int32_t* w) { save(w); }
  void trail(std::uint32_t* w) { save(w); }
  void trail(std::int64_t* w) { save(w); }
  void trail(std::uint64_t* w) { save(w); }
  void trail(double* w) { save(w); }
  void trail(PimCellI** w) { save(w); }
  template <class T>
  void trail(T** w) {
    save(w);
  }

  // Writes `value` to `word` under the stamp rule.
  template <class T, class V>
  void assign(T& word, PimStamp& wordStamp, V value) {
    if (wordStamp != _stamp) {
      wordStamp = _stamp;
      trail(&word);
    }
    word = static_cast<T>(value);
  }

  // Opens a choice point.
  void push();
  // Restores every word saved since the last push, newest first, and closes
  // that choice point. Does nothing when no choice point is open.
  void pop();
  // Pops down to `depth` open choice points.
  void popTo(std::size_t depth);
  // Moves to a fresh stamp without opening a choice point, so that every
  // trailed word is saved again on its next write.
  void advanceStamp();

 private:
  // Sixteen bytes: the word's size (1, 2, 4 or 8) rides in the top byte of
  // its address, which user-space addresses never use on the 64-bit
  // platforms we build for (below 2^56 even with five-level paging). A
  // search that takes many right branches at one level keeps an entry per
  // branch, so the size of an entry is the size of the trail.
  static_assert(sizeof(void*) == 8, "the trail packs a size into a 64-bit address");
  static constexpr int kSizeShift = 56;
  static constexpr std::uint64_t kAddressMask = (std::uint64_t{1} << kSizeShift) - 1;
  struct Entry {
    std::uint64_t word;  // address | size << kSizeShift
    std::uint64_t bits;
  };
  // The size is known at compile time, so the copy is a single load; this
  // runs on every first write of a word in a choice point.
  template <class T>
  void save(T* address) {
    // Words written with no choice point open never need restoring.
    if (_marks.empty()) return;
    if (_size == _capacity) grow();
    Entry& e = _entries[_size++];
    e.word = reinterpret_cast<std::uint64_t>(address) | std::uint64_t{sizeof(T)} << kSizeShift;
    e.bits = 0;
    std::memcpy(&e.bits, address, sizeof(T));
  }
  void nextStamp();

  PimStamp _stamp;
  PimStamp _lastIssued;
  // A plain growable buffer: the save above is the hottest path of the
  // engine and must inline to a few stores.
  void grow();
  std::unique_ptr<Entry[]> _entries;
  std::size_t _size = 0;
  std::size_t _capacity = 0;
  std::vector<std::size_t> _marks;
  std::size_t _peak = 0;
};

// The trail as a host cell, so that stores and the archiver can refer to it.
class PimTrailWrapper : public PimDataI {
 public:
  explicit PimTrailWrapper(PimAllocator* a = nullptr) : PimDataI(a) {}
  NuvTrailI* trail() { return &_trail; }
  std::size_t classSize() const override { return sizeof(PimTrailWrapper); }
  void print(std::ostream& os) const override;

 private:
  NuvTrailI _trail;
};
