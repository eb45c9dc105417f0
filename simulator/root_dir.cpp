#include "simulator/root_dir.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include "simulator/sample_files.h"

namespace simulator {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDirectories[] = {
    "/dev",
    "/etc",
    "/home/root",
    "/media/mmcblk0p1",
    "/media/mmcblk0p2/logs",
    "/media/mmcblk0p3/logs/naklogs",
    "/mnt/main/media/mmcblk0p2/logs",
    "/mnt/meas/media/mmcblk0p2/logs",
    "/mnt/src/media/mmcblk0p2/logs",
    "/staging",
    "/sys",
    "/tmp",
    "/var/log",
    "/var/volatile",
    "/varek/config",
    "/varek/diags",
};

constexpr char kLockName[] = "/q5sim.lock";
constexpr char kHostsName[] = "/etc/hosts";
constexpr char kFirmwareName[] = "/etc/varek-fw-version";
/// The longest name of a Unix socket under the root, and what the kernel takes.
constexpr std::string_view kLongestSocket = "/tmp/Mos.MeasMgr.ipc";
constexpr std::size_t kSocketPathLimit = 107;

std::string ReadFirstWord(const std::string& path) {
  std::ifstream file(path);
  std::string word;
  file >> word;
  return word;
}

std::string Write(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::trunc);
  file << text;
  file.close();
  return file ? "" : path + ": " + std::strerror(errno);
}

}  // namespace

std::string RootDir::Claim(const std::string& directory) {
  std::error_code error;
  fs::create_directories(directory, error);
  if (error) return directory + ": " + error.message();
  path_ = fs::canonical(directory, error).string();
  if (error) return directory + ": " + error.message();
  if (path_ == "/") return "/ is this machine's own root; give a directory for the instrument";
  if (path_.size() + kLongestSocket.size() > kSocketPathLimit) {
    return path_ + ": too long; the sockets inside leave space for " +
           std::to_string(kSocketPathLimit - kLongestSocket.size()) + " characters, this has " +
           std::to_string(path_.size());
  }
  const std::string lock_path = path_ + kLockName;
  lock_.Reset(::open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  if (!lock_) return lock_path + ": " + std::strerror(errno);
  if (::flock(lock_.Get(), LOCK_EX | LOCK_NB) != 0) {
    return path_ + ": already served by the q5sim with process id " + ReadFirstWord(lock_path);
  }
  if (const std::string problem = Write(lock_path, std::to_string(::getpid()) + "\n");
      !problem.empty()) {
    return problem;
  }
  for (const char* name : kDirectories) {
    fs::create_directories(path_ + name, error);
    if (error) return path_ + name + ": " + error.message();
  }
  return "";
}

std::string RootDir::WriteFiles(const Config& config) {
  std::string hosts;
  for (std::size_t module = 0; module < kModules; ++module) {
    hosts += config.addresses[module] + " " + kModuleNames[module] + "\n";
  }
  std::string problem = Write(path_ + kHostsName, hosts);
  if (problem.empty() && !fs::exists(path_ + kFirmwareName)) {
    problem = Write(path_ + kFirmwareName, "varek_fw_version=" + config.firmware_version + "\n");
  }
  for (const SampleFile& sample : SampleFiles()) {
    if (problem.empty() && !fs::exists(path_ + sample.path))
      problem = Write(path_ + sample.path, sample.text);
  }
  return problem;
}

Addresses RootDir::EarlierAddresses() const {
  Addresses addresses;
  std::ifstream file(path_ + kHostsName);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string address;
    std::string name;
    words >> address >> name;
    const auto found = std::ranges::find(kModuleNames, name);
    if (found != kModuleNames.end()) {
      addresses[static_cast<std::size_t>(found - kModuleNames.begin())] = address;
    }
  }
  return addresses;
}

}  // namespace simulator
