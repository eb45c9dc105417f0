// An address on the bus: "inproc://...", "ipc://PATH" or "tcp://HOST:PORT".
#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace Common {

enum protocol : int { NPROT = -1, INPROC = 0, IPC = 1, TCP = 2 };

struct ZmbUri {
  protocol prot = NPROT;  ///< NPROT after a failed check
  std::string uri;        ///< the whole text, empty after a failed check

  ZmbUri() = default;
  explicit ZmbUri(std::string_view text) { Check(text); }
  /// Data and length of a whole text; the bytes are copied.
  explicit ZmbUri(std::pair<void*, int> text);
  /// The part behind "://". A protocol out of range is a failed check.
  ZmbUri(protocol p, std::string_view path);

  /// Takes a whole text if it is well formed: at least 9 characters, a known protocol, for inproc
  /// and ipc a path with a "/" that does not end in one, for tcp a host and a port around the one
  /// ":". That a port is a number is left to the bind or connect.
  bool Check(std::string_view text);

  /// Logs it at `level`.
  void Show(int level) const;

  /// "inproc", "ipc", "tcp"; empty for NPROT.
  static std::string_view ProtStr(protocol p);
};

}  // namespace Common
