#include "host/refusal.h"

#include <algorithm>
#include <iterator>

#include "common/msg/records/major_codes.h"

namespace host {
namespace {

struct Sentence {
  int code;
  const char* text;
};

constexpr char kExceeds[] =
    "the signal exceeds the range of a channel; a less sensitive one has a lower number";

constexpr Sentence kSentences[] = {
    {Msg::NAK_MCODE_NOSPACE, "the module has no space for it"},
    {Msg::NAK_MCODE_SOS_RAMPDNVOLT, "the source is not at 0 V after the last test; try again"},
    {Msg::NAK_MCODE_SOS_RAMPDN, "the source did not ramp down"},
    {Msg::NAK_MCODE_MOS_INVALIDPOL, "the polarity is 0 or 1"},
    {Msg::NAK_MCODE_MOS_INVALIDVOLT,
     "the target is 0 V to the highest voltage of the set-up, the voltage range 0 (automatic) or "
     "one that the instrument has"},
    {Msg::NAK_MCODE_RANGE_SET,
     "a channel has no such range, or its front end did not take it; a data word is the channel"},
    {Msg::NAK_MCODE_MOS_ACQSTART, "the samples did not start"},
    {Msg::NAK_MCODE_MOS_ACQSTOP, "no samples come from the converters any more"},
    {Msg::NAK_MCODE_MOS_ACQ_OVERFLOW, "samples were lost: the driver's ring ran over"},
    {Msg::NAK_MCODE_MOS_CHMODES,
     "an input mode of the source word is 1 (current), 2 (AC voltage) or 3 (DC voltage)"},
    {Msg::NAK_MCODE_MOS_NULLFILTER, "no test is set up; a set-up (0x03 or 0x33) comes first"},
    {Msg::NAK_MCODE_MOS_SPCLKUPDATE, "the clock chip did not take the frequency"},
    {Msg::NAK_MCODE_MOS_SPCLKSETFREQ, "there is no clock plan for the frequency"},
    {Msg::NAK_MCODE_MOS_SPCLKINVFREQ,
     "the frequency is 0.0001 to 1000 Hz; that of the mains, where the test follows it, 47 to 63 "
     "Hz"},
    {Msg::NAK_MCODE_MOS_SPCLKNOTFOUND, "the clock chip was not found at start"},
    {Msg::NAK_MCODE_CPLD_OVERRANGE, kExceeds},
    {Msg::NAK_MCODE_CPLD_ADCOVERRANGE, kExceeds},
    {Msg::NAK_MCODE_CPLD_OVERINPUT, kExceeds},
    {Msg::NAK_MCODE_FAULT_IN_SAMPLES, "the samples carry a fault of the front end"},
    {Msg::NAK_MCODE_EEPROMXML, "a measuring channel has no calibration: its values mean nothing"},
    {Msg::NAK_MCODE_MR_EEPROMXML, "the dividers have no calibration: see the main reference file"},
    {Msg::NAK_MCODE_UNKNOWNMSG, "the daemon does not know the opcode, or the record is broken"},
    {Msg::NAK_MCODE_PSOC_MAXAMPERAGE, "the current is 0 A or more"},
    {Msg::NAK_MCODE_MOS_ALLOK, "ALLOK is low: a module reports a fault, the source is off"},
    {Msg::NAK_MCODE_RAMP_DOWN_IN_PROGRESS, "the source still ramps down; try again"},
    {Msg::NAK_MCODE_MAX_MOS_VOLTAGE,
     "the measured voltage was above the instrument's limit (mosmaxhvvoltage, in V)"},
    {Msg::NAK_MCODE_DC_TEST_FAIL, "the DC test failed"},
};

}  // namespace

const char* RefusalText(int code) {
  const auto* found = std::ranges::find(kSentences, code, &Sentence::code);
  return found == std::end(kSentences) ? nullptr : found->text;
}

}  // namespace host
