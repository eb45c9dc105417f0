#include "simulator/acceptor.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace simulator {
namespace {

/// While descriptors have run out, accepting again at once would only burn the processor.
constexpr int kRetryMs = 50;

}  // namespace

Acceptor::Acceptor(int listener, std::size_t most, Serve serve)
    : listener_(listener),
      most_(most),
      serve_(std::move(serve)),
      stop_(::eventfd(0, EFD_CLOEXEC)),
      thread_(&Acceptor::Run, this) {}

Acceptor::~Acceptor() {
  ::eventfd_write(stop_.Get(), 1);
  thread_.join();
  for (Connection& connection : connections_) ::shutdown(connection.socket.Get(), SHUT_RDWR);
  for (Connection& connection : connections_) connection.thread.join();
}

void Acceptor::Run() {
  for (;;) {
    pollfd entries[] = {{stop_.Get(), POLLIN, 0}, {listener_, POLLIN, 0}};
    if (::poll(entries, 2, -1) < 0) continue;
    if (entries[0].revents != 0) return;
    ReapEnded();
    Accept();
  }
}

void Acceptor::Accept() {
  platform::UniqueFd socket(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
  if (!socket) {
    pollfd stop{stop_.Get(), POLLIN, 0};
    ::poll(&stop, 1, kRetryMs);
    return;
  }
  if (connections_.size() >= most_) return;
  Connection& connection = connections_.emplace_back();
  connection.socket = std::move(socket);
  connection.thread = std::thread([this, &connection] {
    serve_(connection.socket.Get());
    // The other end learns at once; the number stays taken until the thread is joined.
    ::shutdown(connection.socket.Get(), SHUT_RDWR);
    connection.ended = true;
  });
}

void Acceptor::ReapEnded() {
  for (auto connection = connections_.begin(); connection != connections_.end();) {
    if (!connection->ended) {
      ++connection;
      continue;
    }
    connection->thread.join();
    connection = connections_.erase(connection);
  }
}

}  // namespace simulator
