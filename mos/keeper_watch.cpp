#include "mos/keeper_watch.h"

#include <algorithm>

namespace Mos {

void KeeperWatch::Begin(std::string_view route) {
  size_ = std::min(route.size(), route_.size());
  std::copy_n(route.begin(), size_, route_.begin());
  watches_ = true;
}

bool KeeperWatch::IsFirstOfAnother(std::string_view route) {
  if (!watches_ || route == std::string_view(route_.data(), size_)) return false;
  watches_ = false;
  return true;
}

}  // namespace Mos
