#include "common/msg/records/user_errors.h"

#include <algorithm>
#include <map>
#include <mutex>

namespace Msg {
namespace {

struct UserErrorBit {
  int code;
  int bit;
  int major;
  int second_code = 0;  ///< a code with the same bits, for the same fault found when disabling
};

constexpr UserErrorBit kUserErrorBits[] = {
    {144, 1, 832, 149},   {144, 2, 833, 149},   {144, 4, 834, 149},   {144, 8, 835, 149},
    {144, 16, 836, 149},  {144, 32, 837, 149},  {144, 64, 838, 149},

    {145, 1, 768, 150},   {145, 2, 769, 150},   {145, 4, 770, 150},   {145, 8, 771, 150},
    {145, 16, 772, 150},  {145, 32, 773, 150},

    {146, 1, 961, 151},   {146, 2, 960, 151},   {146, 4, 962, 151},   {146, 8, 963, 151},
    {146, 16, 964, 151},

    {147, 1, 896, 152},   {147, 2, 898, 152},   {147, 4, 897, 152},   {147, 8, 899, 152},
    {147, 16, 900, 152},  {147, 32, 901, 152},

    {148, 1, 1152, 153},  {148, 2, 1153, 153},  {148, 4, 1154, 153},  {148, 8, 1155, 153},
    {148, 16, 1156, 153}, {148, 32, 1157, 153}, {148, 64, 1162, 153}, {148, 128, 1163, 153},

    {154, 2, 1032},       {154, 4, 1031},       {154, 8, 899},

    {155, 1, 1034},       {155, 4, 1033},       {155, 16, 1035},      {155, 32, 1042},
    {155, 64, 1028},

    {254, 1, 1029},       {254, 2, 1035},       {254, 4, 1034},       {254, 8, 1033},
    {254, 16, 1032},      {254, 32, 1031},      {254, 64, 1037},      {254, 128, 1036},
    {254, 256, 1028},     {254, 512, 1027},     {254, 1024, 1026},    {254, 2048, 1025},
    {254, 4096, 1024},    {254, 8192, 1030},    {254, 16384, 899},    {254, 32768, 1041},
};

/// Major codes by bit value << 16 | code.
std::map<std::uint32_t, int> usererrormajorcodes;

constexpr std::uint32_t KeyOf(int code, int bit) {
  return static_cast<std::uint32_t>(bit) << 16 | (static_cast<std::uint32_t>(code) & 0xFFF);
}

}  // namespace

void SetUserErrorMajorCode(int code, int bit, int major) {
  usererrormajorcodes[KeyOf(code, bit)] = major;
}

void SetUpUserErrors() {
  static std::once_flag once;
  std::call_once(once, [] {
    for (const UserErrorBit& row : kUserErrorBits) {
      SetUserErrorMajorCode(row.code, row.bit, row.major);
      if (row.second_code != 0) SetUserErrorMajorCode(row.second_code, row.bit, row.major);
    }
  });
}

bool UserErrorsReady() { return !usererrormajorcodes.empty(); }

bool IsUserError(int code) { return std::ranges::find(usererrors, code) != std::end(usererrors); }

int HighestMajorOf(int code, std::uint16_t data) {
  int highest = -1;
  for (int bit = 1; bit <= 0x8000; bit <<= 1) {
    if ((data & bit) == 0) continue;
    const auto found = usererrormajorcodes.find(KeyOf(code, bit));
    if (found != usererrormajorcodes.end()) highest = std::max(highest, found->second);
  }
  return highest;
}

}  // namespace Msg
