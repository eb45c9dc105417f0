#include "common/dev/i2c/chips/ee24lc32_dev.h"

#include <algorithm>
#include <span>

#include "common/dev/i2c/bus/chip_path.h"
#include "common/dev/i2c/chips/channel_words.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"

namespace Dev {
namespace {

using Logger::ee24lc32L;

constexpr int kChunk = 8192;
constexpr int kBlockLengthOffset = 3;  // of the 16-bit length within a block
constexpr char kAbsentAddress = 0x51;  // no such chip on boards of kAbsentRevision
constexpr int kAbsentRevision = 2;

constexpr ChipWords kMainWords{Msg::NAK_MCODE_I2CIOCTL_EE24_MAIN, Msg::NAK_MCODE_I2CWRITE_EE24_MAIN,
                               Msg::NAK_MCODE_I2CREADOP_EE24_MAIN};
constexpr ChipWords kMeas1Words{Msg::NAK_MCODE_I2CIOCTL_EE24_M1, Msg::NAK_MCODE_I2CWRITE_EE24_M1,
                                Msg::NAK_MCODE_I2CREADOP_EE24_M1};
constexpr ChipWords kMeas2Words{Msg::NAK_MCODE_I2CIOCTL_EE24_M2, Msg::NAK_MCODE_I2CWRITE_EE24_M2,
                                Msg::NAK_MCODE_I2CREADOP_EE24_M2};
constexpr ChipWords kSource1Words{Msg::NAK_MCODE_I2CIOCTL_EE24_S1, Msg::NAK_MCODE_I2CWRITE_EE24_S1,
                                  Msg::NAK_MCODE_I2CREADOP_EE24_S1};
constexpr ChipWords kSource2Words{Msg::NAK_MCODE_I2CIOCTL_EE24_S2, Msg::NAK_MCODE_I2CWRITE_EE24_S2,
                                  Msg::NAK_MCODE_I2CREADOP_EE24_S2};

ChipWords WordsOf(const I2cDevInfo& info) {
  const bool first = info._aid == MEAS_CH1;
  if (info._mid == Msg::MAIN_MODULE) return kMainWords;
  if (info._mid == Msg::MEAS_MODULE) return first ? kMeas1Words : kMeas2Words;
  return first ? kSource1Words : kSource2Words;
}

std::array<unsigned char, EE24LC32Dev::kBufferSize> eebuf;

/// The chip takes an address of two bytes, high byte first.
int SetAddress(ChipPath& path, int high, int low) {
  const unsigned char address[] = {static_cast<unsigned char>(high),
                                   static_cast<unsigned char>(low)};
  return path.Write(address);
}

}  // namespace

const std::array<unsigned char, EE24LC32Dev::kBufferSize>& EE24LC32Dev::GetData() { return eebuf; }

int EE24LC32Dev::Read() {
  Q5_LOG_DEBUG(ee24lc32L, "HERE EEPROM Read() %x\n", static_cast<unsigned>(_addr));
  return 0;
}

int EE24LC32Dev::DoReq(char*, int len, char*, int len2, Act act) {
  Q5_LOG_DEBUG(ee24lc32L, "HERE EEPROM DoReq() %x\n", static_cast<unsigned>(_addr));
  eebuf.fill(0xFF);
  if (_rev == kAbsentRevision && _addr == kAbsentAddress) return 0;
  ChipPath path(_info, _fd, "EEPROM", ee24lc32L, WordsOf(_info), i2c_report_nak);
  if (path.Open() < 0) return -1;
  return Plan(path, len, len2, act);
}

int EE24LC32Dev::Plan(ChipPath& path, int len, int len2, Act act) {
  if (len2 == 0) return ReadSequence(path, 0, len);
  if (act == do_rawread) return ReadSequence(path, len, len2);
  if (len2 < 0 || len2 >= kBufferSize) return ReadSequence(path, 0, len2);  // logged there
  unsigned char length[2] = {};
  if (SetAddress(path, (len2 + kBlockLengthOffset) >> 8, len2 + kBlockLengthOffset) < 0 ||
      path.Read(length) < 0) {
    return -1;
  }
  return ReadSequence(path, 0, len2 + (length[1] << 8 | length[0]));
}

int EE24LC32Dev::ReadSequence(ChipPath& path, int address, int count) {
  if (address < 0 || address >= kBufferSize || count < 0 || count > kBufferSize) {
    Q5_LOG_ERROR(ee24lc32L, "EEPROM %s: no %d bytes at address %d\n", _key.c_str(), count, address);
    return -1;
  }
  if (SetAddress(path, address >> 8, address) < 0) return -1;
  const auto data = std::span(eebuf).first(static_cast<std::size_t>(count));
  for (std::size_t done = 0; done < data.size(); done += kChunk) {
    if (path.Read(data.subspan(done, std::min<std::size_t>(kChunk, data.size() - done))) < 0) {
      return -1;
    }
  }
  return 0;
}

}  // namespace Dev
