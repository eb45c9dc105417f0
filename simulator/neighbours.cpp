#include "simulator/neighbours.h"

#include <string>
#include <utility>

#include "simulator/addresses.h"

namespace simulator {

Neighbours::Neighbours(const Config& config, platform::UniqueFd host_listener,
                       platform::Clock& clock, VirtualInstrument& instrument)
    : instrument_(instrument),
      bus_({config.Address(Module::kMain), config.Address(Module::kMeas),
            config.Address(Module::kSource), config.seed},
           clock, instrument.Units()),
      tos_(
          instrument.Path(), instrument.Leads(),
          [this](const IMSG::IntPubSubMsg& message) { bus_.Say(Speaker::kTos, message); },
          config.seed, clock, instrument.Units()),
      sos_({.allok = [&instrument] { return instrument.AllokUp(); },
            .speed = config.speed,
            .seed = config.seed,
            .links = {[this](const IMSG::IntPubSubMsg& message) {
                        bus_.Say(Speaker::kSos, message);
                      },
                      [this] { bus_.SayDriveChangesComplete(); }},
            .line_hertz = [&instrument] { return instrument.LineHertz(); },
            .stopped = [this] { return tos_.KeepsSourceOff(); }},
           clock, instrument.Source(), instrument.Units()),
      servers_({[this](const IMSG::IntPubSubMsg& message) { bus_.Say(Speaker::kEthb, message); },
                [this] { return IsUp("ethb"); }},
               clock, instrument.Units()),
      heartbeat_({config.Address(Module::kMain), config.Address(Module::kMeas),
                  config.Address(Module::kSource), [this] { return IsUp("tos"); },
                  [this] { return IsUp("sos"); }},
                 clock, instrument.Units()),
      ethb_({std::move(host_listener),
             "tcp://" + config.Address(Module::kMeas) + ":" + std::to_string(kBusPort), config.seed,
             [this](HostRecord record) {
               tos_.Hear(record);
               sos_.Hear(record);
             },
             [this] { return sos_.MayPass(); }},
            clock, instrument.Units()) {
  bus_.Listen(Speaker::kTos, [this](const auto& message) { tos_.HearMessage(message); });
  bus_.Listen(Speaker::kSos, [this](const auto& message) { sos_.HearMessage(message); });
  bus_.Listen(Speaker::kEthb, [this](const auto& message) { servers_.HearMessage(message); });
  bus_.Start();
}

// The bus calls the others.
Neighbours::~Neighbours() { bus_.End(); }

const std::string& Neighbours::Problem() const {
  return bus_.Problem().empty() ? heartbeat_.Problem() : bus_.Problem();
}

bool Neighbours::IsUp(const char* unit) const {
  return instrument_.Units().FindFaults(unit)->Chosen() != Fault::kOff;
}

void Neighbours::Update() {
  tos_.Update();
  sos_.Update();
  servers_.Update();
  heartbeat_.Update();
}

}  // namespace simulator
