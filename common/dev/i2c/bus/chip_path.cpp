#include "common/dev/i2c/bus/chip_path.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "common/dev/i2c/bus/device_table.h"
#include "common/dev/i2c/bus/i2c_bus.h"
#include "common/log/logger_mgr.h"
#include "platform/backend.h"

namespace Dev {

using Logger::kError;
using Logger::logger_mgr;

namespace {

constexpr int kLastChannel = 3;

int MuxAddress(ASSEMBLY_ID aid, bool old) {
  for (const MuxRow& row : kMuxRows) {
    if (row.aid == aid) return row.Address(old);
  }
  return -1;
}

/// errno of a transfer that came back with another count than asked for.
int ErrorOf(ssize_t count) { return count < 0 ? errno : EIO; }

}  // namespace

ChipPath::ChipPath(const I2cDevInfo& info, int fd, const char* name, int log_module,
                   ChipWords words, Report report)
    : info_(info), fd_(fd), name_(name), log_module_(log_module), words_(words), report_(report) {}

ChipPath::~ChipPath() {
  constexpr unsigned char kNone = 0;
  for (int level : {1, 0}) {
    const int addr = switched_[level];
    if (addr < 0 || SelectAddress(fd_, addr) < 0) continue;
    if (platform::Machine().Write(fd_, &kNone, 1) != 1) {
      logger_mgr::print(log_module_, kError, 0, "%s: multiplexer 0x%02X stays on: %s\n", name_,
                        static_cast<unsigned>(addr), std::strerror(errno));
    }
  }
}

int ChipPath::Open() {
  const bool on_main = info_._mid == Msg::MAIN_MODULE;
  const bool old = info_._rev <= kLastOldMuxRevision;
  if (info_._hmux <= kLastChannel) {
    const int addr = MuxAddress(on_main ? MAIN_HOST : SIGNAL_HOST, old);
    switched_[0] = addr;  // also after a fault: a byte that arrived may have done its work
    if (SwitchMux(addr, info_._hmux,
                  on_main ? "/MAIN/MAIN_HOST HMUX ERROR" : "/SIGNAL/SIG_HOST HMUX ERROR") < 0) {
      return -1;
    }
  }
  if (info_._lmux <= kLastChannel && on_main) {
    const int addr = MuxAddress(FP_SRCMEAS, old);
    switched_[1] = addr;
    if (SwitchMux(addr, info_._lmux, "/MAIN/FP_SRCMEAS LMUX ERROR") < 0) return -1;
  }
  return SelectChip();
}

int ChipPath::SwitchMux(int addr, int channel, const char* place) {
  if (SelectAddress(fd_, addr) < 0) {
    const int error = errno;
    logger_mgr::print(log_module_, kError, 0, "%s%s\n", name_, place);
    report_(words_.select, error);
    return -1;
  }
  const unsigned char select = MuxChannelByte(channel, info_._rev > kLastOldMuxRevision);
  const ssize_t count = platform::Machine().Write(fd_, &select, 1);
  return count == 1 ? 0 : Fail(place, words_.write, ErrorOf(count));
}

int ChipPath::SelectChip() {
  if (SelectAddress(fd_, info_._addr) == 0) return 0;
  const int error = errno;
  logger_mgr::print(log_module_, kError, 0, "%s SLAVE ERROR\n", name_);
  report_(words_.select, error);
  return -1;
}

int ChipPath::Write(std::span<const unsigned char> bytes) {
  return Write(bytes, words_.write, " WRITE ERROR");
}

int ChipPath::Write(std::span<const unsigned char> bytes, int word, const char* what) {
  const ssize_t count = platform::Machine().Write(fd_, bytes.data(), bytes.size());
  if (count == static_cast<ssize_t>(bytes.size())) return 0;
  return Fail(what, word, ErrorOf(count));
}

int ChipPath::Read(std::span<unsigned char> bytes) {
  const ssize_t count = platform::Machine().Read(fd_, bytes.data(), bytes.size());
  if (count == static_cast<ssize_t>(bytes.size())) return 0;
  return Fail(" READ ERROR", words_.read, ErrorOf(count));
}

int ChipPath::Fail(const char* what, int word, int error) {
  logger_mgr::print(log_module_, kError, 0, "%s%s %s\n", name_, what, std::strerror(error));
  report_(word, error);
  return -1;
}

}  // namespace Dev
