// The message bus between the modules, without the measurement module's part: what the programs
// there would publish, and what the measurement daemon says.
//
// Each program is a speaker with a socket and a fault of its own, the unit messages.SPEAKER:
//
//   off              says nothing
//   delayed MS       says it later
//   intermittent P   loses that share
//   garbage          says noise of the right length, half of it behind the right id, and now and
//                    then noise of another length
//
// Values: messages.SPEAKER (how many, and the latest, oldest first; set: says a message by hand,
// see message_text.h), messages.SPEAKER.lose (so many of the next messages are lost),
// messages.SPEAKER.flood (repeats its last message so many times a second), messages.meas (what
// the daemon has said).
//
// A message goes to the sockets and to everyone in this process who listens. Watchdogs say that
// their module's programs have started when somebody subscribes and nobody else has.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "common/zpubsub/records/int_pub_sub_msg.h"
#include "platform/clock.h"
#include "platform/thread_safety.h"
#include "platform/unique_fd.h"
#include "simulator/units.h"

namespace simulator {

enum class Speaker : std::uint8_t {
  kTos,
  kSos,
  kEthb,
  kMainWatchdog,
  kMeasWatchdog,
  kSourceWatchdog,
  kDrive,  ///< the source module's text that a change of the source is complete
};
inline constexpr std::size_t kSpeakers = 7;

class ModuleBus {
 public:
  struct Setup {
    std::string main, meas, source;  ///< dotted addresses
    std::uint64_t seed = 0;
  };
  using Listener = std::function<void(const IMSG::IntPubSubMsg&)>;

  ModuleBus(Setup setup, platform::Clock& clock, Units& units);
  ~ModuleBus() { End(); }
  ModuleBus(const ModuleBus&) = delete;
  ModuleBus& operator=(const ModuleBus&) = delete;

  /// Empty when it can run, else why not.
  const std::string& Problem() const { return problem_; }
  /// `listener` hears what others than `self` say, on the bus's own thread. Before Start.
  void Listen(Speaker self, Listener listener);
  void Start();
  /// No listener is called any more.
  void End();

  /// Any thread. The message is with the sockets when it returns, unless a fault delays it. Stores
  /// the checksum and the module of the speaker.
  void Say(Speaker speaker, IMSG::IntPubSubMsg message);
  void SayDriveChangesComplete();

 private:
  using Bytes = std::vector<std::uint8_t>;
  using Socket = std::unique_ptr<void, int (*)(void*)>;

  struct Voice {
    Voice(std::uint64_t seed, Socket its_socket);

    FaultSwitch faults;
    Socket socket;
    unsigned long said = 0;
    std::deque<std::string> latest;
    int lose = 0;
    double flood = 0;  ///< messages a second
    Bytes last;
    platform::Nanoseconds flooded_until{0};
  };
  struct Delayed {
    Speaker speaker;
    Bytes bytes;
  };
  struct Heard {
    std::optional<Speaker> from;  ///< nothing: the measurement daemon
    IMSG::IntPubSubMsg message;
  };

  Socket Open(int type);
  Socket Publisher(const std::string& address, int port);
  Socket Subscriber();
  void AddVoice(std::size_t speaker, Units& units);
  std::string ShowLatest(std::size_t speaker);
  bool SayByHand(std::size_t speaker, std::string_view text);

  void SayBytes(Speaker speaker, Bytes bytes) Q5_REQUIRES(mutex_);
  void Note(Voice& voice, const Bytes& bytes) Q5_REQUIRES(mutex_);
  void Send(Speaker speaker, Bytes bytes) Q5_REQUIRES(mutex_);
  Bytes Garbage(const Bytes& bytes) Q5_REQUIRES(mutex_);
  Voice& VoiceOf(Speaker speaker) { return *voices_[static_cast<std::size_t>(speaker)]; }

  void Run();
  void SendDelayed();
  void Flood();
  void GreetSubscribers();
  void HearDaemon();
  void Deliver();
  long Patience();

  const Setup setup_;
  platform::Clock& clock_;
  std::string problem_;
  std::unique_ptr<void, int (*)(void*)> context_;
  Socket daemon_;  ///< of the thread
  platform::UniqueFd wake_;
  bool ended_ Q5_GUARDED_BY(mutex_) = false;
  std::vector<std::pair<Speaker, Listener>> listeners_;  ///< constant from Start on

  platform::Mutex mutex_;  ///< guards the fields of voices and the use of their sockets, too
  std::array<std::unique_ptr<Voice>, kSpeakers> voices_;
  std::multimap<platform::Nanoseconds, Delayed> delayed_ Q5_GUARDED_BY(mutex_);
  std::deque<Heard> heard_ Q5_GUARDED_BY(mutex_);
  std::mt19937_64 random_ Q5_GUARDED_BY(mutex_);
  unsigned long daemon_said_ Q5_GUARDED_BY(mutex_) = 0;
  std::deque<std::string> daemon_latest_ Q5_GUARDED_BY(mutex_);
  std::thread thread_;
};

}  // namespace simulator
