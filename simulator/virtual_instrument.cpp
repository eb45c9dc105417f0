#include "simulator/virtual_instrument.h"

#include <fcntl.h>

#include <cerrno>
#include <fstream>
#include <utility>

#include "platform/fpga_driver.h"
#include "platform/real_clock.h"

namespace simulator {
namespace {

constexpr char kSystemLogName[] = "/var/log/messages";
constexpr long kNanosecondsPerSecond = 1000000000;

std::string_view Trim(std::string_view text) {
  const std::size_t start = std::min(text.find_first_not_of(" \t"), text.size());
  text.remove_prefix(start);
  return text.substr(0, text.find_last_not_of(" \t") + 1);
}

}  // namespace

bool DeviceTable::Add(std::string path, Opener opener) {
  return openers_.emplace(std::move(path), std::move(opener)).second;
}

std::unique_ptr<platform::DeviceFile> DeviceTable::Open(std::string_view path, int flags,
                                                        int& error) const {
  const auto found = openers_.find(path);
  if (found != openers_.end()) return found->second(flags, error);
  error = ENOENT;
  return nullptr;
}

VirtualInstrument::VirtualInstrument(const Config& config, std::string root, platform::Clock& clock)
    : config_(config),
      root_(std::move(root)),
      clock_(clock),
      i2c_(config_, clock_, units_),
      source_(units_),
      device_(units_),
      leads_(units_),
      path_(units_),
      signals_(source_, device_, leads_, path_, {i2c_.Channel(0), i2c_.Channel(1)}, config_.seed,
               units_),
      fpga_(config_, clock_, i2c_.ClockChip(), signals_, counters_, units_),
      attributes_(config_, counters_, units_),
      mounts_(config_.seed, shell_, units_) {
  problem_ = i2c_.Problem();
  const auto before = [this] { fpga_.Update(); };
  source_.Observe(before);
  device_.Observe(before);
  leads_.Observe(before);
  path_.Observe(before);
  for (std::size_t channel = 0; channel < kMeasChannels; ++channel) {
    if (MeasChannelBoard* board = i2c_.Channel(channel)) board->Observe(before);
  }
  for (std::size_t bus = 0; bus < I2cBoard::kBuses; ++bus) {
    Place("/dev/i2c-" + std::to_string(bus + 1), [this, bus](int, int&) { return i2c_.Open(bus); });
  }
  Place(Dev::kFpgaDevicePath, [this](int, int& error) { return fpga_.Open(error); });
  for (const TextAttribute& attribute : attributes_.All()) {
    Place(attribute.path,
          [&attribute](int flags, int& error) { return OpenAttribute(attribute, flags, error); });
  }
  shell_.Add("echo ", [this](std::string_view arguments) { return Echo(arguments); });
  units_.AddValue("shell.history", [this] { return shell_.History(); });
  units_.AddValue("module",
                  [this] { return kModuleNames[static_cast<std::size_t>(config_.module)]; });
  units_.AddValue("address", [this] { return HostAddress(); });
  units_.AddValue("seed", [this] { return std::to_string(config_.seed); });
  units_.AddValue("speed", [this] { return std::to_string(config_.speed); });
}

void VirtualInstrument::Place(const std::string& path, DeviceTable::Opener opener) {
  if (!devices_.Add(path, std::move(opener))) problem_ = "two devices at " + path;
}

std::unique_ptr<platform::DeviceFile> VirtualInstrument::Open(std::string_view path, int flags,
                                                              int& error) {
  return devices_.Open(path, flags, error);
}

/// "echo TEXT >PATH" into a device, which is how the daemon clears the driver's counters.
std::optional<int> VirtualInstrument::Echo(std::string_view arguments) {
  const std::size_t redirection = arguments.find('>');
  if (redirection == arguments.npos) return std::nullopt;
  const std::string text(Trim(arguments.substr(0, redirection)));
  int error = 0;
  const auto file = Open(Trim(arguments.substr(redirection + 1)), O_WRONLY, error);
  if (file == nullptr) return error == ENOENT ? std::nullopt : std::optional(1);
  const std::string line = text + "\n";
  return file->Write(line.data(), line.size()) < 0 ? 1 : 0;
}

int VirtualInstrument::SetRealtime(const timespec& time) {
  if (time.tv_sec < 0 || time.tv_nsec < 0 || time.tv_nsec >= kNanosecondsPerSecond ||
      time.tv_sec > platform::Nanoseconds::max() / std::chrono::seconds(2)) {
    return -EINVAL;
  }
  const platform::Lock lock(time_mutex_);
  set_time_ = platform::ToNanoseconds(time) - clock_.Monotonic();
  return 0;
}

timespec VirtualInstrument::Realtime() {
  const platform::Lock lock(time_mutex_);
  return set_time_ ? platform::ToTimespec(*set_time_ + clock_.Monotonic()) : clock_.Realtime();
}

void VirtualInstrument::SystemLog(std::string_view line) {
  const std::lock_guard lock(log_mutex_);
  std::ofstream file(root_ + kSystemLogName, std::ios::app);
  file << line;
  if (!line.ends_with('\n')) file << '\n';
}

}  // namespace simulator
