// Follows the bytes that one peer sends, in the framing of ZMTP (all versions that libzmq takes),
// and finds what has no place on this bus, while it arrives. libzmq itself keeps every part of a
// message until the last one has come: a message that never ends would take all memory.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace Common {

class ZmbStreamWatch {
 public:
  /// `subscribes`: the peer is one of a publisher, and may say what it wants to hear.
  explicit ZmbStreamWatch(bool subscribes = false) : subscribes_(subscribes) {}

  /// The next bytes of the stream. Null, or what is wrong with them; the stream is of no use then.
  const char* Take(std::span<const std::uint8_t> bytes);

  /// Whether the peer has told which version it speaks. From then on libzmq has pipes for it.
  bool HasGreeted() const { return step_ != Step::kGreeting; }
  /// Whole messages so far; commands do not count.
  std::uint64_t Messages() const { return messages_; }
  /// The identity that the peer gave itself, empty for none; nothing before it is known.
  const std::optional<std::string>& Identity() const { return identity_; }

 private:
  enum class Step { kGreeting, kHeader, kBody };
  enum class Version { kOne, kTwo, kThree };
  struct Frame {
    std::uint64_t size = 0;
    bool more = false;
    bool command = false;
  };

  const char* TakeHeadByte(std::uint8_t byte);
  void TakeGreeting();
  std::optional<Frame> WholeHeader() const;
  const char* BeginFrame(const Frame& frame);
  const char* BeginIntroduction(const Frame& frame);
  const char* BeginCommand(const Frame& frame);
  const char* Count(const Frame& frame);
  const char* EndFrame();

  const char* CommandProblem() const;

  bool subscribes_;
  Step step_ = Step::kGreeting;
  Version version_ = Version::kOne;
  std::array<std::uint8_t, 64> head_{};  ///< of the greeting, later of a frame
  std::size_t head_size_ = 0;
  std::uint64_t body_left_ = 0;
  bool is_command_ = false;
  bool more_ = false;  ///< of the frame at hand
  std::uint64_t messages_ = 0;
  std::string introduction_;  ///< what may hold the identity; later a command
  std::optional<std::string> identity_;
  std::uint64_t envelope_ = 0;  ///< of the message that is arriving, as it is charged
};

}  // namespace Common
