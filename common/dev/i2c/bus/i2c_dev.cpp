#include "common/dev/i2c/bus/i2c_dev.h"

#include <array>
#include <cassert>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>

#include "common/dev/i2c/bus/i2c_bus.h"
#include "common/dev/i2c/bus/i2c_mux.h"
#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {

namespace {

constexpr std::chrono::microseconds kWriteToRead(160);
constexpr int kPsocStaging = 128;  // bytes of one PSoC write
constexpr int kNewMessage = 40;    // the host message that brings the new relay handling

std::size_t Bytes(int len) { return static_cast<std::size_t>(len < 0 ? 0 : len); }

}  // namespace

const std::string I2cDev::_fpfpgakey = DeviceKey(Msg::MAIN_MODULE, FP_SRCMEAS, FPGA, 1);
Msg::HMPData* I2cDev::state_ = nullptr;

I2cDev::I2cDev(const I2cDevInfo& info)
    : Device(info._mid, info._aid, info._type, info._num, info._id, info._rev),
      _addr(info._addr),
      _bus(info._bus),
      _hmux(info._hmux),
      _lmux(info._lmux),
      _rate(info._rate),
      _key(info.Key()),
      _cid({info._bus, info._hmux, info._lmux}),
      _info(info) {
  assert(_bus == 1 || _bus == 2);
}

int I2cDev::Select(const char* func) {
  _fd = TurnOnI2cMux(true);
  if (_fd < 0) return kNoPath;
  if (SelectAddress(_fd, _addr) == 0) return 0;
  Q5_LOG_WARNING(i2cmainL, "<warn func=I2cDev.%s ioctl=-1 fd=%d addr=0x%02X/>\n", func, _fd,
                 static_cast<unsigned>(_addr));
  return -1;
}

int I2cDev::Read(char* buf, int len) {
  if (const int failed = Select("Read"); failed < 0) return failed;
  const auto count = static_cast<int>(platform::Machine().Read(_fd, buf, Bytes(len)));
  if (count < 0) {
    Q5_LOG_ERROR(i2cmainL,
                 "<warn func=I2cDev.Read read=err %s key=%s addr=0x%02X lmux=%d len=%d/>\n",
                 std::strerror(errno), _key.c_str(), static_cast<unsigned>(_addr), _lmux, len);
  }
  return count;
}

int I2cDev::Write(char* buf, int len) {
  if (const int failed = Select("Write"); failed < 0) return failed == kNoPath ? kNoPath : -2;
  if (platform::Machine().Write(_fd, buf, Bytes(len)) == len) return len;
  Q5_LOG_WARNING(i2cmainL, "<warn func=I2cDev.Write write=err key=%s addr=0x%02X len=%d/>\n",
                 _key.c_str(), static_cast<unsigned>(_addr), len);
  return -1;
}

int I2cDev::Wread(char* buf, int len, char* buf2, int len2) {
  if (const int failed = Select("Wread"); failed < 0) {
    if (failed == kNoPath) {
      Q5_LOG_WARNING(i2cmainL, "%s error fd %d dev %s \n", "Wread", _fd, _key.c_str());
    }
    return failed;
  }
  if (platform::Machine().Write(_fd, buf, Bytes(len)) != len) {
    Q5_LOG_WARNING(i2cmainL, "<warn func=I2cDev.Wread write=err len=%d key=%s addr=0x%02X/>\n", len,
                   _key.c_str(), static_cast<unsigned>(_addr));
    return -1;
  }
  platform::Machine().Clock().SleepFor(kWriteToRead);
  return static_cast<int>(platform::Machine().Read(_fd, buf2, Bytes(len2)));
}

int I2cDev::PsocWread(char* buf, int len, char* buf2, int len2) {
  if (const int failed = Select("PsocWread"); failed < 0) return failed;
  const int lengths[] = {len & 0xFFFF, (len >> 16) & 0xFFFF};
  constexpr const char* kShortWrite[] = {"<warn func=I2cDev.PsocWread write=err len=",
                                         "<warn func=I2cDev.PsocWread readwrite=err len="};
  for (int part = 0; part < 2; ++part) {
    std::array<char, kPsocStaging> staging{};
    const int count = lengths[part];
    const bool fits = count <= kPsocStaging;
    if (fits) std::memcpy(staging.data(), buf + std::ptrdiff_t{part} * kPsocStaging, Bytes(count));
    if (!fits || platform::Machine().Write(_fd, staging.data(), Bytes(count)) != count) {
      Q5_LOG_WARNING(i2cmainL, "%s%d key=%s/>\n", kShortWrite[part], count, _key.c_str());
      return -1;
    }
  }
  return static_cast<int>(platform::Machine().Read(_fd, buf2, Bytes(len2)));
}

int I2cDev::Transfer(char* buf, int len, char* buf2, int len2, Act act) {
  switch (act) {
    case do_read:
      return Read(buf, len);
    case do_write:
      return Write(buf, len);
    case do_wread:
      return Wread(buf, len, buf2, len2);
    case do_psocwread:
      return PsocWread(buf, len, buf2, len2);
    default:
      return -1;
  }
}

int I2cDev::DoReq(char* buf, int len, char* buf2, int len2, Act act) {
  return Transfer(buf, len, buf2, len2, act);
}

int I2cDev::DoReqOriginal(char* buf, int len, char* buf2, int len2, Act act) {
  const int result = Transfer(buf, len, buf2, len2, act);
  if (result != kNoPath) TurnOffI2cMux();
  return result;
}

int I2cDev::TurnOnI2cMux(bool force) {
  const int bus = _cid[0];
  const int fd = I2cMux::GetBusFd(bus);
  if (fd < 0) {
    Q5_LOG_WARNING(i2cmainL, "<warn func=I2cDev.TurnOnI2cMux err=bad-fd cid=%d/>\n", bus);
    return -1;
  }
  for (int level = 1; level < _cid.Length(); ++level) {
    const I2cChId path = _cid.Prefix(level);
    I2cMux* mux = I2cMux::GetI2cMux(path);
    if (mux == nullptr) {
      Q5_LOG_WARNING(i2cmainL, "<warn func=I2cDev.TurnOnI2cMux err=bad-mux cid=%s/>\n",
                     path.ToString().c_str());
      return -1;
    }
    if (mux->SetChn(_cid[level], force) < 0) {
      Q5_LOG_WARNING(i2cmainL, "<warn func=I2cDev.TurnOnI2cMux SetChn=failed cid=%s/>\n",
                     path.ToString().c_str());
      return -1;
    }
  }
  return fd;
}

int I2cDev::TurnOffI2cMux() {
  const int bus = _cid[0];
  if (I2cMux::GetBusFd(bus) < 0) {
    Q5_LOG_WARNING(i2cmainL, "<warn func=I2cDev.TurnOffI2cMux err=bad-fd cid=%d/>\n", bus);
    return -1;
  }
  for (int level = _cid.Length() - 1; level > 0; --level) {
    const I2cChId path = _cid.Prefix(level);
    I2cMux* mux = I2cMux::GetI2cMux(path);
    if (mux == nullptr) {
      Q5_LOG_WARNING(i2cmainL, "<warn func=I2cDev.TurnOffI2cMux err=bad-mux cid=%s/>\n",
                     path.ToString().c_str());
      return -1;
    }
    if (mux->ResetChn() < 0) {
      Q5_LOG_WARNING(i2cmainL, "<warn func=I2cDev.TurnOffI2cMux Reset=failed cid=%s/>\n",
                     path.ToString().c_str());
      return -1;
    }
  }
  return 0;
}

void I2cDev::SetVar() {
  ++_doreqorig;
  Q5_LOG_DEBUG(i2cmainL, "%s%d SETVAR\n", _id.c_str(), _num);
}

void I2cDev::ResetVar() {
  --_doreqorig;
  Q5_LOG_DEBUG(i2cmainL, "%s%d RESETVAR\n", _id.c_str(), _num);
}

void I2cDev::Show(int level) const {
  Q5_LOG_AT(level, i2cmainL, "<I2cDev key=%s fd=%d rev=%d cid=%s/>\n", _key.c_str(), _fd, _rev,
            _cid.ToString().c_str());
}

I2cDev::Map& I2cDev::GetDevices() {
  static Map devices;
  return devices;
}

void I2cDev::AddDevice(std::unique_ptr<I2cDev> device) {
  const std::string key = device->GetKey();
  GetDevices().try_emplace(key, std::move(device));
}

I2cDev* I2cDev::GetDevice(const std::string& key) {
  const auto found = GetDevices().find(key);
  return found == GetDevices().end() ? nullptr : found->second.get();
}

void I2cDev::DelDevices() { GetDevices().clear(); }

void I2cDev::i2c_report_nak(int code, int value) {
  state_->SetErrorCode(static_cast<short>(code), 1, value);
}

bool I2cDev::NewMessageHandling() { return state_->GetCurrentMsg() == kNewMessage; }

std::span<const int> I2cDev::InternalSensors() { return state_->intsens_table; }

}  // namespace Dev
