#include "host/PimAllocator.h"

#include <cstdlib>
#include <new>

#include "host/PimCell.h"

void* PimSystemAllocator::allocate(std::size_t size) { return std::malloc(size ? size : 1); }

void PimSystemAllocator::release(void* block, std::size_t) { std::free(block); }

// ---- arena ----------------------------------------------------------------

struct PimArenaAllocator::Chunk {
  Chunk* next;
  std::size_t size;
  alignas(std::max_align_t) char data[1];
};

struct PimArenaAllocator::Large {
  Large* prev;
  Large* next;
  std::size_t size;
  std::size_t pad;  // keeps the payload 16-byte aligned
};

PimArenaAllocator::PimArenaAllocator(std::size_t chunkSize) : _chunkSize(chunkSize) {}

PimArenaAllocator::~PimArenaAllocator() {
  for (auto it = _finalize.rbegin(); it != _finalize.rend(); ++it) (*it)->~PimCellI();
  while (_chunks) {
    Chunk* next = _chunks->next;
    std::free(_chunks);
    _chunks = next;
  }
  while (_large) {
    Large* next = _large->next;
    std::free(_large);
    _large = next;
  }
}

void* PimArenaAllocator::allocate(std::size_t size) {
  std::size_t rounded = (size + kGranule - 1) / kGranule * kGranule;
  if (rounded == 0) rounded = kGranule;
  if (_limit && _inUse + rounded > _limit) return nullptr;
  if (rounded > kSmallMax) {
    auto* l = static_cast<Large*>(std::malloc(sizeof(Large) + rounded));
    if (!l) return nullptr;
    l->prev = nullptr;
    l->next = _large;
    l->size = rounded;
    if (_large) _large->prev = l;
    _large = l;
    _inUse += rounded;
    _reserved += rounded;
    return l + 1;
  }
  FreeNode*& list = _free[rounded / kGranule];
  if (list) {
    FreeNode* n = list;
    list = n->next;
    _inUse += rounded;
    return n;
  }
  if (_cursor == nullptr || static_cast<std::size_t>(_end - _cursor) < rounded) {
    std::size_t bytes = offsetof(Chunk, data) + _chunkSize;
    auto* c = static_cast<Chunk*>(std::malloc(bytes));
    if (!c) return nullptr;
    c->next = _chunks;
    c->size = _chunkSize;
    _chunks = c;
    _cursor = c->data;
    _end = c->data + _chunkSize;
    _reserved += _chunkSize;
  }
  void* p = _cursor;
  _cursor += rounded;
  _inUse += rounded;
  return p;
}

void PimArenaAllocator::release(void* block, std::size_t size) {
  if (!block) return;
  std::size_t rounded = (size + kGranule - 1) / kGranule * kGranule;
  if (rounded == 0) rounded = kGranule;
  _inUse -= rounded;
  if (rounded > kSmallMax) {
    Large* l = static_cast<Large*>(block) - 1;
    if (l->prev)
      l->prev->next = l->next;
    else
      _large = l->next;
    if (l->next) l->next->prev = l->prev;
    _reserved -= l->size;
    std::free(l);
    return;
  }
  auto* n = static_cast<FreeNode*>(block);
  n->next = _free[rounded / kGranule];
  _free[rounded / kGranule] = n;
}

// ---- stack allocator --------------------------------------------------------

PimStackAllocator::PimStackAllocator(PimAllocator* backing, std::size_t blockSize,
                                     std::size_t maxBlocks)
    : _backing(backing), _blockSize(blockSize), _maxBlocks(maxBlocks) {}

PimStackAllocator::~PimStackAllocator() {
  while (_first) {
    Block* next = _first->next;
    _backing->release(_first, sizeof(Block) + _first->size);
    _first = next;
  }
}

bool PimStackAllocator::advance(std::size_t size) {
  // Reuse the following block when it is large enough; otherwise insert a
  // new one after the current block.
  Block* next = _current ? _current->next : _first;
  if (next && next->size >= size) {
    _current = next;
    _used = 0;
    ++_currentIndex;
    return true;
  }
  if (_maxBlocks && _blockCount >= _maxBlocks) return false;
  std::size_t bytes = size > _blockSize ? size : _blockSize;
  void* raw = _backing->allocate(sizeof(Block) + bytes);
  if (!raw) return false;
  auto* b = static_cast<Block*>(raw);
  b->size = bytes;
  b->next = next;
  if (_current)
    _current->next = b;
  else
    _first = b;
  if (_current) ++_currentIndex;
  _current = b;
  _used = 0;
  ++_blockCount;
  return true;
}

void* PimStackAllocator::allocate(std::size_t size) {
  std::size_t rounded = (size + 15) / 16 * 16;
  if (rounded == 0) rounded = 16;
  if (!_current || _current->size - _used < rounded) {
    if (!advance(rounded)) return nullptr;
  }
  void* p = _current->data() + _used;
  _used += rounded;
  return p;
}

void PimStackAllocator::rewind() {
  _current = _first;
  _currentIndex = 0;
  _used = 0;
}
