#include "simulator/module_bus.h"

#include <sys/eventfd.h>
#include <zmq.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/msg/records/module_id.h"
#include "common/zpubsub/records/socket_plan.h"
#include "simulator/message_text.h"
#include "simulator/parse.h"

namespace simulator {
namespace {

using IMSG::IntPubSubMsg;

/// The text that says so, with its end.
constexpr char kDriveChangesComplete[] = "Event:Drive changes complete";
constexpr int kDrivePort = 5556;

struct Place {
  const char* name;
  int module;
  int port;
};
constexpr std::array<Place, kSpeakers> kPlaces = {{
    {"tos", Msg::MAIN_MODULE, IMSG::kMainPort},
    {"sos", Msg::SOURCE_MODULE, IMSG::kSourcePort},
    {"ethb", Msg::MAIN_MODULE, IMSG::kBridgePort},
    {"wd_main", Msg::MAIN_MODULE, IMSG::kMainWatchdogPort},
    {"wd_meas", Msg::MEAS_MODULE, IMSG::kMeasWatchdogPort},
    {"wd_source", Msg::SOURCE_MODULE, IMSG::kSourceWatchdogPort},
    {"drive", Msg::SOURCE_MODULE, kDrivePort},
}};
bool IsWatchdog(Speaker speaker) {
  return speaker == Speaker::kMainWatchdog || speaker == Speaker::kMeasWatchdog ||
         speaker == Speaker::kSourceWatchdog;
}

/// Messages that wait for one subscriber; it loses what comes on top.
constexpr int kHighWater = 1000;
constexpr std::int64_t kLargestMessage = 1024;
constexpr std::size_t kShown = 8;  // of the latest messages
constexpr std::size_t kMostDelayed = 10000;
constexpr std::size_t kMostHeard = 10000;
constexpr int kMostLost = 1000000;
/// How soon a new subscriber is seen, in milliseconds.
constexpr long kGreetingMs = 100;
constexpr double kMostFlood = 100000;
constexpr unsigned kOddLengths = 4;  // one message of garbage in so many
constexpr unsigned kLongestGarbage = 300;

bool IsMessage(std::span<const std::uint8_t> bytes) { return bytes.size() == sizeof(IntPubSubMsg); }

IntPubSubMsg MessageIn(std::span<const std::uint8_t> bytes) {
  IntPubSubMsg message{};
  std::memcpy(static_cast<void*>(&message), bytes.data(), sizeof message);
  return message;
}

std::string TextOf(std::span<const std::uint8_t> bytes) {
  if (IsMessage(bytes)) return MessageText(MessageIn(bytes));
  return {bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)};
}

void Keep(std::deque<std::string>& latest, std::string text) {
  latest.push_back(std::move(text));
  if (latest.size() > kShown) latest.pop_front();
}

std::string Show(unsigned long count, const std::deque<std::string>& latest) {
  std::string text = std::to_string(count);
  for (const std::string& line : latest) text += "; " + line;
  return text;
}

}  // namespace

ModuleBus::Voice::Voice(std::uint64_t seed, Socket its_socket)
    : faults({Fault::kOff, Fault::kGarbage, Fault::kDelayed, Fault::kIntermittent}, seed),
      socket(std::move(its_socket)) {}

ModuleBus::ModuleBus(Setup setup, platform::Clock& clock, Units& units)
    : setup_(std::move(setup)),
      clock_(clock),
      context_(zmq_ctx_new(), zmq_ctx_term),
      daemon_(nullptr, zmq_close),
      wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      random_(setup_.seed) {
  for (std::size_t speaker = 0; speaker < kSpeakers; ++speaker) AddVoice(speaker, units);
  daemon_ = Subscriber();
  units.AddValue("messages.meas", [this] {
    const platform::Lock lock(mutex_);
    return Show(daemon_said_, daemon_latest_);
  });
}

void ModuleBus::End() {
  if (!thread_.joinable()) return;
  {
    const platform::Lock lock(mutex_);
    ended_ = true;
  }
  ::eventfd_write(wake_.Get(), 1);
  thread_.join();
}

ModuleBus::Socket ModuleBus::Open(int type) {
  Socket socket(zmq_socket(context_.get(), type), zmq_close);
  assert(socket != nullptr);
  const int none = 0;
  zmq_setsockopt(socket.get(), ZMQ_LINGER, &none, sizeof none);
  zmq_setsockopt(socket.get(), ZMQ_SNDHWM, &kHighWater, sizeof kHighWater);
  zmq_setsockopt(socket.get(), ZMQ_RCVHWM, &kHighWater, sizeof kHighWater);
  zmq_setsockopt(socket.get(), ZMQ_MAXMSGSIZE, &kLargestMessage, sizeof kLargestMessage);
  return socket;
}

ModuleBus::Socket ModuleBus::Publisher(const std::string& address, int port) {
  Socket socket = Open(ZMQ_XPUB);
  const std::string end_point = "tcp://" + address + ":" + std::to_string(port);
  if (zmq_bind(socket.get(), end_point.c_str()) != 0) {
    problem_ = end_point + ": " + zmq_strerror(errno);
  }
  return socket;
}

// From the main module's address: the daemon limits the connections of each.
ModuleBus::Socket ModuleBus::Subscriber() {
  Socket socket = Open(ZMQ_SUB);
  zmq_setsockopt(socket.get(), ZMQ_SUBSCRIBE, "", 0);
  const std::string end_point =
      "tcp://" + setup_.main + ":0;" + setup_.meas + ":" + std::to_string(IMSG::kMeasPort);
  if (zmq_connect(socket.get(), end_point.c_str()) != 0) {
    problem_ = end_point + ": " + zmq_strerror(errno);
  }
  return socket;
}

void ModuleBus::AddVoice(std::size_t speaker, Units& units) {
  const Place& place = kPlaces[speaker];
  const std::string* addresses[] = {&setup_.main, &setup_.meas, &setup_.source};
  auto& voice = voices_[speaker] = std::make_unique<Voice>(
      setup_.seed + speaker, Publisher(*addresses[place.module], place.port));
  const std::string name = std::string("messages.") + place.name;
  units.AddFaults(name, voice->faults);
  units.AddValue(
      name, [this, speaker] { return ShowLatest(speaker); },
      [this, speaker](std::string_view text) { return SayByHand(speaker, text); });
  units.AddValue(
      name + ".lose",
      [this, &voice] {
        const platform::Lock lock(mutex_);
        return std::to_string(voice->lose);
      },
      [this, &voice](std::string_view text) {
        const auto number = ParseNumber(text, kMostLost);
        const platform::Lock lock(mutex_);
        voice->lose = static_cast<int>(number.value_or(static_cast<unsigned>(voice->lose)));
        return number.has_value();
      });
  units.AddValue(
      name + ".flood",
      [this, &voice] {
        const platform::Lock lock(mutex_);
        return std::to_string(voice->flood);
      },
      [this, &voice](std::string_view text) {
        const auto rate = ParseReal(text, 0, kMostFlood);
        const platform::Lock lock(mutex_);
        if (!rate || (*rate > 0 && voice->last.empty())) return false;
        voice->flood = *rate;
        voice->flooded_until = clock_.Monotonic();
        ::eventfd_write(wake_.Get(), 1);
        return true;
      });
}

std::string ModuleBus::ShowLatest(std::size_t speaker) {
  const platform::Lock lock(mutex_);
  return Show(voices_[speaker]->said, voices_[speaker]->latest);
}

bool ModuleBus::SayByHand(std::size_t speaker, std::string_view text) {
  if (static_cast<Speaker>(speaker) == Speaker::kDrive) {
    if (text != "complete") return false;
    SayDriveChangesComplete();
    return true;
  }
  const auto message = MessageFrom(text, kPlaces[speaker].module);
  if (!message) return false;
  const auto bytes = message->Bytes();
  const platform::Lock lock(mutex_);
  SayBytes(static_cast<Speaker>(speaker), {bytes.begin(), bytes.end()});
  return true;
}

void ModuleBus::Listen(Speaker self, Listener listener) {
  listeners_.emplace_back(self, std::move(listener));
}

void ModuleBus::Start() { thread_ = std::thread(&ModuleBus::Run, this); }

// --- What is said ---

void ModuleBus::Say(Speaker speaker, IntPubSubMsg message) {
  message.module = kPlaces[static_cast<std::size_t>(speaker)].module;
  message.DoChkSum();
  const auto bytes = message.Bytes();
  const platform::Lock lock(mutex_);
  SayBytes(speaker, {bytes.begin(), bytes.end()});
}

void ModuleBus::SayDriveChangesComplete() {
  const platform::Lock lock(mutex_);
  SayBytes(Speaker::kDrive, {std::begin(kDriveChangesComplete), std::end(kDriveChangesComplete)});
}

void ModuleBus::Note(Voice& voice, const Bytes& bytes) {
  ++voice.said;
  voice.last = bytes;
  Keep(voice.latest, TextOf(bytes));
}

// A message that is lost counts as said: its sender does not know.
void ModuleBus::SayBytes(Speaker speaker, Bytes bytes) {
  Voice& voice = VoiceOf(speaker);
  Note(voice, bytes);
  if (voice.lose > 0) {
    --voice.lose;
    return;
  }
  switch (voice.faults.Now()) {
    case Fault::kOff:
      return;
    case Fault::kDelayed:
      if (delayed_.size() >= kMostDelayed) return;
      delayed_.emplace(clock_.Monotonic() + voice.faults.Delay(),
                       Delayed{speaker, std::move(bytes)});
      break;
    case Fault::kGarbage:
      Send(speaker, Garbage(bytes));
      break;
    default:
      Send(speaker, std::move(bytes));
  }
  ::eventfd_write(wake_.Get(), 1);
}

void ModuleBus::Send(Speaker speaker, Bytes bytes) {
  zmq_send(VoiceOf(speaker).socket.get(), bytes.data(), bytes.size(), ZMQ_DONTWAIT);
  if (IsMessage(bytes) && heard_.size() < kMostHeard) heard_.push_back({speaker, MessageIn(bytes)});
}

ModuleBus::Bytes ModuleBus::Garbage(const Bytes& bytes) {
  Bytes noise(random_() % kOddLengths == 0 ? random_() % kLongestGarbage : bytes.size());
  for (std::uint8_t& byte : noise) byte = static_cast<std::uint8_t>(random_());
  constexpr std::size_t kId = sizeof(Msg::HmpMsgHead);
  const bool keeps_id = IsMessage(bytes) && noise.size() == bytes.size() && random_() % 2 == 0;
  if (keeps_id) std::copy_n(bytes.begin() + kId, sizeof(std::int32_t), noise.begin() + kId);
  return noise;
}

// --- The thread ---

long ModuleBus::Patience() {
  const platform::Lock lock(mutex_);
  const bool floods =
      std::ranges::any_of(voices_, [](const auto& voice) { return voice->flood > 0; });
  if (floods) return 1;
  if (delayed_.empty()) return kGreetingMs;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(delayed_.begin()->first - clock_.Monotonic());
  return std::clamp(static_cast<long>(left.count()), 0L, kGreetingMs);
}

void ModuleBus::Run() {
  for (;;) {
    zmq_pollitem_t items[] = {{nullptr, wake_.Get(), ZMQ_POLLIN, 0},
                              {daemon_.get(), 0, ZMQ_POLLIN, 0}};
    zmq_poll(items, 2, Patience());
    eventfd_t count = 0;
    ::eventfd_read(wake_.Get(), &count);
    {
      const platform::Lock lock(mutex_);
      if (ended_) return;
    }
    HearDaemon();
    GreetSubscribers();
    SendDelayed();
    Flood();
    Deliver();
  }
}

// The first one that subscribes is a daemon that has just been started. What a subscriber says is a
// byte and its filter.
void ModuleBus::GreetSubscribers() {
  const platform::Lock lock(mutex_);
  for (std::size_t i = 0; i < kSpeakers; ++i) {
    std::uint8_t word = 0;
    while (zmq_recv(voices_[i]->socket.get(), &word, sizeof word, ZMQ_DONTWAIT) >= 0) {
      if (word != 1 || !IsWatchdog(static_cast<Speaker>(i))) continue;
      auto message = IntPubSubMsg::Make(IMSG::PROCESSSTARTDONEMSG, kPlaces[i].module);
      message.DoChkSum();
      const auto bytes = message.Bytes();
      SayBytes(static_cast<Speaker>(i), {bytes.begin(), bytes.end()});
    }
  }
}

void ModuleBus::SendDelayed() {
  const platform::Lock lock(mutex_);
  const auto now = clock_.Monotonic();
  while (!delayed_.empty() && delayed_.begin()->first <= now) {
    Delayed due = std::move(delayed_.begin()->second);
    delayed_.erase(delayed_.begin());
    Send(due.speaker, std::move(due.bytes));
  }
}

void ModuleBus::Flood() {
  const platform::Lock lock(mutex_);
  const auto now = clock_.Monotonic();
  for (const auto& voice : voices_) {
    if (voice->flood <= 0) continue;
    const auto period = platform::Nanoseconds(static_cast<std::int64_t>(1e9 / voice->flood));
    for (; voice->flooded_until <= now; voice->flooded_until += period) {
      ++voice->said;
      const bool garbage = voice->faults.Chosen() == Fault::kGarbage;
      const Bytes bytes = garbage ? Garbage(voice->last) : voice->last;
      zmq_send(voice->socket.get(), bytes.data(), bytes.size(), ZMQ_DONTWAIT);
    }
  }
}

void ModuleBus::HearDaemon() {
  IntPubSubMsg message{};
  for (;;) {
    const int size =
        zmq_recv(daemon_.get(), static_cast<void*>(&message), sizeof message, ZMQ_DONTWAIT);
    if (size < 0) return;
    if (size != sizeof message) continue;
    const platform::Lock lock(mutex_);
    ++daemon_said_;
    Keep(daemon_latest_, MessageText(message));
    if (heard_.size() < kMostHeard) heard_.push_back({std::nullopt, message});
  }
}

void ModuleBus::Deliver() {
  std::deque<Heard> heard;
  {
    const platform::Lock lock(mutex_);
    heard.swap(heard_);
  }
  for (const Heard& its : heard) {
    for (const auto& [self, listener] : listeners_) {
      if (its.from != self) listener(its.message);
    }
  }
}

}  // namespace simulator
