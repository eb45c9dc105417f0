#include "common/dev/i2c/front_end/meas_channel_regs.h"

#include <algorithm>
#include <iterator>

#include "common/dev/i2c/bus/meas_channel_id.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"

namespace Dev {
namespace {

constexpr std::uint8_t kWriteConfiguration = 0x02;
constexpr std::size_t kLongestStatusText = 49;

/// Error words by bit of the status byte, from bit 7 down.
constexpr short kStatusWords[] = {
    Msg::NAK_MCODE_CPLD_FAULT,        Msg::NAK_MCODE_CPLD_OVERRANGE,
    Msg::NAK_MCODE_CPLD_POWERSUPPLY,  Msg::NAK_MCODE_CPLD_OVERLOAD_FF,
    Msg::NAK_MCODE_CPLD_ADCOVERRANGE, Msg::NAK_MCODE_CPLD_FAULTTEMPERATURE,
    Msg::NAK_MCODE_CPLD_FAULTADC,     Msg::NAK_MCODE_CPLD_OVERINPUT,
};
static_assert(std::size(kStatusWords) == 8);

template <class Struct>
Struct FromReversed(std::span<const std::uint8_t, Struct::kBytes> wire) {
  std::array<std::uint8_t, Struct::kBytes> bytes;
  std::ranges::reverse_copy(wire, bytes.begin());
  return std::bit_cast<Struct>(bytes);
}

}  // namespace

MeasChCpldIdRev MeasChCpldIdRev::ToStruct(std::span<const std::uint8_t, kBytes> wire) {
  return FromReversed<MeasChCpldIdRev>(wire);
}

void MeasChCpldIdRev::Show(int level) const {
  Q5_LOG_AT(level, spibridgeL, "<MeasChCpldIdRev cpldId=0x%04X revision=0x%04X/>\n",
            static_cast<unsigned>(cpldId), static_cast<unsigned>(revision));
}

std::array<std::uint8_t, MeasChCfgReg::kBytes + 1> MeasChCfgReg::ToBytes() const {
  const auto bytes = Bytes();
  return {kWriteConfiguration, bytes[2], bytes[1], bytes[0]};
}

void MeasChCfgReg::Show(int level) const {
  const auto bytes = Bytes();
  Q5_LOG_AT(level, spibridgeL, "<MeasChCfgReg bytes=%02X %02X %02X/>\n",
            static_cast<unsigned>(bytes[0]), static_cast<unsigned>(bytes[1]),
            static_cast<unsigned>(bytes[2]));
}

bool MeasChCfgReg::IsSuccessfulTransaction(std::uint8_t status, Msg::Errorcodes& errors) {
  for (std::size_t i = 0; i < std::size(kStatusWords); ++i) {
    if ((status & (0x80 >> i)) != 0) errors.SetErrorCode(kStatusWords[i]);
  }
  return status == 0;
}

MeasChStaReg MeasChStaReg::ToStruct(std::span<const std::uint8_t, kBytes> wire) {
  return FromReversed<MeasChStaReg>(wire);
}

int MeasChStaReg::RangeEcho(int cpld_id) const {
  if (cpld_id == MEAS_CHANNEL_ID_0985) return Bytes()[4];
  if (cpld_id == MEAS_CHANNEL_ID_1093) return Bytes()[3];
  return -1;
}

std::string ConvertCPLDStatusToInt(std::span<const std::uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::uint8_t byte : bytes) {
    if (text.size() + 2 > kLongestStatusText) break;
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

}  // namespace Dev
