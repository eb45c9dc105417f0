// The text files that the FPGA's driver shows under "/sys".
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/instrument.h"
#include "platform/thread_safety.h"
#include "simulator/config.h"
#include "simulator/driver_counters.h"
#include "simulator/units.h"

namespace simulator {

/// One attribute. Empty functions: it cannot be read, or written.
struct TextAttribute {
  std::string path;
  std::function<std::string()> show;
  /// Gets what was written, without its line end. False for a text that it refuses.
  std::function<bool(std::string_view)> store;
};

/// Opens it as sysfs does: EACCES for the direction that the attribute does not have. A reader gets
/// the text as it was at the first read, then the end of the file; a Pread the text as it is.
std::unique_ptr<platform::DeviceFile> OpenAttribute(const TextAttribute& attribute, int flags,
                                                    int& error);

/// The values behind the attributes of the FPGA's driver. Threads: any.
class DriverAttributes {
 public:
  /// `counters` outlives it.
  DriverAttributes(const Config& config, DriverCounters& counters, Units& units);
  const std::vector<TextAttribute>& All() const { return all_; }

 private:
  std::string Pid() const;

  mutable platform::Mutex pid_mutex_;
  std::string pid_ Q5_GUARDED_BY(pid_mutex_);
  std::vector<TextAttribute> all_;
};

}  // namespace simulator
