// Records that set a test up, start, pause and stop it. Fields without a comment are not used by
// the measurement module.
#pragma once

#include "common/msg/records/hmp_record_base.h"

namespace Msg {

/// Kinds of test.
enum RNG_TEST_TYPE : std::int16_t {
  TEST_LINE_FREQ_MODULATION = 0,
  TEST_LINE_SYNC_REVERSAL = 1,
  TEST_FREQUENCY_SWEEP_DFR = 2,
  TEST_LEAKAGE_REACTANCE = 3,
  TEST_LINE_SYNC_RFU = 4,
  TEST_LVTTR = 5,
  TEST_HVTTR = 6,
  TEST_HVVFPF = 7,
  TEST_CONTACT_RESISTANCE = 8,
  TEST_WINDING_RESISTANCE = 9,
  TEST_OLTC = 10,
  TEST_CTRATIO_V = 11,
  TEST_CTKNEEPOINT = 12,
  TEST_DCIR = 13,
  TEST_EXCITING_CURRENT = 14,
  TEST_RESONATOR_TUNING = 15,
  TEST_DEMAG = 16,
  TEST_WR_FOR_DEMAG = 17,
  TEST_DFR_INTERFERENCE = 18,
  TEST_OLTC_DRM = 19,
  TEST_NONE = 20,
  TEST_MAX = TEST_NONE,
};

/// Kinds of source: bits 0 to 3 of a source word. Above them are the input modes of the source
/// channel, of channel 1 and of channel 2, four bits each: 1 current, 2 AC voltage, 3 DC voltage.
enum SOURCE_E : std::int16_t {
  internalHVVoltageSourceE = 0,
  externalVoltageSourceE = 1,
  internalLVVoltageSourceE = 2,
  internalDCCurrentSourceE = 3,
  externalCurrentSourceE = 4,
  internalDCLVVoltageSourceE = 5,
  internalACCurrentSourceE = 6,
};

/// Set up a voltage test.
struct [[gnu::packed]] HmpIniTestParamReq : HmpRecord<HmpIniTestParamReq> {
  std::int16_t testype;  ///< RNG_TEST_TYPE
  std::int16_t voltsrc;  ///< source word, see SOURCE_E
  std::int16_t beeper;
  std::int16_t strobe;
  std::int16_t safety;
  std::int16_t lvlead;
  std::int16_t voltmax;  ///< highest voltage of the test, V
  std::int16_t vlimit;
  std::int16_t ilimit;
  std::int16_t extra;
  float extrefcap;
  float extrefres;
  float extreferr;
  std::int16_t chksm;
};
Q5_RECORD(HmpIniTestParamReq, 40, Q5_AT(6, testype), Q5_AT(8, voltsrc), Q5_AT(10, beeper),
          Q5_AT(12, strobe), Q5_AT(14, safety), Q5_AT(16, lvlead), Q5_AT(18, voltmax),
          Q5_AT(20, vlimit), Q5_AT(22, ilimit), Q5_AT(24, extra), Q5_AT(26, extrefcap),
          Q5_AT(30, extrefres), Q5_AT(34, extreferr), Q5_AT(38, chksm));

/// Set up a current test.
struct [[gnu::packed]] HmpIniTestParamReqI : HmpRecord<HmpIniTestParamReqI> {
  std::int16_t testype;     ///< RNG_TEST_TYPE
  std::int16_t currentsrc;  ///< source word, see SOURCE_E
  std::int16_t beeper;
  std::int16_t strobe;
  std::int16_t safety;
  std::int16_t lvlead;
  std::int16_t ampmax;   ///< highest current of the test
  std::uint16_t ilimit;  ///< current limit
  std::uint16_t vlimit;  ///< voltage limit, in tenths of the stored unit
  std::int16_t extra;
  float extrefcap;
  float extrefres;
  float extreferr;
  std::int16_t chksm;
};
Q5_RECORD(HmpIniTestParamReqI, 40, Q5_AT(6, testype), Q5_AT(8, currentsrc), Q5_AT(10, beeper),
          Q5_AT(12, strobe), Q5_AT(14, safety), Q5_AT(16, lvlead), Q5_AT(18, ampmax),
          Q5_AT(20, ilimit), Q5_AT(22, vlimit), Q5_AT(24, extra), Q5_AT(26, extrefcap),
          Q5_AT(30, extrefres), Q5_AT(34, extreferr), Q5_AT(38, chksm));

/// Bits of `modesw1` of both update requests.
enum ModeSwitch1 : std::uint16_t {
  MODESW1_FILTER = 0x1,
  MODESW1_DC_OFFSET = 0x2,
};

/// Set or change the parameters of a voltage test.
struct [[gnu::packed]] HmpUpdTestParamReq : HmpRecord<HmpUpdTestParamReq> {
  std::uint16_t modesw1;  ///< ModeSwitch1
  std::uint16_t modesw2;
  std::int16_t reftype;
  std::int16_t acdctest;  ///< AC or DC test
  std::int16_t voltcrtflg;
  std::int16_t polarity;    ///< 0 or 1
  std::int16_t volttarget;  ///< V, 0 to `voltmax` of the set-up; 0: manual ramp
  std::uint16_t voltscal;   ///< voltage range index
  std::int16_t curange;     ///< current range index
  float frequency;          ///< Hz, 0.0001 to 1000
  std::int16_t chksm;
};
Q5_RECORD(HmpUpdTestParamReq, 30, Q5_AT(6, modesw1), Q5_AT(8, modesw2), Q5_AT(10, reftype),
          Q5_AT(12, acdctest), Q5_AT(14, voltcrtflg), Q5_AT(16, polarity), Q5_AT(18, volttarget),
          Q5_AT(20, voltscal), Q5_AT(22, curange), Q5_AT(24, frequency), Q5_AT(28, chksm));

/// Set or change the parameters of a current test.
struct [[gnu::packed]] HmpUpdTestParamReqI : HmpRecord<HmpUpdTestParamReqI> {
  std::uint16_t modesw1;  ///< ModeSwitch1
  std::uint16_t modesw2;
  std::int16_t reftype;
  std::int16_t acdctest;  ///< AC or DC test
  std::int16_t ampcrtflg;
  std::int16_t polarity;   ///< 0 or 1
  std::int16_t amp;        ///< when not 0, a new highest value; never negative
  std::uint16_t ampscal;   ///< current range index
  std::int16_t voltrange;  ///< voltage range index
  float frequency;         ///< Hz, 0.0001 to 1000
  std::int16_t chksm;
};
Q5_RECORD(HmpUpdTestParamReqI, 30, Q5_AT(6, modesw1), Q5_AT(8, modesw2), Q5_AT(10, reftype),
          Q5_AT(12, acdctest), Q5_AT(14, ampcrtflg), Q5_AT(16, polarity), Q5_AT(18, amp),
          Q5_AT(20, ampscal), Q5_AT(22, voltrange), Q5_AT(24, frequency), Q5_AT(28, chksm));

/// The only reply that may report work in progress.
struct [[gnu::packed]] HmpUpdTestParamRep : HmpAckRep<HmpUpdTestParamRep> {
  void SetAckInProgress() { SetReply(sizeof(ack), HMP_ACK_IN_PROGRESS); }
};
Q5_ACK_REPLY_LAYOUT(HmpUpdTestParamRep);

Q5_PLAIN_REQUEST(HmpStartTestReq);
Q5_PLAIN_REQUEST(HmpPauseTestReq);
Q5_PLAIN_REQUEST(HmpStopTestReq);

Q5_ACK_REPLY(HmpIniTestParamRep);
Q5_ACK_REPLY(HmpIniTestParamRepI);
Q5_ACK_REPLY(HmpUpdTestParamRepI);
Q5_ACK_REPLY(HmpStartTestRep);
Q5_ACK_REPLY(HmpPauseTestRep);
Q5_ACK_REPLY(HmpStopTestRep);

}  // namespace Msg
