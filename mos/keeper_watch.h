// Who keeps a test alive. Each request of a test feeds the watch for a silent host, whoever sends
// it. So a second program that polls the same daemon would keep a test running whose host is lost.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace Mos {

class KeeperWatch {
 public:
  /// `route` is the connection of the set-up.
  void Begin(std::string_view route);
  /// True for the first request of this test that came by another connection.
  bool IsFirstOfAnother(std::string_view route);

 private:
  std::array<char, 255> route_{};  ///< libzmq's identities have at most 255 bytes
  std::size_t size_ = 0;
  bool watches_ = false;
};

}  // namespace Mos
