#include "libs/zmb/src/zmb_util.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "libs/zmb/src/zmb_log.h"
#include "platform/backend.h"

namespace Common {

namespace {

constexpr size_t kLineBytes = 16;
constexpr size_t kMaxDump = 1024;

}  // namespace

std::string HostName() {
  std::array<char, 128> name{};
  // a name that does not fit is cut without a terminator: keep the last byte for it
  if (gethostname(name.data(), name.size() - 1) != 0) return {};
  return name.data();
}

std::string HostIpAddr() { return platform::Machine().HostAddress(); }

std::string ToIpString(unsigned long address) {
  const in_addr in{static_cast<in_addr_t>(address)};
  std::array<char, INET_ADDRSTRLEN> text{};
  return inet_ntop(AF_INET, &in, text.data(), text.size());
}

void ShowBuffer(int level, const void* data, size_t len) {
  if (data == nullptr || !zmb_log.Wants(level)) return;
  static constexpr char kHex[] = "0123456789abcdef";
  const auto* bytes = static_cast<const unsigned char*>(data);
  const size_t shown = std::min(len, kMaxDump);
  for (size_t start = 0; start < shown; start += kLineBytes) {
    std::string hex;
    std::string text;
    for (size_t i = start; i < std::min(start + kLineBytes, shown); ++i) {
      const unsigned char byte = bytes[i];
      hex += {' ', kHex[byte >> 4], kHex[byte & 15]};
      text += byte >= ' ' && byte <= '~' ? static_cast<char>(byte) : '.';
    }
    zmb_log.Print(level, "%04zx:%-48s  %s\n", start, hex.c_str(), text.c_str());
  }
  if (shown < len) zmb_log.Print(level, "... %zu bytes more\n", len - shown);
}

}  // namespace Common
