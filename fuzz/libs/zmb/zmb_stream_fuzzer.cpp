// Any bytes on a connection of a servant, with or without a good handshake before them. The servant
// then still answers a client that behaves, and what the guard says does not depend on how the
// bytes are cut on their way.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <zmq.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>
#include <thread>

#include "libs/zmb/src/zmb_simple_servant.h"
#include "libs/zmb/src/zmb_stream_watch.h"

namespace {

using Input = std::span<const std::uint8_t>;

void Require(bool condition) {
  if (!condition) std::abort();
}

struct Verdict {
  bool refused = false;
  std::string identity;
  bool operator==(const Verdict&) const = default;
};

Verdict Judge(Input input, size_t part) {
  Common::ZmbStreamWatch watch;
  Verdict verdict;
  for (size_t at = 0; at < input.size() && !verdict.refused; at += part) {
    verdict.refused = watch.Take(input.subspan(at, std::min(part, input.size() - at))) != nullptr;
  }
  verdict.identity = watch.Identity().value_or("none yet");
  return verdict;
}

class Echo : public Servant::ZmbSimpleServant {
 public:
  Echo() { SetZid("Fuzz.Echo"); }
  void SetFeUris() override {}
  int Handle(Common::ZmbMessage*) override { return 0; }
};

/// A servant that runs until the process ends, and a client of it. Never destroyed.
class Bus {
 public:
  Bus() {
    char name[] = "/tmp/zmbfuzzXXXXXX";
    root_ = mkdtemp(name);
    std::filesystem::create_directory(root_ + "/tmp");
    setenv("Q5_ROOT", root_.c_str(), 1);
    Require(echo_.Init() == 0);
    std::thread([this] { echo_.Start(); }).detach();
    const int patience = 10000;
    zmq_setsockopt(client_, ZMQ_RCVTIMEO, &patience, sizeof patience);
    Require(zmq_connect(client_, ("ipc://" + Path()).c_str()) == 0);
  }
  void RemoveFiles() const { std::filesystem::remove_all(root_); }

  void Say(const std::string& handshake, Input input) const {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path, Path().c_str(), sizeof name.sun_path - 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    Require(::connect(fd, reinterpret_cast<sockaddr*>(&name), sizeof name) == 0);
    ::send(fd, handshake.data(), handshake.size(), MSG_NOSIGNAL);
    if (!handshake.empty()) AwaitReady(fd);
    ::send(fd, input.data(), input.size(), MSG_NOSIGNAL);
    ::close(fd);
  }
  void RequireAnswer() const {
    char reply[8];
    Require(zmq_send(client_, "hello", 5, 0) == 5);
    Require(zmq_recv(client_, reply, sizeof reply, 0) == 5);
  }

 private:
  /// libzmq ends a longer connection before.
  static void AwaitReady(int fd) {
    char part[64];
    for (std::string heard; heard.find("READY") == std::string::npos;) {
      const ssize_t n = ::recv(fd, part, sizeof part, 0);
      Require(n > 0);
      heard.append(part, static_cast<size_t>(n));
    }
  }

  std::string Path() const { return root_ + "/tmp/Fuzz.Echo.ipc"; }

  std::string root_;
  Echo echo_;
  void* context_ = zmq_ctx_new();
  void* client_ = zmq_socket(context_, ZMQ_REQ);
};

std::string Handshake() {
  std::string greeting("\xFF\0\0\0\0\0\0\0\x01\x7F\x03\0NULL", 16);
  greeting.resize(64);
  return greeting + std::string(
                        "\x04\x1C\x05"
                        "READY\x0BSocket-Type\0\0\0\x06"
                        "DEALER",
                        30);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static auto* bus = new Bus;
  static const std::string handshake = Handshake();
  static const bool ends = std::atexit([] { bus->RemoveFiles(); }) == 0;
  Require(ends);
  if (size == 0) return 0;
  const Input input = Input(data, size).subspan(1);
  Require(Judge(input, size) == Judge(input, 1 + data[0] % 16));
  bus->Say(data[0] > 127 ? handshake : "", input);
  bus->RequireAnswer();
  return 0;
}
