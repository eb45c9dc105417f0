// Registers of a measurement channel's CPLD, as they are in memory and as they travel.
//
// Everything travels most significant byte first; in memory byte 0 is the least significant, and
// bit fields count from the least significant bit.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "common/msg/state/errorcodes.h"

namespace Dev {

static_assert(std::endian::native == std::endian::little, "register images rely on it");

struct MeasChCpldIdRev {
  static constexpr std::size_t kBytes = 4;

  std::uint16_t revision = 0;
  std::uint16_t cpldId = 0;  ///< a MEAS_CHANNEL_ID on boards that are known

  static MeasChCpldIdRev ToStruct(std::span<const std::uint8_t, kBytes> wire);
  void Show(int level) const;
};
static_assert(sizeof(MeasChCpldIdRev) == MeasChCpldIdRev::kBytes);

/// What the range register takes.
struct MeasChRngReg {
  std::uint8_t FineRange : 2;
  std::uint8_t X10Gain : 1;
  std::uint8_t CoarseRange : 2;
  std::uint8_t unused5 : 3;
};
static_assert(sizeof(MeasChRngReg) == 1);

struct MeasChCfgReg {
  static constexpr std::size_t kBytes = 3;

  // byte 0
  std::uint8_t FineRange : 2;
  std::uint8_t X10Gain : 1;
  std::uint8_t CoarseRange : 2;
  std::uint8_t InputMode : 3;  ///< Msg::Input_Mode
  // byte 1
  std::uint8_t FilterSel : 4;
  std::uint8_t AdcRate : 2;
  std::uint8_t AdcFpath : 1;
  std::uint8_t AdcLlCfg : 1;
  // byte 2
  std::uint8_t AdcPwrDwn : 1;
  std::uint8_t TestRange : 3;
  std::uint8_t DiagAdc : 1;
  std::uint8_t CurrentX2Bp : 1;
  std::uint8_t SelfTestEa : 1;
  std::uint8_t AnalogPwrEa : 1;

  static constexpr MeasChCfgReg FromBytes(std::array<std::uint8_t, kBytes> bytes) {
    const auto field = [&bytes](std::size_t byte, int shift, int width) {
      return static_cast<std::uint8_t>(bytes[byte] >> shift & ((1 << width) - 1));
    };
    return {.FineRange = field(0, 0, 2),
            .X10Gain = field(0, 2, 1),
            .CoarseRange = field(0, 3, 2),
            .InputMode = field(0, 5, 3),
            .FilterSel = field(1, 0, 4),
            .AdcRate = field(1, 4, 2),
            .AdcFpath = field(1, 6, 1),
            .AdcLlCfg = field(1, 7, 1),
            .AdcPwrDwn = field(2, 0, 1),
            .TestRange = field(2, 1, 3),
            .DiagAdc = field(2, 4, 1),
            .CurrentX2Bp = field(2, 5, 1),
            .SelfTestEa = field(2, 6, 1),
            .AnalogPwrEa = field(2, 7, 1)};
  }
  std::array<std::uint8_t, kBytes> Bytes() const {
    return std::bit_cast<std::array<std::uint8_t, kBytes>>(*this);
  }
  /// As it is written: the command, then bytes 2, 1, 0.
  std::array<std::uint8_t, kBytes + 1> ToBytes() const;
  int GetFilter() const { return FilterSel; }
  void Show(int level) const;

  /// Adds the error word of every bit that is set in a status byte to `errors`. True for none.
  static bool IsSuccessfulTransaction(std::uint8_t status, Msg::Errorcodes& errors);
};
static_assert(sizeof(MeasChCfgReg) == MeasChCfgReg::kBytes);

// Configurations that the daemon uses, by name.
inline constexpr auto cfg0 = MeasChCfgReg::FromBytes({0x20, 0xE2, 0xC1});   ///< current, self test
inline constexpr auto cfg01 = MeasChCfgReg::FromBytes({0x40, 0xE1, 0x81});  ///< AC voltage
inline constexpr auto cfg02 = MeasChCfgReg::FromBytes({0x20, 0xE1, 0x81});  ///< current
inline constexpr auto cfg03 = MeasChCfgReg::FromBytes({0x60, 0xE1, 0x81});  ///< DC voltage
inline constexpr auto cfg03_filter = MeasChCfgReg::FromBytes({0x40, 0xE2, 0x81});  ///< AC voltage
inline constexpr auto cfg04_filter = MeasChCfgReg::FromBytes({0x20, 0xE2, 0x81});  ///< current
inline constexpr auto cfg05_filter = MeasChCfgReg::FromBytes({0x60, 0xE2, 0x81});  ///< DC voltage

struct [[gnu::packed]] MeasChStaReg {
  static constexpr std::size_t kBytes = 9;
  using Image = std::array<std::uint8_t, kBytes>;

  // bytes 0 to 2: what the analogue part is set to
  std::uint8_t SelVoltHi : 1, EnVoltMid : 1, SelVoltLow : 1, EnVoltLow : 1;
  std::uint8_t SelDcir : 1, DisableShn : 1, SelSh1m : 1, SelSh100m : 1;
  std::uint8_t SelSh10 : 1, SelShx1n : 1, SelShx2 : 1, EnShlmCtl : 1;
  std::uint8_t EnShl00mCtl : 1, EnShl0Ctl : 1, Gainx10 : 1, PgaGainx100 : 1;
  std::uint8_t PgaGainx10 : 1, FilterBypass : 1, FilterCD : 1, FilterCN : 1;
  std::uint8_t FilterB : 1, FilterA : 1, unused22 : 2;
  // bytes 3 and 4; the range register is echoed here, see RangeEcho
  std::uint16_t FineGainMdac;
  // bytes 5 to 7: echo of the configuration register
  MeasChCfgReg CfgReg;
  // byte 8: the status byte, also read by itself
  std::uint8_t OverInputN : 1, FaultAdcN : 1, FaultTempN : 1, AdcOverRange : 1;
  std::uint8_t BridgeIntN : 1, PfoN : 1, OverrangeN : 1, FaultN : 1;

  /// From the bytes as they were read: memory byte 8 is the first of them.
  static MeasChStaReg ToStruct(std::span<const std::uint8_t, kBytes> wire);
  Image Bytes() const { return std::bit_cast<Image>(*this); }
  std::uint8_t Status() const { return Bytes()[kBytes - 1]; }
  /// The byte in which a board with this CPLD echoes its range register; -1 for other boards.
  int RangeEcho(int cpld_id) const;
};
static_assert(sizeof(MeasChStaReg) == MeasChStaReg::kBytes);

/// Both top bits of the status byte: the CPLD works on its last command and takes no other.
inline constexpr std::uint8_t kMeasChBusy = 0xC0;
constexpr bool NotBusyMeasFPGAStatus(std::uint8_t status) {
  return (status & kMeasChBusy) < kMeasChBusy;
}

/// Bytes as hexadecimal text, as the event of a status carries them.
std::string ConvertCPLDStatusToInt(std::span<const std::uint8_t> bytes);

}  // namespace Dev
