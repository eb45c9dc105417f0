#include "simulator/tos.h"

#include "common/msg/records/hmp_opcodes.h"
#include "common/msg/records/hmp_service.h"

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

Tos::Tos(VoltagePath& path, Leads& leads, std::uint64_t seed, Units& units)
    : path_(path), leads_(leads), faults_({Fault::kOff}, seed) {
  units.AddFaults("tos", faults_);
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

}  // namespace simulator
