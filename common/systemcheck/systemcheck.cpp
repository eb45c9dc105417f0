#include "common/systemcheck/systemcheck.h"

#include <arpa/inet.h>

#include <chrono>
#include <optional>

#include "common/log/log_line.h"
#include "common/msg/records/module_id.h"
#include "platform/backend.h"

namespace {

constexpr int kAddressTries = 19;
constexpr auto kAddressPeriod = std::chrono::seconds(1);
constexpr std::uint32_t kHardwired = 0x090A090A;
constexpr char kNoAddress[] = "127.0.0.1";  // what a machine without a network says

std::uint32_t Parse(const char* dotted) {
  in_addr address{};
  return dotted != nullptr && ::inet_pton(AF_INET, dotted, &address) == 1 ? address.s_addr : 0;
}

std::optional<std::uint32_t> OwnAddress() {
  for (int time = 1; time <= kAddressTries; ++time) {
    const std::string own = platform::Machine().HostAddress();
    if (own != kNoAddress && Parse(own.c_str()) != 0) return Parse(own.c_str());
    Q5_LOG_WARNING(systemcheckL, "ioctl cgifaddr time:%d \n", time);
    if (time < kAddressTries) platform::Machine().Clock().SleepFor(kAddressPeriod);
  }
  return std::nullopt;
}

}  // namespace

void systemcheck::Init(int module, const char* meas, const char* source) {
  _moduleID = module;
  if (IsMainHost()) {
    _measIP = Parse(meas);
    _sourceIP = Parse(source);
  }
  const auto own = OwnAddress();
  if (!own)
    Q5_LOG_ERROR(systemcheckL, "HARDWIRED IP:%lx\n", static_cast<unsigned long>(kHardwired));
  SetModuleIP(own.value_or(kHardwired));
}

bool systemcheck::IsMainHost() const { return _moduleID == Msg::MAIN_MODULE; }

void systemcheck::SetModuleIP(std::uint32_t address) {
  _boardIP = address;
  if (_moduleID == Msg::MAIN_MODULE) _mainIP = address;
  if (_moduleID == Msg::MEAS_MODULE) _measIP = address;
  if (_moduleID == Msg::SOURCE_MODULE) _sourceIP = address;
}

std::string systemcheck::Dotted(std::uint32_t address) {
  if (address == 0) return {};
  char text[INET_ADDRSTRLEN] = "";
  const in_addr in{address};
  return ::inet_ntop(AF_INET, &in, text, sizeof text);
}
