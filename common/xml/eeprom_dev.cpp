#include "common/xml/eeprom_dev.h"

#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "common/xml/chip_files.h"

namespace Dev {
namespace {

constexpr std::tuple kActionSince{2015, 5, 20};  // year, month, day

bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }
bool IsCapital(char c) { return c >= 'A' && c <= 'Z'; }

}  // namespace

void eepromdev::SetRevision(const char* text) {
  if (text == nullptr) return;
  const std::size_t length = std::strlen(text);
  if (IsDigit(text[0])) {
    revision = static_cast<int>(std::strtol(text, nullptr, 10));
  } else if (length == 1 && IsCapital(text[0])) {
    revision = text[0] + 35;
  } else if (length == 2 && IsCapital(text[0]) && IsCapital(text[1])) {
    revision = text[0] * 26 - 1664 + text[1] + 35;
  }
}

int eepromdev::ChkBrdCalDate(const char* text) const {
  constexpr char kShape[] = "DD-MM-YYYY";
  if (text == nullptr || std::strlen(text) < sizeof kShape - 1) return 0;
  for (std::size_t i = 0; i < sizeof kShape - 1; ++i) {
    if (kShape[i] != '-' && !IsDigit(text[i])) return 0;
  }
  const auto number = [text](int first) {
    return static_cast<int>(std::strtol(text + first, nullptr, 10));
  };
  return std::tuple{number(6), number(3), number(0)} >= kActionSince ? 1 : 0;
}

BackplanePROM& BackplanePROM::GetBackplanePROM() {
  static BackplanePROM board;
  return board;
}

MainRefEEPROM& MainRefEEPROM::GetMainRefEEPROM() {
  static MainRefEEPROM board;
  return board;
}

MeasCh1EEPROM& MeasCh1EEPROM::GetMeasCh1EEPROM() {
  static MeasCh1EEPROM board;
  return board;
}

MeasCh2EEPROM& MeasCh2EEPROM::GetMeasCh2EEPROM() {
  static MeasCh2EEPROM board;
  return board;
}

PSCAssemblyEEPROM& PSCAssemblyEEPROM::GetPSCAssemblyEEPROM() {
  static PSCAssemblyEEPROM board;
  return board;
}

std::span<const CalibratedBoard> CalibratedBoards() {
  auto& meas1 = MeasCh1EEPROM::GetMeasCh1EEPROM();
  auto& meas2 = MeasCh2EEPROM::GetMeasCh2EEPROM();
  auto& mainref = MainRefEEPROM::GetMainRefEEPROM();
  static const CalibratedBoard boards[] = {
      {EepromKind::MeasCh1, kConfigDirectory, kMeas1File, meas1, meas1.action_3s, meas1.calrev_3s},
      {EepromKind::MeasCh2, kConfigDirectory, kMeas2File, meas2, meas2.action_4s, meas2.calrev_4s},
      {EepromKind::MainRef, kUploadDirectory, kMainrefFile, mainref, mainref.action_11m,
       mainref.calrev_11m},
  };
  return boards;
}

}  // namespace Dev
