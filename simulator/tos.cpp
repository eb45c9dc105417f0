#include "simulator/tos.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "common/msg/records/hmp_opcodes.h"
#include "common/msg/records/hmp_service.h"
#include "common/zpubsub/records/relay_request.h"
#include "simulator/parse.h"

namespace simulator {
namespace {

/// A divider is in use when its bits of both words of a pair are set.
struct RelayBits {
  VoltagePath::Tap tap;
  int positive;
  int negative;
};
constexpr RelayBits kRelayBits[] = {{VoltagePath::Tap::kHv1, 0x1000, 0x4000},
                                    {VoltagePath::Tap::kHv2, 0x0800, 0x2000}};

constexpr int kLeadHv1 = 1 << 10;
constexpr int kLeadHv2 = 1 << 11;

constexpr double kMostRelaySeconds = 60;
/// From the relays' new place to the word that they are there.
constexpr platform::Nanoseconds kToAnswer = std::chrono::milliseconds(30);
constexpr std::size_t kMostWork = 64;
constexpr std::size_t kMostTemperatures = 64;

std::string Hex(unsigned number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%04x", number);
  return text;
}

/// The relays that a request names; 0 when it is not whole, or not what its message says.
unsigned RelaysOf(const std::uint8_t* bytes, bool set) {
  using IMSG::RelayRequest;
  RelayRequest request{};
  std::memcpy(static_cast<void*>(&request), bytes, sizeof request);
  const auto relays = static_cast<unsigned>(request.relays);
  for (const bool source : {false, true}) {
    for (const int channel : {0, 1}) {
      const auto right = RelayRequest::Make(set, channel, source);
      if (std::equal(bytes, bytes + sizeof right, right.GetData(),
                     [](auto a, auto b) { return static_cast<char>(a) == b; })) {
        return relays;
      }
    }
  }
  return 0;
}

VoltagePath::Tap TapOfRelays(int positive, int negative) {
  for (const RelayBits& bits : kRelayBits) {
    if ((positive & bits.positive) != 0 && (negative & bits.negative) != 0) return bits.tap;
  }
  return VoltagePath::Tap::kDirect;
}

/// With both energized the second one is measured.
VoltagePath::Tap TapOfLeads(int energized) {
  if ((energized & kLeadHv2) != 0) return VoltagePath::Tap::kHv2;
  if ((energized & kLeadHv1) != 0) return VoltagePath::Tap::kHv1;
  return VoltagePath::Tap::kDirect;
}

}  // namespace

Tos::Tos(VoltagePath& path, Leads& leads, Say say, std::uint64_t seed, platform::Clock& clock,
         Units& units)
    : path_(path),
      leads_(leads),
      say_(std::move(say)),
      clock_(clock),
      faults_({Fault::kOff}, seed) {
  units.AddFaults("tos", faults_);
  AddValues(units);
  AddContact(units, "panel.estop", &Tos::estop_, IMSG::FPESTOPMSG);
  AddContact(units, "panel.switch", &Tos::switch_, IMSG::SOSSSWITCHMSG);
}

void Tos::AddValues(Units& units) {
  units.AddValue("tos.relays", [this] {
    const platform::Lock lock(mutex_);
    return Hex(relays_);
  });
  units.AddValue("tos.filter_relay", [this] {
    const platform::Lock lock(mutex_);
    return std::to_string(filter_relay_);
  });
  units.AddValue("tos.xml_post", [this] {
    const platform::Lock lock(mutex_);
    return Hex(static_cast<unsigned>(xml_post_));
  });
  units.AddValue("tos.temperatures", [this] {
    const platform::Lock lock(mutex_);
    std::string text;
    for (const auto& [place, degrees] : temperatures_) {
      text += (text.empty() ? "" : " ") + place + "=" + std::to_string(degrees);
    }
    return text;
  });
  units.AddValue(
      "tos.relay_time",
      [this] {
        const platform::Lock lock(mutex_);
        return std::to_string(relay_seconds_);
      },
      [this](std::string_view text) {
        const auto seconds = ParseReal(text, 0, kMostRelaySeconds);
        const platform::Lock lock(mutex_);
        relay_seconds_ = seconds.value_or(relay_seconds_);
        return seconds.has_value();
      });
}

void Tos::AddContact(Units& units, const char* name, int Tos::*contact, IMSG::MessageId id) {
  units.AddValue(
      name,
      [this, contact] {
        const platform::Lock lock(mutex_);
        return std::to_string(this->*contact);
      },
      [this, contact, id](std::string_view text) {
        if (text != "0" && text != "1") return false;
        const platform::Lock lock(mutex_);
        const int state = text == "1" ? 1 : 0;
        const bool opens = std::exchange(this->*contact, state) == 0 && state == 1;
        if (!opens || faults_.Chosen() == Fault::kOff) return true;
        auto message = IMSG::IntPubSubMsg::Make(id, 0);
        if (id == IMSG::SOSSSWITCHMSG) message.fpfault = 1;
        say_(message);
        return true;
      });
}

bool Tos::KeepsSourceOff() {
  const platform::Lock lock(mutex_);
  return estop_ != 0 || switch_ != 0;
}

void Tos::Hear(HostRecord record) {
  if (faults_.Chosen() == Fault::kOff) return;
  const auto opcode = OpcodeOf(record);
  if (opcode == Msg::HMP_TEST_RLY) {
    const auto relays = FieldsOf<Msg::HmpTestRlyReq>(record);
    if (!relays) return;
    path_.Set({TapOfRelays(relays->m1vp, relays->m1vn), TapOfRelays(relays->m2vp, relays->m2vn)});
  } else if (opcode == Msg::HMP_LEAD_CONFIG) {
    const auto leads = FieldsOf<Msg::HmpLeadConfigReq>(record);
    if (!leads) return;
    const VoltagePath::Tap tap = TapOfLeads(leads->energize);
    path_.Set({tap, tap});
    leads_.Use(static_cast<std::uint16_t>(leads->energize),
               static_cast<std::uint16_t>(leads->measure));
  }
}

// --- Messages ---

void Tos::HearMessage(const IMSG::IntPubSubMsg& message) {
  if (faults_.Chosen() == Fault::kOff) return;
  const platform::Lock lock(mutex_);
  switch (message.msgtype) {
    case IMSG::SETMESRLYMSG:
    case IMSG::SETSRCRLYMSG:
    case IMSG::RESETMESRLYMSG:
    case IMSG::RESETSRCRLYMSG:
      TakeRelayRequest(message);
      break;
    case IMSG::XMLPOSTMSG:
      xml_post_ = message.xmlResult;
      break;
    case IMSG::LVSFILTERRELAYMSG:
      filter_relay_ = message.relay6state;
      say_(IMSG::IntPubSubMsg::Make(IMSG::LVSFILTERACKMSG, 0));
      break;
    case IMSG::TEMPERMSG:
      KeepTemperature(message);
      break;
    case IMSG::GETSERVERSTATUSMSG: {
      auto answer = IMSG::IntPubSubMsg::Make(IMSG::SENTSERVERSTATUSMSG, 0);
      answer.serverstatus = 1;
      say_(answer);
      break;
    }
    default:
      break;
  }
}

void Tos::TakeRelayRequest(const IMSG::IntPubSubMsg& message) {
  if (work_.size() >= kMostWork) return;
  const int id = message.msgtype;
  const bool set = id == IMSG::SETMESRLYMSG || id == IMSG::SETSRCRLYMSG;
  const bool source = id == IMSG::SETSRCRLYMSG || id == IMSG::RESETSRCRLYMSG;
  const auto done_at = clock_.Monotonic() + std::chrono::ceil<platform::Nanoseconds>(
                                                std::chrono::duration<double>(relay_seconds_));
  work_.push_back({.set = set,
                   .relays = RelaysOf(message.relayMsg, set),
                   .answer = source ? IMSG::SOSACKMSG : IMSG::MOSACKMSG,
                   .done_at = done_at,
                   .answered_at = done_at + kToAnswer});
}

void Tos::KeepTemperature(const IMSG::IntPubSubMsg& message) {
  const std::string place = std::to_string(message.module) + "." + std::to_string(message.assem) +
                            "." + std::to_string(message.i2cdevaddr) + "." +
                            std::to_string(message.sensor);
  if (temperatures_.size() < kMostTemperatures || temperatures_.contains(place)) {
    temperatures_[place] = message.temper;
  }
}

void Tos::Acknowledge(const RelayWork& work) {
  auto answer = IMSG::IntPubSubMsg::Make(work.answer, 0);
  answer.relayAck = work.relays != 0 ? 1 : 0;
  say_(answer);
}

void Tos::Update() {
  const platform::Lock lock(mutex_);
  if (faults_.Chosen() == Fault::kOff) work_.clear();
  const auto now = clock_.Monotonic();
  for (RelayWork& work : work_) {
    if (work.done || now < work.done_at) continue;
    work.done = true;
    relays_ = work.set ? relays_ | work.relays : relays_ & ~work.relays;
  }
  while (!work_.empty() && now >= work_.front().answered_at) {
    Acknowledge(work_.front());
    work_.pop_front();
  }
}

}  // namespace simulator
