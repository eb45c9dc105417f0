// Who keeps a test alive. Any request of a test feeds the watch on its host's silence, whoever
// sends it: a program that polls the same daemon would keep the test of a host running that has
// gone.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace Mos {

class KeeperWatch {
 public:
  /// `route` is the connection that a set-up came by.
  void Begin(std::string_view route);
  /// True for the first request in this test that came by another connection.
  bool IsFirstOfAnother(std::string_view route);

 private:
  std::array<char, 255> route_{};  ///< libzmq's identities have at most 255 bytes
  std::size_t size_ = 0;
  bool watches_ = false;
};

}  // namespace Mos
