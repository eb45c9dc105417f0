#include "tests/integration/request_draw.h"

#include <cstring>
#include <limits>

#include "host/request.h"

namespace test {
namespace {

// Values that a test can have stand beside those at and beyond the limits.
constexpr std::int32_t kWhole[] = {0,     0,      1,      1,      2,      3,     5,    7,
                                   10,    20,     21,     100,    240,    1000,  -1,   32767,
                                   65535, -32768, 0x1210, 0x1220, 12,     0x122, 0x12, 0x123,
                                   0x135, 0x330,  0x400,  0x1000, 0x4000, 16};
constexpr float kReal[] = {60,    60,      50,      15,
                           400,   100,     2.9F,    1000,
                           0.1F,  0.0001F, 1000.1F, 0,
                           -0.0F, -1,      1e-38F,  std::numeric_limits<float>::quiet_NaN(),
                           1e30F, 5000,    47,      std::numeric_limits<float>::infinity()};

}  // namespace

RequestDraw::RequestDraw(std::uint64_t seed) : random_(seed) {
  for (const Msg::Message& message : Msg::Messages()) {
    if (message.server == Msg::Server::kMeasMgr) messages_.push_back(&message);
  }
}

host::Bytes RequestDraw::Next() {
  const Msg::Message& message = *One(messages_);
  host::Bytes record(static_cast<std::size_t>(message.request->size));
  Msg::HmpMsgHead head{};
  head.opcode = message.opcode;
  head.len = static_cast<std::int16_t>(message.request->PayloadSize());
  std::memcpy(record.data(), &head, sizeof head);
  for (const Msg::Field& field : message.request->fields) {
    for (int i = 0; i < field.count; ++i) Fill(field, &record[field.offset + i * field.size]);
  }
  std::string error;
  return *host::WithChecksum(std::move(record), error);
}

void RequestDraw::Fill(const Msg::Field& field, std::uint8_t* out) {
  if (field.type == Msg::FieldType::kFloat32) {
    const float value = RealNumber();
    std::memcpy(out, &value, sizeof value);
  } else {
    const std::uint32_t value = WholeNumber();
    std::memcpy(out, &value, field.size);
  }
}

std::uint32_t RequestDraw::WholeNumber() {
  constexpr unsigned kAny = 8;  // one in so many is any number
  if (random_() % kAny == 0) return static_cast<std::uint32_t>(random_());
  return static_cast<std::uint32_t>(One(kWhole));
}

float RequestDraw::RealNumber() { return One(kReal); }

}  // namespace test
