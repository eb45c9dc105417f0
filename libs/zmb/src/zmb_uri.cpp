#include "libs/zmb/src/zmb_uri.h"

#include <array>

#include "libs/zmb/src/zmb_log.h"

namespace Common {

namespace {

constexpr std::array<std::string_view, 3> kProtStr = {"inproc", "ipc", "tcp"};
constexpr std::string_view kSeparator = "://";
constexpr size_t kMinText = 9;
constexpr size_t kMinPath = 3;

bool HostAndPort(std::string_view path) {
  const size_t colon = path.find(':');
  return colon != std::string_view::npos && colon == path.rfind(':') && colon != 0 &&
         colon + 1 != path.size();
}

bool SlashInside(std::string_view path) {
  return path.find('/') != std::string_view::npos && path.back() != '/';
}

bool PathFits(protocol p, std::string_view path) {
  return p == TCP ? HostAndPort(path) : SlashInside(path);
}

protocol ProtocolOf(std::string_view text) {
  for (size_t i = 0; i < kProtStr.size(); ++i) {
    if (text == kProtStr[i]) return static_cast<protocol>(i);
  }
  return NPROT;
}

}  // namespace

ZmbUri::ZmbUri(std::pair<void*, int> text) {
  if (text.first == nullptr || text.second <= 0) return;
  Check({static_cast<const char*>(text.first), static_cast<size_t>(text.second)});
}

ZmbUri::ZmbUri(protocol p, std::string_view path) {
  if (ProtStr(p).empty() || path.size() < kMinPath || !PathFits(p, path)) return;
  prot = p;
  uri.append(ProtStr(p)).append(kSeparator).append(path);
}

bool ZmbUri::Check(std::string_view text) {
  prot = NPROT;
  uri.clear();
  if (text.size() < kMinText) return false;
  const size_t end = text.find(kSeparator);
  if (end == std::string_view::npos) return false;
  const protocol p = ProtocolOf(text.substr(0, end));
  if (p == NPROT || !PathFits(p, text.substr(end + kSeparator.size()))) return false;
  prot = p;
  uri = text;
  return true;
}

void ZmbUri::Show(int level) const {
  zmb_log.Print(level, "<ZmbUri prot=%d uri=%s/>\n", prot, uri.c_str());
}

std::string_view ZmbUri::ProtStr(protocol p) {
  return p >= INPROC && p <= TCP ? kProtStr[p] : std::string_view();
}

}  // namespace Common
