// Runs an input in a process of its own, for code whose objects and threads are those of a process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "tests/platform/temporary_root.h"

namespace fuzz {

class Child {
 public:
  /// Runs `work` in a child and takes over what it has covered. Ends this process when the child
  /// does not get through it. The temporary files of the child are removed.
  static void Run(const std::function<void()>& work);

 private:
  Child();
  void RunOne(const std::function<void()>& work) const;

  platform::TemporaryRoot directory_;
  std::uint8_t* covered_ = nullptr;
};

}  // namespace fuzz
