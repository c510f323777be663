// The store's FIFO queues: a growable ring of trivially copyable items
// (pointers, or the fixed-size records of the deferred-operation queue).
//
// Push on a full ring moves the items, oldest first, to the start of a new
// buffer of twice the capacity (512 when the ring had none), so a ring never
// shrinks and never loses FIFO order across a wrap. Buffers come from the
// store's allocator and go back to it.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "host/PimAllocator.h"
#include "host/PimError.h"

template <class T>
class NuvCPRingQueue {
  static_assert(std::is_trivially_copyable_v<T>, "ring items are copied as raw bytes");

 public:
  NuvCPRingQueue(PimAllocator* allocator, std::int32_t initialCapacity) : _allocator(allocator) {
    if (initialCapacity > 0) {
      _buffer = _allocator->allocateArray<T>(static_cast<std::size_t>(initialCapacity));
      // Without a first buffer the ring starts empty and takes the 512 rule
      // on its first push.
      if (_buffer) _capacity = initialCapacity;
    }
    _head = _tail = _buffer;
  }
  ~NuvCPRingQueue() { _allocator->releaseArray(_buffer, static_cast<std::size_t>(_capacity)); }
  NuvCPRingQueue(const NuvCPRingQueue&) = delete;
  NuvCPRingQueue& operator=(const NuvCPRingQueue&) = delete;

  bool empty() const { return _count == 0; }
  std::int32_t size() const { return _count; }
  std::int32_t capacity() const { return _capacity; }

  // False (and the item dropped) only when the allocator refuses a bigger
  // buffer; the failure is reported as an internal assertion.
  bool push(const T& item) {
    if (_count == _capacity && !grow()) return false;
    *_tail = item;
    if (++_tail == _buffer + _capacity) _tail = _buffer;
    ++_count;
    return true;
  }
  // Requires a non-empty ring.
  T pop() {
    T item = *_head;
    if (++_head == _buffer + _capacity) _head = _buffer;
    --_count;
    return item;
  }
  // Visits the items oldest first without removing them.
  template <class F>
  void forEach(F f) const {
    const T* p = _head;
    for (std::int32_t i = 0; i < _count; ++i) {
      f(*p);
      if (++p == _buffer + _capacity) p = _buffer;
    }
  }
  // Keeps the buffer and the capacity.
  void clear() {
    _count = 0;
    _head = _tail = _buffer;
  }

 private:
  bool grow() {
    std::int32_t capacity = _capacity == 0 ? 512 : _capacity * 2;
    T* buffer = _allocator->allocateArray<T>(static_cast<std::size_t>(capacity));
    if (!buffer) {
      raiseInternalAssertion("ring queue buffer allocated", "..\\..\\fd\\NuvCPRingQueue", 66);
      return false;
    }
    // Oldest first: from head to the end of the buffer, then from its start.
    std::int32_t first = static_cast<std::int32_t>((_buffer + _capacity) - _head);
    if (first > _count) first = _count;
    if (_count > 0) {
      std::memcpy(static_cast<void*>(buffer), _head, sizeof(T) * static_cast<std::size_t>(first));
      std::memcpy(static_cast<void*>(buffer + first), _buffer,
                  sizeof(T) * static_cast<std::size_t>(_count - first));
    }
    _allocator->releaseArray(_buffer, static_cast<std::size_t>(_capacity));
    _buffer = buffer;
    _capacity = capacity;
    _head = _buffer;
    _tail = _buffer + _count;
    return true;
  }

  PimAllocator* _allocator;
  std::int32_t _capacity = 0;
  std::int32_t _count = 0;
  T* _buffer = nullptr;
  T* _tail = nullptr;  // next write slot
  T* _head = nullptr;  // next read slot
};
