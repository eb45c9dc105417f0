// The Si5338's register map as far as the model needs it: what the bus may write, what it contains
// after power-up, and where the dividers are.
//
// Source: the vendor's reference manual, Si5338-RM.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace simulator::si5338 {

inline constexpr std::size_t kRegisters = 348;
inline constexpr std::size_t kPageSize = 256;
inline constexpr std::size_t kOutputs = 4;

/// Registers from 256 up are on page 1.
using Image = std::array<std::uint8_t, kRegisters>;

enum Register : std::size_t {
  kInput = 28,      ///< [4:2] P1DIV_IN low
  kReference = 29,  ///< [7:5] PFD_IN_REF, [4:3] P1DIV_IN high, [2:0] P1DIV
  kFeedback = 30,
  kRDivider = 31,  ///< and 32 to 34: [7:5] RxDIV_IN, [4:2] RxDIV, [1] MSx_PDN, [0] DRVx_PDN
  kDriver = 36,    ///< and 37 to 39: [2:0] DRVx_FMT
  kFcalOverride = 45,
  kKphi = 48,
  kLoop = 49,       ///< [7] FCAL_OVRD_EN, [6:4] VCO_GAIN, [3:2] RSEL, [1:0] BWSEL
  kMscal = 50,      ///< [5:0]
  kHighSpeed = 51,  ///< [4 + x] MSx_HS
  kStepControl = 52,
  kMs0 = 53,
  kMsSpacing = 11,  ///< from one output's divider to the next
  kMsN = 97,
  kDisabledState = 110,  ///< [7:6] CLK0_DISST; the other outputs' 4, 8 and 12 further
  kStepWords = 123,      ///< FIDP of MS0
  kAlarms = 218,
  kMsReset = 226,  ///< [2]
  kOutputsOff = 230,
  kFcal = 235,
  kLossOfLock = 241,  ///< [7] DIS_LOL
  kStepClock = 242,   ///< [1] DCLK_DIS
  kSoftReset = 246,   ///< [1]
  kSticky = 247,
  kPage = 255,  ///< on either page
};

struct MaskRun {
  std::uint16_t first;
  std::uint16_t last;
  std::uint8_t writable;
};

/// Registers that no row names cannot be written.
inline constexpr MaskRun kMasks[] = {
    {6, 6, 0x1D},     {27, 27, 0x80},   {28, 35, 0xFF},   {36, 39, 0x1F},   {40, 40, 0xFF},
    {41, 41, 0x7F},   {42, 42, 0x3F},   {45, 51, 0xFF},   {52, 52, 0x7F},   {53, 61, 0xFF},
    {62, 62, 0x3F},   {63, 63, 0x7F},   {64, 72, 0xFF},   {73, 73, 0x3F},   {74, 74, 0x7F},
    {75, 83, 0xFF},   {84, 84, 0x3F},   {85, 85, 0x7F},   {86, 94, 0xFF},   {95, 95, 0x3F},
    {97, 105, 0xFF},  {106, 106, 0xBF}, {107, 107, 0xFF}, {108, 108, 0x7F}, {109, 111, 0xFF},
    {112, 112, 0x7F}, {113, 128, 0xFF}, {129, 130, 0x0F}, {131, 144, 0xFF}, {152, 157, 0xFF},
    {158, 159, 0x0F}, {160, 180, 0xFF}, {181, 181, 0x0F}, {182, 202, 0xFF}, {203, 203, 0x0F},
    {204, 217, 0xFF}, {226, 226, 0x04}, {230, 230, 0x1F}, {241, 241, 0xFF}, {242, 242, 0x02},
    {246, 246, 0x02}, {247, 247, 0x1D}, {287, 298, 0xFF}, {299, 299, 0x0F}, {303, 314, 0xFF},
    {315, 315, 0x0F}, {319, 330, 0xFF}, {331, 331, 0x0F}, {335, 346, 0xFF}, {347, 347, 0x0F},
};

struct PowerUp {
  std::uint16_t address;
  std::uint8_t value;
};

/// A blank part of revision B: identity, its bus address, and outputs that are off.
inline constexpr PowerUp kPowerUp[] = {
    {0, 0x01}, {2, 0x26}, {3, 0x08}, {27, 0x70}, {230, 0x10}, {241, 0x65},
};

/// Bits that the manual asks for; with others the PLL does not lock.
struct Demand {
  std::uint16_t address;
  std::uint8_t mask;
  std::uint8_t value;
};
inline constexpr Demand kDemands[] = {
    {28, 0xC0, 0x00}, {42, 0x20, 0x20},  {47, 0xFC, 0x14},  {48, 0x80, 0x00},  {50, 0xC0, 0xC0},
    {51, 0x07, 0x07}, {106, 0x80, 0x80}, {116, 0x80, 0x80}, {241, 0x7F, 0x65},
};

}  // namespace simulator::si5338
