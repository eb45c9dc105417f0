#include "common/msg/records/hmp_records.h"

#include <cstring>
#include <iterator>

namespace Msg {
namespace {

// Starts any short NAK. A record that is a reply already keeps its opcode.
void StartNak(HmpNakRep& nak, std::int16_t code, std::size_t details) {
  if (nak.opcode > 0) nak.opcode = static_cast<std::int16_t>(-nak.opcode);
  nak.nak = HMP_NAK;
  nak.code = code;
  nak.len = static_cast<std::int16_t>(sizeof nak.nak + sizeof nak.code + details);
}

}  // namespace

void HmpMiscConfigRep::SetCalibrationDate(const char* date) {
  SetText(calibdate, date == nullptr ? "" : date);
}

void HmpMiscConfigRep::SetCalibrationDueDate(const char* date) {
  SetText(calibduedate, date == nullptr ? "" : date);
}

std::vector<const char*> LeadNames(int mask) {
  std::vector<const char*> names;
  for (std::size_t bit = 0; bit < std::size(kLeadNames); ++bit) {
    if ((static_cast<unsigned>(mask) >> bit & 1U) != 0) names.push_back(kLeadNames[bit]);
  }
  return names;
}

void HmpNakRep::SetErrCode(short error_code) {
  StartNak(*this, error_code, 0);
  SetChksm(7);
}

void HmpNakRep::SetErrCode(NakEdata0E& details) {
  StartNak(*this, kNakEdata0ECode, sizeof details);
  std::memcpy(rest, &details, sizeof details);
  SetChksm(7);
}

}  // namespace Msg
