// The archiver: objects and raw words through a byte socket.
//
// Words travel in the machine's native byte order; an archive is read back on
// the machine that wrote it. An object travels as its class tag (getDataId)
// followed by what its archive() writes; reading it back looks the tag up in
// a table of makers, builds an empty object and lets unarchive() fill it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/PimCell.h"

class PimByteSocket {
 public:
  virtual ~PimByteSocket() = default;
  virtual void write(const void* bytes, std::size_t n) = 0;
  // Reads exactly n bytes; false when the source ran dry.
  virtual bool read(void* bytes, std::size_t n) = 0;
};

class PimMemorySocket final : public PimByteSocket {
 public:
  void write(const void* bytes, std::size_t n) override;
  bool read(void* bytes, std::size_t n) override;
  const std::vector<std::uint8_t>& bytes() const { return _bytes; }
  void rewindRead() { _readPos = 0; }

 private:
  std::vector<std::uint8_t> _bytes;
  std::size_t _readPos = 0;
};

// A file opened for writing ("wb") or reading ("rb"). Opening failure throws
// PimExecutionError naming the path.
class PimFileSocket final : public PimByteSocket {
 public:
  PimFileSocket(const std::string& path, const char* mode);
  ~PimFileSocket() override;
  PimFileSocket(const PimFileSocket&) = delete;
  PimFileSocket& operator=(const PimFileSocket&) = delete;
  void write(const void* bytes, std::size_t n) override;
  bool read(void* bytes, std::size_t n) override;

 private:
  std::string _path;
  std::FILE* _file;
};

// Class tag -> maker of an empty object in the given allocator.
class PimArchiveRegistry {
 public:
  using Maker = std::function<PimDataI*(PimAllocator*)>;
  void add(int tag, Maker maker) { _makers[tag] = std::move(maker); }
  const Maker* find(int tag) const {
    auto it = _makers.find(tag);
    return it == _makers.end() ? nullptr : &it->second;
  }

 private:
  std::unordered_map<int, Maker> _makers;
};

class PimArchiver {
 public:
  PimArchiver(PimByteSocket& socket, PimAllocator* allocator,
              const PimArchiveRegistry* registry = nullptr)
      : _socket(socket), _allocator(allocator), _registry(registry) {}

  PimByteSocket& socket() { return _socket; }
  // The allocator that unarchived objects and their arrays come from.
  PimAllocator* allocator() const { return _allocator; }

  void sendInt32(std::int32_t v) { _socket.write(&v, sizeof v); }
  void sendUInt32(std::uint32_t v) { _socket.write(&v, sizeof v); }
  void sendInt64(std::int64_t v) { _socket.write(&v, sizeof v); }
  void sendDouble(double v) { _socket.write(&v, sizeof v); }
  void sendString(const std::string& s);
  // Tag 0 stands for null.
  void sendObject(const PimDataI* object);

  // Each throws PimExecutionError when the archive ends early.
  std::int32_t receiveInt32();
  std::uint32_t receiveUInt32();
  std::int64_t receiveInt64();
  double receiveDouble();
  std::string receiveString();
  // Throws PimExecutionError for an unknown tag or a failed allocation.
  PimDataI* receiveObject();

 private:
  void receiveRaw(void* bytes, std::size_t n);
  PimByteSocket& _socket;
  PimAllocator* _allocator;
  const PimArchiveRegistry* _registry;
};
