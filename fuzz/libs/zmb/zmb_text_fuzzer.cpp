// Any text as a URI, an identity and a small text request.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "libs/zmb/src/zmb_id.h"
#include "libs/zmb/src/zmb_req.h"
#include "libs/zmb/src/zmb_uri.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

void Uri(const std::string& text) {
  const Common::ZmbUri uri(text);
  Require(uri.prot == Common::NPROT ? uri.uri.empty() : uri.uri == text);
  if (uri.prot == Common::NPROT) return;
  // what was accepted whole is accepted in two parts, if the path is long enough
  const std::string path = text.substr(text.find("://") + 3);
  Require(path.size() < 3 || Common::ZmbUri(uri.prot, path).uri == text);
}

void Id(const std::string& text) {
  const Common::ZmbID id(text);
  id.ShowID();
  Require(id.CompID(id) == (id.IsValid() ? 0 : -2));
}

void Request(std::string text) {
  Common::ZmbReq req(text.data(), static_cast<int>(text.size()));
  const auto type = req.Parse();
  const char* last = text.data();
  while (true) {
    const auto [attr, value] = req.GetNextAttr();
    if (value.first == nullptr) break;
    const char* start = static_cast<char*>(value.first);
    Require(type != Common::ZmbReq::NTYPE && value.second >= 0);
    Require(start > last && start + value.second < text.data() + text.size());
    last = start + value.second;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Uri(text);
  Id(text);
  Request(text);
  return 0;
}
