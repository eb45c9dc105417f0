// A directory of a test's own, gone with the object.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace platform {

class TemporaryRoot {
 public:
  TemporaryRoot() {
    std::string pattern = (std::filesystem::temp_directory_path() / "q5rootXXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ~TemporaryRoot() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryRoot(const TemporaryRoot&) = delete;
  TemporaryRoot& operator=(const TemporaryRoot&) = delete;

  const std::string& Path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace platform
