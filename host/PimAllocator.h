// Allocators of the host data library.
//
// Every solver object is a cell cut from its store's allocator. Allocation
// failure is reported as nullptr, never as an exception, so that the module
// can turn it into a status or a null handle.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

class PimCellI;

class PimAllocator {
 public:
  virtual ~PimAllocator() = default;
  // A block of at least `size` bytes aligned for any scalar, or nullptr.
  virtual void* allocate(std::size_t size) = 0;
  // Gives back a block obtained from allocate() with the same size.
  virtual void release(void* block, std::size_t size) = 0;

  // Cells allocated here are never deleted one by one. A cell that owns
  // resources outside its allocator (signals, strings) registers itself, and
  // an allocator that reclaims as a whole runs its destructor at the end.
  virtual void registerFinalizer(PimCellI*) {}

  template <class T>
  T* allocateArray(std::size_t n) {
    return static_cast<T*>(allocate(n * sizeof(T)));
  }
  template <class T>
  void releaseArray(T* p, std::size_t n) {
    if (p) release(p, n * sizeof(T));
  }
};

// malloc/free. Holds no state, so one instance may be shared by threads.
class PimSystemAllocator final : public PimAllocator {
 public:
  void* allocate(std::size_t size) override;
  void release(void* block, std::size_t size) override;
};

// The arena a store owns. Small blocks are cut from large chunks and recycled
// through per-size free lists; large blocks are allocated individually. Every
// block is reclaimed when the arena is destroyed, released or not.
//
// An optional byte limit makes allocation fail once the arena holds that many
// bytes; the front end uses it for its memory limit and tests use it to
// exercise the out-of-memory paths.
class PimArenaAllocator final : public PimAllocator {
 public:
  explicit PimArenaAllocator(std::size_t chunkSize = 64 * 1024);
  ~PimArenaAllocator() override;
  PimArenaAllocator(const PimArenaAllocator&) = delete;
  PimArenaAllocator& operator=(const PimArenaAllocator&) = delete;

  void* allocate(std::size_t size) override;
  void release(void* block, std::size_t size) override;

  void registerFinalizer(PimCellI* cell) override { _finalize.push_back(cell); }

  void setLimit(std::size_t bytes) { _limit = bytes; }  // 0: no limit
  std::size_t bytesInUse() const { return _inUse; }
  std::size_t bytesReserved() const { return _reserved; }

 private:
  static constexpr std::size_t kGranule = 16;
  static constexpr std::size_t kSmallMax = 512;  // larger blocks go alone
  struct Chunk;
  struct Large;
  struct FreeNode {
    FreeNode* next;
  };

  std::size_t _chunkSize;
  std::size_t _limit = 0;
  std::size_t _inUse = 0;
  std::size_t _reserved = 0;
  Chunk* _chunks = nullptr;
  char* _cursor = nullptr;
  char* _end = nullptr;
  Large* _large = nullptr;
  std::vector<PimCellI*> _finalize;
  FreeNode* _free[kSmallMax / kGranule + 1] = {};
};

// A stack of blocks with a current block. Allocation bumps a cursor and never
// frees; rewind() returns to the first block and keeps every block for reuse.
// The engine's scratch allocator and its value-event allocator are of this
// kind. With a block limit, allocation answers nullptr once that many blocks
// are full.
class PimStackAllocator : public PimAllocator {
 public:
  explicit PimStackAllocator(PimAllocator* backing, std::size_t blockSize = 16 * 1024,
                             std::size_t maxBlocks = 0);
  ~PimStackAllocator() override;
  PimStackAllocator(const PimStackAllocator&) = delete;
  PimStackAllocator& operator=(const PimStackAllocator&) = delete;

  void* allocate(std::size_t size) override;
  void release(void*, std::size_t) override {}  // reclaimed by rewind()
  void rewind();

  std::size_t blockCount() const { return _blockCount; }
  std::size_t currentBlockIndex() const { return _currentIndex; }
  std::size_t usedInCurrentBlock() const { return _used; }

 private:
  struct Block {
    Block* next;
    std::size_t size;
    char* data() { return reinterpret_cast<char*>(this + 1); }
  };
  bool advance(std::size_t size);

  PimAllocator* _backing;
  std::size_t _blockSize;
  std::size_t _maxBlocks;
  Block* _first = nullptr;
  Block* _current = nullptr;
  std::size_t _used = 0;
  std::size_t _blockCount = 0;
  std::size_t _currentIndex = 0;
};

// The allocator value events are cut from.
class PimAC5Allocator final : public PimStackAllocator {
 public:
  using PimStackAllocator::PimStackAllocator;
};

// Constructs a T in memory from `a`; nullptr (and no constructor call) when
// the allocator is exhausted.
template <class T, class... Args>
T* pimCreate(PimAllocator* a, Args&&... args) {
  void* p = a ? a->allocate(sizeof(T)) : nullptr;
  return p ? new (p) T(std::forward<Args>(args)...) : nullptr;
}
