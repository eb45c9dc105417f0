// A value that the start has to set before anything uses it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <optional>

namespace platform {

/// The value. Without one the process ends with `name` on standard error, also in a release build.
template <class T>
const T& Required(const std::optional<T>& value, const char* name) {
  if (!value) {
    std::fprintf(stderr, "%s is used before it is set\n", name);
    std::abort();
  }
  return *value;
}

}  // namespace platform
