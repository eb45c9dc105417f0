#include "simulator/attributes.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>

#include "platform/fpga_driver.h"
#include "platform/thread_safety.h"
#include "simulator/parse.h"

namespace simulator {
namespace {

class AttributeFile final : public platform::DeviceFile {
 public:
  AttributeFile(const TextAttribute& attribute, int flags)
      : attribute_(attribute), access_(flags & O_ACCMODE) {}

  ssize_t Read(void* data, size_t size) override {
    if (access_ == O_WRONLY) return -EBADF;
    const platform::Lock lock(mutex_);
    if (!rest_) rest_ = attribute_.show() + "\n";
    const std::size_t count = rest_->copy(static_cast<char*>(data), size);
    rest_->erase(0, count);
    return static_cast<ssize_t>(count);
  }

  ssize_t Pread(void* data, size_t size, off_t offset) override {
    if (access_ == O_WRONLY) return -EBADF;
    const std::string text = attribute_.show() + "\n";
    const auto start = std::min(static_cast<std::size_t>(offset), text.size());
    return static_cast<ssize_t>(text.copy(static_cast<char*>(data), size, start));
  }

  ssize_t Write(const void* data, size_t size) override {
    if (access_ == O_RDONLY) return -EBADF;
    std::string_view text(static_cast<const char*>(data), size);
    if (text.ends_with('\n')) text.remove_suffix(1);
    return attribute_.store(text) ? static_cast<ssize_t>(size) : -EINVAL;
  }

 private:
  const TextAttribute& attribute_;
  const int access_;
  platform::Mutex mutex_;
  std::optional<std::string> rest_ Q5_GUARDED_BY(mutex_);
};

std::string Hex(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "%x", value);
  return text;
}

std::function<std::string()> Shows(const std::atomic<std::uint32_t>& value) {
  return [&value] { return Hex(value); };
}

/// Accepts hexadecimal text, as it is shown.
std::function<bool(std::string_view)> Stores(std::atomic<std::uint32_t>& value) {
  return [&value](std::string_view text) {
    const auto parsed = ParseNumber(text, 0xFFFFFFFF, 16);
    if (!parsed) return false;
    value = static_cast<std::uint32_t>(*parsed);
    return true;
  };
}

std::string DriverVersion(double version) {
  char text[16];
  std::snprintf(text, sizeof text, "%.2f", version);
  return text;
}

}  // namespace

std::unique_ptr<platform::DeviceFile> OpenAttribute(const TextAttribute& attribute, int flags,
                                                    int& error) {
  const int access = flags & O_ACCMODE;
  const bool reads = access != O_WRONLY;
  const bool writes = access != O_RDONLY;
  if ((reads && !attribute.show) || (writes && !attribute.store)) {
    error = EACCES;
    return nullptr;
  }
  return std::make_unique<AttributeFile>(attribute, flags);
}

DriverAttributes::DriverAttributes(const Config& config, DriverCounters& counters, Units& units) {
  const std::string version = DriverVersion(config.driver_version);
  all_ = {
      {"/sys/fpgaattr/atod_status", Shows(counters.atod_status), Stores(counters.atod_status)},
      {"/sys/fpgaattr/overflow_underflow", Shows(counters.overflow_underflow),
       Stores(counters.overflow_underflow)},
      {"/sys/fpgaattr/rxfpga", Shows(counters.rxfpga), {}},
      {"/sys/fpgaattr/brIndex", Shows(counters.br_index), {}},
      {Dev::kProcessPidPath,
       {},
       [this](std::string_view text) {
         const platform::Lock lock(pid_mutex_);
         pid_ = text.substr(0, 32);
         return true;
       }},
      {Dev::kDriverVersionPath, [version] { return version; }, {}},
  };
  units.AddValue("fpga.atod_status", Shows(counters.atod_status), Stores(counters.atod_status));
  units.AddValue("fpga.overflow_underflow", Shows(counters.overflow_underflow),
                 Stores(counters.overflow_underflow));
  units.AddValue("fpga.rxfpga", Shows(counters.rxfpga), Stores(counters.rxfpga));
  units.AddValue("fpga.brIndex", Shows(counters.br_index), Stores(counters.br_index));
  units.AddValue("fpga.pid", [this] { return Pid(); });
  units.AddValue("fpga.driver_version", [version] { return version; });
}

std::string DriverAttributes::Pid() const {
  const platform::Lock lock(pid_mutex_);
  return pid_;
}

}  // namespace simulator
