#include "simulator/server_status.h"

#include <iterator>
#include <utility>

#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr const char* kNames[] = {"main", "meas", "source"};
constexpr int kSilent = 2;  // questions without an answer
constexpr double kLongestPeriod = 3600;

}  // namespace

ServerStatus::ServerStatus(Setup setup, platform::Clock& clock, Units& units)
    : setup_(std::move(setup)), clock_(clock) {
  units.AddValue("ethb.servers", [this] { return Show(); });
  units.AddValue(
      "ethb.ask",
      [this] {
        const platform::Lock lock(mutex_);
        return std::to_string(period_);
      },
      [this](std::string_view text) {
        const auto seconds = ParseReal(text, 0.1, kLongestPeriod);
        const platform::Lock lock(mutex_);
        period_ = seconds.value_or(period_);
        next_ = clock_.Monotonic();
        return seconds.has_value();
      });
}

std::string ServerStatus::Show() {
  const platform::Lock lock(mutex_);
  std::string text;
  for (std::size_t i = 0; i < servers_.size(); ++i) {
    const bool silent = servers_[i].unanswered >= kSilent;
    text += text.empty() ? "" : " ";
    text.append(kNames[i]).append(silent ? " silent" : servers_[i].up ? " up" : " down");
  }
  return text;
}

void ServerStatus::HearMessage(const IMSG::IntPubSubMsg& message) {
  const int module = message.module;
  if (message.msgtype != IMSG::SENTSERVERSTATUSMSG || module < 0 ||
      module >= static_cast<int>(std::size(kNames))) {
    return;
  }
  const platform::Lock lock(mutex_);
  servers_[static_cast<std::size_t>(module)] = {message.serverstatus != 0, 0};
}

void ServerStatus::Update() {
  if (!setup_.bridge_up()) return;
  {
    const platform::Lock lock(mutex_);
    const auto now = clock_.Monotonic();
    if (now < next_) return;
    next_ = now + std::chrono::ceil<platform::Nanoseconds>(std::chrono::duration<double>(period_));
    for (Server& server : servers_) {
      if (server.unanswered < kSilent) ++server.unanswered;
    }
  }
  setup_.say(IMSG::IntPubSubMsg::Make(IMSG::GETSERVERSTATUSMSG, 0));
}

}  // namespace simulator
