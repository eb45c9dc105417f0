#include "common/dev/i2c/bus/i2c_mux.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>

#include <array>
#include <cassert>
#include <cerrno>
#include <cstring>

#include "common/dev/i2c/bus/device_table.h"
#include "common/dev/i2c/bus/i2c_bus.h"
#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {

I2cMux::I2cMux(const I2cMuxInfo& info)
    : Device(info._mid, info._aid, I2C_MUX, 0, info._id, info._rev),
      _addr(info._addr),
      _bus(info._bus),
      _chns(info._chns),
      _cid({info._bus, info._hmux, info._lmux}) {}

int I2cMux::SetChn(int chn, bool force) {
  if (!force && chn == _chon) return 0;
  if (chn < 0 || chn >= _chns) return -1;
  _fd = GetBusFd(_bus);
  if (SelectAddress(_fd, _addr) < 0) {
    Q5_LOG_WARNING(i2cmainL, "<warn func=I2cMux.SetChn ioctl=-1 fd=%d addr=0x%02X err=%s/>\n", _fd,
                   static_cast<unsigned>(_addr), std::strerror(errno));
    return -1;
  }
  unsigned char control = 0;
  platform::Machine().Read(_fd, &control, 1);  // for the log only
  Q5_LOG_DEBUG(i2cmainL, "Mux set to %x \n", control);
  const unsigned char select = MuxChannelByte(chn, _rev > kLastOldMuxRevision);
  if (platform::Machine().Write(_fd, &select, 1) != 1) {
    Q5_LOG_WARNING(i2cmainL, "<warn func=I2cMux.SetChn write=err data=%d/>\n", select);
    return -1;
  }
  _chon = static_cast<char>(chn);
  return 1;
}

int I2cMux::ResetChn() {
  constexpr unsigned char kNone = 0;
  _fd = GetBusFd(_bus);
  if (SelectAddress(_fd, _addr) < 0) return -1;
  return platform::Machine().Write(_fd, &kNone, 1) == 1 ? 0 : -1;
}

void I2cMux::Show(int level) const {
  Q5_LOG_AT(level, i2cmainL, "<I2cMux cid=%s id=%s rev=%d addr=0x%02X chon=%d/>\n",
            _cid.ToString().c_str(), _id.c_str(), _rev, static_cast<unsigned>(_addr), _chon);
}

I2cMux::Map& I2cMux::GetMuxs() {
  static Map muxs;
  return muxs;
}

void I2cMux::AddI2cMux(std::unique_ptr<I2cMux> mux) {
  const I2cChId path = mux->Path();
  GetMuxs().try_emplace(path, std::move(mux));
}

I2cMux* I2cMux::GetI2cMux(const I2cChId& path) {
  const auto found = GetMuxs().find(path);
  return found == GetMuxs().end() ? nullptr : found->second.get();
}

void I2cMux::LoadI2cMuxs(int mid, int rev) {
  static bool loaded = false;
  if (std::exchange(loaded, true)) return;
  for (const MuxRow& row : kMuxRows) {
    if (!row.modules.Has(mid)) continue;
    I2cMuxInfo info;
    info._mid = mid;
    info._aid = row.aid;
    info._chns = kMuxChannels;
    info._bus = static_cast<char>(row.bus);
    info._hmux = row.hmux;
    info._lmux = row.lmux;
    info._addr = static_cast<char>(row.Address(rev <= kLastOldMuxRevision));
    info._id = kMuxId;
    info._rev = rev;
    AddI2cMux(std::make_unique<I2cMux>(info));
  }
}

int I2cMux::GetBusFd(int busid) {
  static std::array<int, kBuses> descriptors{-1, -1};
  const int index = busid - 1;
  assert(index == 0 || index == 1);
  int& descriptor = descriptors[static_cast<std::size_t>(index)];
  if (descriptor < 0) descriptor = OpenBus(busid);
  return descriptor;
}

}  // namespace Dev
