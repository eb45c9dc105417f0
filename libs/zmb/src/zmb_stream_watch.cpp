#include "libs/zmb/src/zmb_stream_watch.h"

#include <algorithm>
#include <string_view>

#include "libs/zmb/src/zmb_limits.h"

namespace Common {

namespace {

// The greeting: a signature of ten bytes, a revision, and what its version adds.
constexpr std::uint8_t kSignature = 0xFF;
constexpr std::size_t kSignatureSize = 10;
constexpr std::size_t kRevision = 10;
constexpr std::size_t kShortGreeting = 12;
constexpr std::size_t kLongGreeting = 64;

// The flags of a frame.
constexpr unsigned kMore = 1;
constexpr unsigned kLong = 2;
constexpr unsigned kCommand = 4;

/// Space for an identity of 255 bytes and the other properties of a peer.
constexpr std::size_t kIntroductionBytes = 1024;
constexpr std::size_t kCommandBytes = 64;

std::uint64_t BigEndian(std::span<const std::uint8_t> bytes) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

/// A text behind a length of `width` bytes, removed from `from`; nothing when it is cut short.
std::optional<std::string_view> TakeText(std::string_view& from, std::size_t width) {
  if (from.size() < width) return std::nullopt;
  std::uint64_t size = 0;
  for (const char byte : from.substr(0, width)) size = size << 8 | static_cast<std::uint8_t>(byte);
  from.remove_prefix(width);
  if (from.size() < size) return std::nullopt;
  const std::string_view text = from.substr(0, size);
  from.remove_prefix(size);
  return text;
}

/// Of the READY command, whose properties are pairs of name and value; nothing for another one.
std::optional<std::string> IdentityIn(std::string_view command) {
  if (TakeText(command, 1) != "READY") return std::nullopt;
  std::string identity;
  while (const auto name = TakeText(command, 1)) {
    const auto value = TakeText(command, 4);
    if (!value) break;
    if (name == "Identity") identity = *value;  // libzmq takes the last one, too
  }
  return identity;
}

/// The only commands that a peer of a router has to send once it is connected. libzmq keeps others
/// for the router, which never takes them. It reads the time of a PING without a look at its size.
bool IsHeartbeat(std::string_view command) {
  constexpr std::size_t kPingTime = 2;
  const auto name = TakeText(command, 1);
  return (name == "PING" && command.size() >= kPingTime) || name == "PONG";
}

bool IsSubscription(std::string_view command) {
  const auto name = TakeText(command, 1);
  return name == "SUBSCRIBE" || name == "CANCEL";
}

}  // namespace

const char* ZmbStreamWatch::CommandProblem() const {
  if (IsHeartbeat(introduction_) || (subscribes_ && IsSubscription(introduction_))) return nullptr;
  return "command out of place";
}

const char* ZmbStreamWatch::Take(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    if (step_ != Step::kBody) {
      if (const char* wrong = TakeHeadByte(bytes.front())) return wrong;
      bytes = bytes.subspan(1);
      continue;
    }
    const auto part = bytes.first(std::min<std::uint64_t>(bytes.size(), body_left_));
    if (!identity_ || is_command_) introduction_.append(part.begin(), part.end());
    body_left_ -= part.size();
    bytes = bytes.subspan(part.size());
    if (body_left_ > 0) continue;
    if (const char* wrong = EndFrame()) return wrong;
  }
  return nullptr;
}

const char* ZmbStreamWatch::TakeHeadByte(std::uint8_t byte) {
  head_[head_size_++] = byte;
  if (step_ == Step::kGreeting) TakeGreeting();
  if (step_ != Step::kHeader) return nullptr;
  const auto frame = WholeHeader();
  return frame ? BeginFrame(*frame) : nullptr;
}

// The first version has no greeting: what looks like one is the header of its first frame, and
// stays in `head_` as that.
void ZmbStreamWatch::TakeGreeting() {
  const bool is_frame = head_[0] != kSignature ||
                        (head_size_ == kSignatureSize && (head_[kSignatureSize - 1] & 1) == 0);
  if (is_frame) {
    step_ = Step::kHeader;
    return;
  }
  if (head_size_ <= kRevision) return;
  const std::uint8_t revision = head_[kRevision];
  if (head_size_ < (revision < 2 ? kShortGreeting : kLongGreeting)) return;
  version_ = revision == 0 ? Version::kOne : revision == 1 ? Version::kTwo : Version::kThree;
  step_ = Step::kHeader;
  head_size_ = 0;
}

std::optional<ZmbStreamWatch::Frame> ZmbStreamWatch::WholeHeader() const {
  if (head_size_ == 0) return std::nullopt;
  const std::span head(head_.data(), head_size_);
  if (version_ == Version::kOne) {  // length, which counts the flags, too; flags
    const bool is_long = head[0] == kSignature;
    if (head.size() < (is_long ? 10 : 2)) return std::nullopt;
    const std::uint64_t length = is_long ? BigEndian(head.subspan(1, 8)) : head[0];
    // a length of 0 is refused by libzmq; here it becomes one that is beyond every limit
    return Frame{.size = length - 1, .more = (head.back() & kMore) != 0};
  }
  const unsigned flags = head[0];
  if (head.size() < ((flags & kLong) != 0 ? 9 : 2)) return std::nullopt;
  return Frame{.size = BigEndian(head.subspan(1)),
               .more = (flags & kMore) != 0,
               .command = (flags & kCommand) != 0};
}

const char* ZmbStreamWatch::BeginFrame(const Frame& frame) {
  const char* wrong = !identity_      ? BeginIntroduction(frame)
                      : frame.command ? BeginCommand(frame)
                                      : Count(frame);
  if (wrong != nullptr) return wrong;
  step_ = Step::kBody;
  is_command_ = frame.command;
  more_ = frame.more;
  body_left_ = frame.size;
  return body_left_ == 0 ? EndFrame() : nullptr;
}

// Before the third version an introduction is a plain frame. With a flag libzmq does not take it as
// one, but takes the identity from a later frame.
const char* ZmbStreamWatch::BeginIntroduction(const Frame& frame) {
  if (frame.size > kIntroductionBytes) return "introduction too long";
  if (version_ != Version::kThree && (frame.more || frame.command)) {
    return "introduction out of place";
  }
  introduction_.clear();
  return nullptr;
}

// The second version has the flag but no command. libzmq drops such a frame, within a message too,
// which therefore continues behind it.
const char* ZmbStreamWatch::BeginCommand(const Frame& frame) {
  if (version_ != Version::kThree || frame.more || frame.size > kCommandBytes) {
    return "command out of place";
  }
  introduction_.clear();
  return nullptr;
}

const char* ZmbStreamWatch::Count(const Frame& frame) {
  if (frame.size > limits::kFrameBytes) return "frame too long";
  envelope_ = frame.more ? envelope_ + limits::kFrameOverhead + frame.size : 0;
  return envelope_ > limits::kEnvelopeBytes ? "envelope too long" : nullptr;
}

const char* ZmbStreamWatch::EndFrame() {
  step_ = Step::kHeader;
  head_size_ = 0;
  if (identity_) {
    if (is_command_) return CommandProblem();
    if (!more_) ++messages_;
    return nullptr;
  }
  identity_ = version_ == Version::kThree ? IdentityIn(introduction_) : introduction_;
  introduction_ = {};
  return nullptr;
}

}  // namespace Common
