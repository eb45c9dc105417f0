// The clock chip's registers and which of their bits a plan may set.
//
// Addresses 0..255 lie on page 0 and 256..350 on page 1, where the bus address is 256 less;
// register 255 selects the page and is the same register on both, so that address 511 is its other
// face. The published map gives masks for 0..347 and has 348..350 as reserved; with 511 these are
// 352 rows. A row's mask is 0 for reserved and read-only bits and for the registers that only the
// programming procedure drives (226, 230, 241, 246).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct Reg_Data {
  std::uint16_t Reg_Addr;
  std::uint8_t Reg_Val;
  std::uint8_t Reg_Mask;
};

inline constexpr int kPageRegister = 255;
inline constexpr int kPageRegisterAgain = 511;
inline constexpr int kRegisters = 348;  ///< those that a chip's image holds
inline constexpr std::size_t kRegisterRows = 352;

/// By address; the row of kPageRegisterAgain is the last.
using RegTable = std::array<Reg_Data, kRegisterRows>;

/// All values 0, except for the page register's own rows.
RegTable get_init_reg_struct();
/// Null for an address without row.
Reg_Data* reg_seek(RegTable& table, int address);
