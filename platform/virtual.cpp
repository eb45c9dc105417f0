#include "platform/virtual.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/ioctl_table.h"
#include "platform/log_hook.h"
#include "platform/thread_safety.h"

namespace platform {
namespace {

constexpr char kDefaultAddress[] = "127.0.0.52";
constexpr Nanoseconds kClockPatience = std::chrono::seconds(1);

/// What became of a request.
struct Outcome {
  int error = 0;           ///< 0 when a reply came, whatever it says
  bool delivered = false;  ///< the server may have acted on it

  bool MayRepeat() const { return !delivered && error != ETIMEDOUT; }
};

Outcome Exchange(int socket, wire::Header header, std::span<const std::byte> data,
                 wire::Packet& reply) {
  if (const int error = wire::Send(socket, header, data)) return {error, false};
  if (const int error = wire::ReceiveReply(socket, reply)) return {error, true};
  const bool matches = reply.header.sequence == header.sequence && reply.header.op == header.op;
  return {matches ? 0 : EPROTO, true};
}

/// What the server's reply means to the caller: a count, or a negative errno.
std::int64_t Result(const wire::Packet& reply) {
  if (reply.header.value >= 0) return reply.header.value;
  return reply.header.error > 0 ? -reply.header.error : -EIO;
}

/// The bytes that a reply brings; as Result.
ssize_t Take(const wire::Packet& reply, std::span<std::byte> bytes) {
  const std::int64_t result = Result(reply);
  if (result < 0) return static_cast<ssize_t>(result);
  if (reply.data.size() > bytes.size()) return -EPROTO;
  std::ranges::copy(reply.data, bytes.begin());
  return static_cast<ssize_t>(reply.data.size());
}

const char* Meaning(int error) {
  switch (error) {
    case ENOENT:
      return "no q5sim has served this root";
    case ECONNREFUSED:
      return "q5sim is not running";
    case EPIPE:
    case ECONNRESET:
      return "q5sim has ended";
    case ETIMEDOUT:
      return "q5sim does not answer";
    case EPROTO:
      return "not a packet of this protocol";
    default:
      return std::strerror(error);
  }
}

}  // namespace

// --- One open device ---

class VirtualBackend::RemoteDevice final : public Device {
 public:
  RemoteDevice(const Server& server, std::string path, int flags)
      : server_(server),
        path_(std::move(path)),
        flags_(flags),
        read_record_bytes_(ReadRecordBytes(path_)) {}

  /// 0 or an errno.
  int Open() {
    const Lock lock(request_mutex_);
    return EnsureOpen();
  }

  int Number() const override { return main_.Get(); }
  ssize_t Read(void* data, size_t size) override;
  ssize_t Pread(void* data, size_t size, off_t offset) override;
  ssize_t Write(const void* data, size_t size) override;
  int Ioctl(unsigned long request, std::span<std::byte> argument) override;
  int Prepare(unsigned long request, std::span<const std::byte> argument,
              PreparedIoctl& prepared) override;
  int Map(size_t length, off_t offset, UniqueFd& memory) override;
  void Shutdown() override;

 private:
  int Request(wire::Op op, std::int64_t value, std::span<const std::byte> data, wire::Packet& reply)
      Q5_REQUIRES(request_mutex_);
  int EnsureOpen() Q5_REQUIRES(request_mutex_);
  void Disconnect() Q5_REQUIRES(request_mutex_);
  bool ServerIsGone() const Q5_REQUIRES(request_mutex_);
  // The same for the reading connection.
  int ReadRequest(size_t size, std::span<const std::byte> record, wire::Packet& reply)
      Q5_REQUIRES(read_mutex_);
  int EnsureAttached() Q5_REQUIRES(read_mutex_);
  bool IsNewStream() Q5_REQUIRES(read_mutex_);
  void DisconnectReader() Q5_REQUIRES(read_mutex_);

  int CurrentToken(std::int64_t& token);
  void ForgetToken(std::int64_t stale);
  int Complain(int error);

  const Server& server_;
  const std::string path_;
  const int flags_;
  const std::size_t read_record_bytes_;
  std::atomic<bool> closed_{false};
  std::atomic<bool> complained_{false};  ///< one line an outage
  std::atomic<std::uint32_t> sequence_{0};

  Mutex request_mutex_;  ///< one request at a time
  UniqueFd main_;        ///< its number never changes
  bool open_ Q5_GUARDED_BY(request_mutex_) = false;
  std::int64_t token_ Q5_GUARDED_BY(request_mutex_) = 0;
  std::atomic<unsigned> opened_{0};  ///< how often

  // A read that waits must not hold up the other requests, so it has a connection of its own.
  Mutex read_mutex_;  ///< taken before request_mutex_
  /// The opening that the latest read belongs to.
  unsigned read_of_ Q5_GUARDED_BY(read_mutex_) = 0;
  Mutex reader_number_mutex_;  ///< lets Shutdown reach reader_ while a read waits
  UniqueFd reader_;            ///< changes with both held
};

int VirtualBackend::RemoteDevice::Complain(int error) {
  if (!complained_.exchange(true)) {
    log_hook.Print(3, "%s: no device at %s: %s\n", path_.c_str(), server_.path.c_str(),
                   Meaning(error));
  }
  return error;
}

int VirtualBackend::RemoteDevice::EnsureOpen() {
  if (closed_) return EBADF;
  if (open_) return 0;
  UniqueFd socket;
  if (const int error = wire::Connect(server_.path.c_str(), server_.silence, socket)) {
    Complain(error);
    return main_ ? ENODEV : ENXIO;
  }
  wire::Header header{.op = wire::Op::kOpen, .sequence = ++sequence_, .value = flags_};
  wire::Packet reply;
  const Outcome outcome =
      Exchange(socket.Get(), header, wire::AsData(std::string_view(path_)), reply);
  if (outcome.error != 0) return Complain(outcome.error) == ETIMEDOUT ? ETIMEDOUT : EIO;
  const std::int64_t token = Result(reply);
  if (token < 0) return static_cast<int>(-token);
  if (!main_) {
    main_ = std::move(socket);
  } else if (::dup3(socket.Get(), main_.Get(), O_CLOEXEC) < 0) {
    return errno;
  }
  // a driver's request takes the time it takes; the socket reports a q5sim that has died
  wire::SetLimit(main_.Get(), Nanoseconds::zero());
  token_ = token;
  open_ = true;
  ++opened_;
  complained_ = false;
  return 0;
}

void VirtualBackend::RemoteDevice::Disconnect() {
  // The dead socket stays open and so keeps the number.
  ::shutdown(main_.Get(), SHUT_RDWR);
  open_ = false;
}

bool VirtualBackend::RemoteDevice::ServerIsGone() const {
  pollfd look{main_.Get(), 0, 0};
  return ::poll(&look, 1, 0) > 0;  // only the end of the connection counts
}

int VirtualBackend::RemoteDevice::Request(wire::Op op, std::int64_t value,
                                          std::span<const std::byte> data, wire::Packet& reply) {
  for (bool retried = false;; retried = true) {
    if (const int error = EnsureOpen()) return error;
    const wire::Header header{.op = op, .sequence = ++sequence_, .value = value};
    const Outcome outcome = Exchange(main_.Get(), header, data, reply);
    if (outcome.error == 0) return 0;
    if (outcome.error == EMSGSIZE) return EMSGSIZE;
    Disconnect();
    if (closed_) return EBADF;
    // A q5sim that was restarted since the last request has not seen this one: no harm in
    // repeating.
    if (outcome.MayRepeat() && !retried) continue;
    return Complain(outcome.error) == ETIMEDOUT ? ETIMEDOUT : EIO;
  }
}

ssize_t VirtualBackend::RemoteDevice::Write(const void* data, size_t size) {
  const Lock lock(request_mutex_);
  wire::Packet reply;
  const std::span bytes(static_cast<const std::byte*>(data), size);
  if (const int error = Request(wire::Op::kWrite, 0, bytes, reply)) return -error;
  return static_cast<ssize_t>(std::min(Result(reply), static_cast<std::int64_t>(size)));
}

int VirtualBackend::RemoteDevice::Ioctl(unsigned long request, std::span<std::byte> argument) {
  const Lock lock(request_mutex_);
  wire::Packet reply;
  if (const int error =
          Request(wire::Op::kIoctl, static_cast<std::int64_t>(request), argument, reply)) {
    return -error;
  }
  const std::int64_t result = Result(reply);
  if (result < 0) return static_cast<int>(result);
  if (reply.data.size() != argument.size()) return -EPROTO;
  std::ranges::copy(reply.data, argument.begin());
  return static_cast<int>(result);
}

int VirtualBackend::RemoteDevice::Prepare(unsigned long request,
                                          std::span<const std::byte> argument,
                                          PreparedIoctl& prepared) {
  const Lock lock(request_mutex_);
  // no request finds out for it
  if (open_ && ServerIsGone()) Disconnect();
  if (const int error = EnsureOpen()) return -error;
  const wire::Header header{.op = wire::Op::kIoctl,
                            .sequence = ++sequence_,
                            .value = static_cast<std::int64_t>(request),
                            .size = static_cast<std::uint32_t>(argument.size())};
  const std::size_t size = sizeof header + argument.size();
  if (size > prepared.bytes.size()) return -EINVAL;
  std::memcpy(prepared.bytes.data(), &header, sizeof header);
  std::ranges::copy(argument, prepared.bytes.begin() + sizeof header);
  prepared.fd = main_.Get();
  prepared.packet_bytes = size;
  return 0;
}

int VirtualBackend::RemoteDevice::Map(size_t length, off_t offset, UniqueFd& memory) {
  const Lock lock(request_mutex_);
  wire::Packet reply;
  const std::int64_t where = offset;
  if (const int error =
          Request(wire::Op::kMap, static_cast<std::int64_t>(length), wire::AsData(where), reply)) {
    return -error;
  }
  const std::int64_t result = Result(reply);
  if (result < 0) return static_cast<int>(result);
  if (!reply.descriptor) return -EPROTO;
  memory = std::move(reply.descriptor);
  return 0;
}

int VirtualBackend::RemoteDevice::CurrentToken(std::int64_t& token) {
  const Lock lock(request_mutex_);
  const int error = EnsureOpen();
  token = token_;
  return error;
}

void VirtualBackend::RemoteDevice::ForgetToken(std::int64_t stale) {
  const Lock lock(request_mutex_);
  if (open_ && token_ == stale) Disconnect();
}

int VirtualBackend::RemoteDevice::EnsureAttached() {
  for (bool retried = false; !reader_; retried = true) {
    std::int64_t token = 0;
    if (const int error = CurrentToken(token)) return error;
    UniqueFd socket;
    wire::Packet reply;
    Outcome outcome{wire::Connect(server_.path.c_str(), server_.silence, socket), false};
    if (outcome.error == 0) {
      const wire::Header header{.op = wire::Op::kAttach, .sequence = ++sequence_, .value = token};
      outcome = Exchange(socket.Get(), header, {}, reply);
    }
    if (outcome.error != 0) return Complain(outcome.error) == ETIMEDOUT ? ETIMEDOUT : EIO;
    if (Result(reply) < 0) {
      // A new q5sim does not know the file that its predecessor had open.
      ForgetToken(token);
      if (retried) return ENODEV;
      continue;
    }
    const Lock lock(reader_number_mutex_);
    if (closed_) return EBADF;
    reader_ = std::move(socket);
  }
  return 0;
}

// Who reads a stream has to start it on the new file, so that its first read there fails.
bool VirtualBackend::RemoteDevice::IsNewStream() {
  const unsigned before = std::exchange(read_of_, opened_);
  return before != 0 && before != read_of_ && read_record_bytes_ != 0;
}

void VirtualBackend::RemoteDevice::DisconnectReader() {
  const Lock lock(reader_number_mutex_);
  reader_.Reset();
}

int VirtualBackend::RemoteDevice::ReadRequest(size_t size, std::span<const std::byte> record,
                                              wire::Packet& reply) {
  for (bool retried = false;; retried = true) {
    if (const int error = EnsureAttached()) return error;
    if (IsNewStream()) return EIO;
    const auto wanted = static_cast<std::int64_t>(std::min(size, wire::kMaxData));
    const wire::Header header{.op = wire::Op::kRead, .sequence = ++sequence_, .value = wanted};
    const Outcome outcome = Exchange(reader_.Get(), header, record, reply);
    if (outcome.error == 0) return 0;
    DisconnectReader();
    if (closed_) return EBADF;
    if (outcome.MayRepeat() && !retried) continue;
    return Complain(outcome.error) == ETIMEDOUT ? ETIMEDOUT : EIO;
  }
}

ssize_t VirtualBackend::RemoteDevice::Read(void* data, size_t size) {
  const Lock lock(read_mutex_);
  const bool waits = (flags_ & O_NONBLOCK) == 0;
  const std::span bytes(static_cast<std::byte*>(data), size);
  for (;;) {
    wire::Packet reply;
    const auto record = bytes.first(std::min(size, read_record_bytes_));
    if (const int error = ReadRequest(size, record, reply)) return -error;
    if (Result(reply) == -EAGAIN && waits) continue;
    return Take(reply, bytes);
  }
}

ssize_t VirtualBackend::RemoteDevice::Pread(void* data, size_t size, off_t offset) {
  const Lock lock(request_mutex_);
  wire::Packet reply;
  const std::int64_t where = offset;
  const auto wanted = static_cast<std::int64_t>(std::min(size, wire::kMaxData));
  if (const int error = Request(wire::Op::kPread, wanted, wire::AsData(where), reply)) {
    return -error;
  }
  return Take(reply, {static_cast<std::byte*>(data), size});
}

void VirtualBackend::RemoteDevice::Shutdown() {
  closed_ = true;
  ::shutdown(main_.Get(), SHUT_RDWR);
  const Lock lock(reader_number_mutex_);
  if (reader_) ::shutdown(reader_.Get(), SHUT_RDWR);
}

// --- The time of day ---

timespec VirtualBackend::ShiftedClock::Realtime() const {
  if (!known_.load(std::memory_order_acquire)) AskServer();
  return ToTimespec(ToNanoseconds(RealClock::Realtime()) +
                    Nanoseconds(offset_.load(std::memory_order_relaxed)));
}

void VirtualBackend::ShiftedClock::Shift(const timespec& now) {
  offset_ = (ToNanoseconds(now) - ToNanoseconds(RealClock::Realtime())).count();
  known_.store(true, std::memory_order_release);
}

void VirtualBackend::ShiftedClock::AskServer() const {
  const std::unique_lock lock(asking_mutex_, std::try_to_lock);
  if (!lock || known_ || Monotonic().count() < next_try_) return;
  const Server impatient{server_.path, std::min(server_.silence, kClockPatience)};
  wire::Packet reply;
  wire::TimeWords words{};
  if (Call(impatient, wire::Op::kRealtime, {}, reply) == 0 && reply.data.size() == sizeof words) {
    std::memcpy(words.data(), reply.data.data(), sizeof words);
    const Nanoseconds now = std::chrono::seconds(words[0]) + Nanoseconds(words[1]);
    offset_ = (now - ToNanoseconds(RealClock::Realtime())).count();
    known_.store(true, std::memory_order_release);
  }
  next_try_ = (Monotonic() + kClockPatience).count();
}

// --- The back end ---

VirtualBackend::VirtualBackend(const std::string& root, Nanoseconds silence)
    : RootedBackend(root), server_{Root() + wire::kSocketName, silence}, clock_(server_) {}

std::shared_ptr<RootedBackend::Device> VirtualBackend::OpenDevice(const std::string& path,
                                                                  int flags, int& error) {
  auto device = std::make_shared<RemoteDevice>(server_, path, flags);
  error = device->Open();
  return error == 0 ? std::move(device) : nullptr;
}

int VirtualBackend::Call(const Server& server, wire::Op op, std::span<const std::byte> data,
                         wire::Packet& reply) {
  UniqueFd socket;
  if (const int error = wire::Connect(server.path.c_str(), server.silence, socket)) return error;
  const Outcome outcome = Exchange(socket.Get(), {.op = op, .sequence = 1}, data, reply);
  if (outcome.error != 0) return outcome.error;
  const std::int64_t result = Result(reply);
  return result < 0 ? static_cast<int>(-result) : 0;
}

int VirtualBackend::LoggedCall(wire::Op op, std::span<const std::byte> data,
                               wire::Packet& reply) const {
  const int error = Call(server_, op, data, reply);
  if (error != 0) {
    log_hook.Print(3, "request %d failed at %s: %s\n", static_cast<int>(op), server_.path.c_str(),
                   Meaning(error));
  }
  return error;
}

int VirtualBackend::System(const char* command) {
  wire::Packet reply;
  const std::string_view text = command;
  if (const int error = LoggedCall(wire::Op::kSystem, wire::AsData(text), reply)) {
    errno = error;
    return -1;
  }
  return static_cast<int>(reply.header.value);
}

int VirtualBackend::SetRealtime(const timespec& time) {
  const wire::TimeWords words{time.tv_sec, time.tv_nsec};
  wire::Packet reply;
  if (const int error = LoggedCall(wire::Op::kSetRealtime, wire::AsData(words), reply)) {
    errno = error;
    return -1;
  }
  clock_.Shift(time);
  return 0;
}

std::string VirtualBackend::HostAddress() {
  wire::Packet reply;
  const int error = LoggedCall(wire::Op::kHostAddress, {}, reply);
  return error == 0 ? std::string(reply.Text()) : kDefaultAddress;
}

void VirtualBackend::WriteSystemLog(const std::string& line) {
  // Without a word on failure: the log may be the caller.
  wire::Packet reply;
  Call(server_, wire::Op::kSystemLog, wire::AsData(std::string_view(line)), reply);
}

}  // namespace platform
