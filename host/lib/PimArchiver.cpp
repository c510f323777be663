#include "host/PimArchiver.h"

#include <cerrno>
#include <cstring>

#include "host/PimError.h"

void PimMemorySocket::write(const void* bytes, std::size_t n) {
  auto* p = static_cast<const std::uint8_t*>(bytes);
  _bytes.insert(_bytes.end(), p, p + n);
}

bool PimMemorySocket::read(void* bytes, std::size_t n) {
  if (_bytes.size() - _readPos < n) return false;
  std::memcpy(bytes, _bytes.data() + _readPos, n);
  _readPos += n;
  return true;
}

PimFileSocket::PimFileSocket(const std::string& path, const char* mode)
    : _path(path), _file(std::fopen(path.c_str(), mode)) {
  if (!_file)
    throw PimExecutionError(PimSource(path, 0),
                            std::string("cannot open archive: ") + std::strerror(errno));
}

PimFileSocket::~PimFileSocket() {
  if (_file) std::fclose(_file);
}

void PimFileSocket::write(const void* bytes, std::size_t n) {
  if (std::fwrite(bytes, 1, n, _file) != n)
    throw PimExecutionError(PimSource(_path, 0), "cannot write archive");
}

bool PimFileSocket::read(void* bytes, std::size_t n) {
  return std::fread(bytes, 1, n, _file) == n;
}

void PimArchiver::sendString(const std::string& s) {
  sendUInt32(static_cast<std::uint32_t>(s.size()));
  _socket.write(s.data(), s.size());
}

void PimArchiver::sendObject(const PimDataI* object) {
  if (!object) {
    sendInt32(0);
    return;
  }
  sendInt32(object->getDataId());
  object->archive(*this);
}

void PimArchiver::receiveRaw(void* bytes, std::size_t n) {
  if (!_socket.read(bytes, n))
    throw PimExecutionError(PimSource("archive", 0), "archive ended early");
}

std::int32_t PimArchiver::receiveInt32() {
  std::int32_t v;
  receiveRaw(&v, sizeof v);
  return v;
}
std::uint32_t PimArchiver::receiveUInt32() {
  std::uint32_t v;
  receiveRaw(&v, sizeof v);
  return v;
}
std::int64_t PimArchiver::receiveInt64() {
  std::int64_t v;
  receiveRaw(&v, sizeof v);
  return v;
}
double PimArchiver::receiveDouble() {
  double v;
  receiveRaw(&v, sizeof v);
  return v;
}

std::string PimArchiver::receiveString() {
  std::uint32_t n = receiveUInt32();
  std::string s;
  // Read in pieces so that a corrupt length cannot ask for gigabytes at once.
  char buf[4096];
  while (n > 0) {
    std::uint32_t k = n < sizeof buf ? n : static_cast<std::uint32_t>(sizeof buf);
    receiveRaw(buf, k);
    s.append(buf, k);
    n -= k;
  }
  return s;
}

PimDataI* PimArchiver::receiveObject() {
  std::int32_t tag = receiveInt32();
  if (tag == 0) return nullptr;
  const PimArchiveRegistry::Maker* maker = _registry ? _registry->find(tag) : nullptr;
  if (!maker)
    throw PimExecutionError(PimSource("archive", 0),
                            "archive holds an object of unknown class tag " + std::to_string(tag));
  PimDataI* object = (*maker)(_allocator);
  if (!object)
    throw PimExecutionError(PimSource("archive", 0),
                            "out of memory reading an object of class tag " + std::to_string(tag));
  object->unarchive(*this);
  return object;
}
