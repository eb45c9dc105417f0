// Runs each input in a process of its own, for code whose objects and threads are those of a
// process.
//
// A server process with one thread makes the children: a child that is made while another thread
// allocates never gets the allocator's lock.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "tests/platform/temporary_root.h"

namespace fuzz {

class Children {
 public:
  using Work = void (*)(std::span<const std::uint8_t> input);

  /// Before any thread runs. `work` runs in the children.
  explicit Children(Work work);
  ~Children();
  Children(const Children&) = delete;
  Children& operator=(const Children&) = delete;

  /// Runs one input and takes over what it has covered. Ends this process when the child does not
  /// get through it. The child's temporary files are removed.
  void Run(std::span<const std::uint8_t> input);

 private:
  struct Shared;

  [[noreturn]] void Serve(Work work);
  int RunOne(Work work, std::size_t size);

  platform::TemporaryRoot directory_;
  Shared* shared_;
  int requests_[2];  ///< sizes of inputs
  int results_[2];   ///< wait statuses
  pid_t server_;
};

}  // namespace fuzz
