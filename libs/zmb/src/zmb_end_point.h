// One link of a socket: where it leads and in which state it is.
#pragma once

#include <memory>
#include <utility>

#include "libs/zmb/src/zmb_uri.h"

namespace Common {

class ZmbEndPoint {
 public:
  enum Mode : int { NONE = 0, BOUND = 1, CONNECTED = 2 };

  struct Deleter {
    void operator()(ZmbEndPoint* point) const { Delete(point); }
  };
  using Ptr = std::unique_ptr<ZmbEndPoint, Deleter>;

  static Ptr Create(ZmbUri uri, int stat = 0, int mode = NONE) {
    return Ptr(new ZmbEndPoint(std::move(uri), stat, mode));
  }
  static void Delete(ZmbEndPoint* point) { delete point; }

  ZmbUri _zuri;
  int _stat;  ///< 0 or the errno of the last failed bind or connect
  int _mode;  ///< a Mode

 private:
  ZmbEndPoint(ZmbUri uri, int stat, int mode) : _zuri(std::move(uri)), _stat(stat), _mode(mode) {}
  ~ZmbEndPoint() = default;
};

}  // namespace Common
