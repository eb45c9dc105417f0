// User errors: codes whose data word is a hardware status word. Each of its bits has its own major
// code.
//
// Threads: the tables are set up once, before other threads run, and only read afterwards.
#pragma once

#include <cstdint>

namespace Msg {

/// The result for a code or a bit without a major code.
inline constexpr int kNoMajorCode = 65535;

/// Codes whose data words are looked up bit by bit.
inline constexpr std::int16_t usererrors[] = {144, 145, 146, 147, 148, 149,
                                              150, 151, 152, 153, 254};

/// Sets the major code of the bit with value `bit` (1, 2, 4, ... 32768) in a data word of `code`.
void SetUserErrorMajorCode(int code, int bit, int major);
/// Fills the tables; later calls do nothing.
void SetUpUserErrors();
bool UserErrorsReady();

bool IsUserError(int code);
/// The highest major code of the bits that are set in `data`, or -1.
int HighestMajorOf(int code, std::uint16_t data);

}  // namespace Msg
