#include "simulator/device_session.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <random>

#include "platform/ioctl_table.h"

namespace simulator {
namespace {

namespace wire = platform::wire;

std::vector<std::byte> Bytes(std::span<const std::byte> data) { return {data.begin(), data.end()}; }

/// A text from the wire that the models may use as one: no NUL hides its end.
bool IsText(std::string_view text) { return text.find('\0') == text.npos; }

std::size_t BytesWanted(const wire::Packet& request) {
  const auto most = static_cast<std::int64_t>(wire::kMaxData);
  return static_cast<std::size_t>(std::clamp<std::int64_t>(request.header.value, 0, most));
}

/// Leaves of a read's buffer what the read has filled.
void KeepCount(DeviceSession::Reply& reply) {
  const auto most = static_cast<std::int64_t>(reply.data.size());
  reply.data.resize(static_cast<std::size_t>(std::clamp<std::int64_t>(reply.value, 0, most)));
}

}  // namespace

std::int64_t OpenFiles::Add(std::shared_ptr<platform::DeviceFile> file) {
  std::random_device random;
  std::uniform_int_distribution<std::int64_t> tokens(1, std::numeric_limits<std::int64_t>::max());
  const platform::Lock lock(mutex_);
  for (;;) {
    const std::int64_t token = tokens(random);
    if (files_.emplace(token, file).second) return token;
  }
}

std::shared_ptr<platform::DeviceFile> OpenFiles::Find(std::int64_t token) {
  const platform::Lock lock(mutex_);
  const auto found = files_.find(token);
  return found == files_.end() ? nullptr : found->second.lock();
}

void OpenFiles::Remove(std::int64_t token) {
  const platform::Lock lock(mutex_);
  files_.erase(token);
}

const DeviceSession::Operation DeviceSession::kOperations[] = {
    {wire::Op::kOpen, false, &DeviceSession::Open},
    {wire::Op::kAttach, false, &DeviceSession::Attach},
    {wire::Op::kRead, true, &DeviceSession::Read},
    {wire::Op::kPread, true, &DeviceSession::Pread},
    {wire::Op::kWrite, true, &DeviceSession::Write},
    {wire::Op::kIoctl, true, &DeviceSession::Ioctl},
    {wire::Op::kMap, true, &DeviceSession::Map},
    {wire::Op::kSystem, false, &DeviceSession::System},
    {wire::Op::kSetRealtime, false, &DeviceSession::SetRealtime},
    {wire::Op::kRealtime, false, &DeviceSession::Realtime},
    {wire::Op::kHostAddress, false, &DeviceSession::HostAddress},
    {wire::Op::kSystemLog, false, &DeviceSession::SystemLog},
};

DeviceSession::~DeviceSession() {
  if (token_ != 0) files_.Remove(token_);
}

DeviceSession::Reply DeviceSession::Handle(const wire::Packet& request) {
  const auto* operation = std::ranges::find(kOperations, request.header.op, &Operation::op);
  if (operation == std::end(kOperations)) return {-EPROTO};
  if (operation->needs_file && file_ == nullptr) return {-EBADF};
  return (this->*operation->handler)(request);
}

DeviceSession::Reply DeviceSession::Open(const wire::Packet& request) {
  if (file_ != nullptr || !IsText(request.Text())) return {-EINVAL};
  int error = ENXIO;
  file_ = instrument_.Open(request.Text(), static_cast<int>(request.header.value), error);
  if (file_ == nullptr) return {-error};
  token_ = files_.Add(file_);
  return {token_};
}

DeviceSession::Reply DeviceSession::Attach(const wire::Packet& request) {
  if (file_ != nullptr) return {-EINVAL};
  file_ = files_.Find(request.header.value);
  return {file_ == nullptr ? -ESTALE : 0};
}

DeviceSession::Reply DeviceSession::Read(const wire::Packet& request) {
  Reply reply;
  reply.data.resize(BytesWanted(request));
  std::copy_n(request.data.begin(), std::min(request.data.size(), reply.data.size()),
              reply.data.begin());
  reply.value = file_->Read(reply.data.data(), reply.data.size());
  KeepCount(reply);
  return reply;
}

DeviceSession::Reply DeviceSession::Pread(const wire::Packet& request) {
  std::int64_t offset = 0;
  if (request.data.size() != sizeof offset) return {-EINVAL};
  std::memcpy(&offset, request.data.data(), sizeof offset);
  if (offset < 0) return {-EINVAL};
  Reply reply;
  reply.data.resize(BytesWanted(request));
  reply.value = file_->Pread(reply.data.data(), reply.data.size(), offset);
  KeepCount(reply);
  return reply;
}

DeviceSession::Reply DeviceSession::Write(const wire::Packet& request) {
  return {file_->Write(request.data.data(), request.data.size())};
}

DeviceSession::Reply DeviceSession::Ioctl(const wire::Packet& request) {
  const auto number = static_cast<unsigned long>(request.header.value);
  const platform::IoctlShape* shape = platform::FindIoctl(number);
  if (shape == nullptr) return {-ENOTTY};
  if (request.data.size() != shape->size) return {-EPROTO};
  Reply reply;
  reply.data = request.data;
  reply.data.resize(platform::kMaxIoctlBytes);
  reply.value = file_->Ioctl(number, reply.data.data());
  reply.data.resize(shape->size);
  return reply;
}

DeviceSession::Reply DeviceSession::Map(const wire::Packet& request) {
  std::int64_t offset = 0;
  if (request.data.size() != sizeof offset || request.header.value <= 0) return {-EINVAL};
  std::memcpy(&offset, request.data.data(), sizeof offset);
  const int memory = file_->Map(static_cast<size_t>(request.header.value), offset);
  if (memory < 0) return {memory};
  return {0, {}, memory};
}

DeviceSession::Reply DeviceSession::System(const wire::Packet& request) {
  if (!IsText(request.Text())) return {-EINVAL};
  return {instrument_.System(request.Text())};
}

DeviceSession::Reply DeviceSession::SetRealtime(const wire::Packet& request) {
  wire::TimeWords words{};
  if (request.data.size() != sizeof words) return {-EINVAL};
  std::memcpy(words.data(), request.data.data(), sizeof words);
  timespec time{};
  time.tv_sec = words[0];
  time.tv_nsec = words[1];
  return {instrument_.SetRealtime(time)};
}

DeviceSession::Reply DeviceSession::Realtime(const wire::Packet&) {
  const timespec now = instrument_.Realtime();
  const wire::TimeWords words{now.tv_sec, now.tv_nsec};
  return {0, Bytes(wire::AsData(words))};
}

DeviceSession::Reply DeviceSession::HostAddress(const wire::Packet&) {
  return {0, Bytes(wire::AsData(std::string_view(instrument_.HostAddress())))};
}

DeviceSession::Reply DeviceSession::SystemLog(const wire::Packet& request) {
  instrument_.SystemLog(request.Text());
  return {0};
}

}  // namespace simulator
