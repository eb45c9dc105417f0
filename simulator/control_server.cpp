#include "simulator/control_server.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "platform/unix_address.h"
#include "simulator/control.h"

namespace simulator {
namespace {

constexpr std::size_t kMostConnections = 32;
constexpr std::size_t kLongestAnswer = std::size_t{64} * 1024;

bool SendAll(int socket, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// Lines from a stream. One longer than `longest` comes out cut, one character longer than allowed.
class LineReader {
 public:
  LineReader(int socket, std::size_t longest) : socket_(socket), longest_(longest) {}

  bool Next(std::string& line) {
    line.clear();
    for (;;) {
      while (!rest_.empty()) {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        if (c == '\n') return true;
        if (line.size() <= longest_) line.push_back(c);
      }
      const ssize_t count = ::recv(socket_, buffer_.data(), buffer_.size(), 0);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return false;
      rest_ = {buffer_.data(), static_cast<std::size_t>(count)};
    }
  }

 private:
  const int socket_;
  const std::size_t longest_;
  std::array<char, 512> buffer_{};
  std::string_view rest_;
};

}  // namespace

std::string ControlServer::Start(const std::string& root) {
  std::string problem = listener_.Listen(root + kControlSocketName, SOCK_STREAM);
  if (problem.empty()) {
    acceptor_.emplace(listener_.Get(), kMostConnections, [this](int socket) { Serve(socket); });
  }
  return problem;
}

void ControlServer::Serve(int socket) {
  LineReader reader(socket, kLongestControlLine);
  for (std::string line; reader.Next(line);) {
    if (!SendAll(socket, AnswerControlLine(units_, line) + "\n")) return;
  }
}

bool SendControlLine(const std::string& root, const std::string& line, std::string& answer) {
  const std::string path = root + kControlSocketName;
  const auto address = platform::UnixAddress(path);
  if (!address) {
    answer = path + ": too long for a socket";
    return false;
  }
  const platform::UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!socket ||
      ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    answer = "no q5sim answers at " + path + ": " + std::strerror(errno);
    return false;
  }
  LineReader reader(socket.Get(), kLongestAnswer);
  // A server that ends in the middle of its line has ended, not answered.
  if (SendAll(socket.Get(), line + "\n") && reader.Next(answer)) return true;
  answer = path + ": q5sim ended before it answered";
  return false;
}

}  // namespace simulator
