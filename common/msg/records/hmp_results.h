// Records that poll a test: its results and its progress. Fields without a comment are 0 in the
// measurement module.
#pragma once

#include "common/msg/records/hmp_record_base.h"

namespace Msg {

/// The phasors that a request asks for.
enum msg6_rsltype : std::int16_t {
  MSG6_RSLTYPE_FIR_FAST = 0,
  MSG6_RSLTYPE_FIR_SLOW = 1,
  MSG6_RSLTYPE_LP_AVG = 2,
  MSG6_RSLTYPE_SUB_CYC = 3,
  MSG6_RSLTYPE_RESONATOR = 4,
};

/// The unit of each channel's value: bits of `rsltype` of a result.
enum RsltUnit : std::int16_t {
  RSLT_CH1_KILOVOLTS = 0x100,
  RSLT_CH1_AMPERES = 0x200,
  RSLT_CH2_KILOVOLTS = 0x400,
  RSLT_CH2_AMPERES = 0x800,
};

struct [[gnu::packed]] HmpTestRsltReq : HmpRecord<HmpTestRsltReq> {
  std::int16_t rsltype;       ///< msg6_rsltype
  std::int16_t settlingtime;  ///< not used
  std::int16_t chksm;
};
Q5_RECORD(HmpTestRsltReq, 12, Q5_AT(6, rsltype), Q5_AT(8, settlingtime), Q5_AT(10, chksm));

/// The common part of the three result replies. From `ranging` on every field is misaligned.
struct [[gnu::packed]] HmpTestRsltRepBase : HmpMsgHead {
  std::uint8_t ack;
  std::int16_t ranging;    ///< channel status flags, with the discharge status
  std::int16_t nmlrevsta;  ///< test polarity
  std::uint16_t voltsca;
  std::int16_t curange;
  std::int16_t rsltype;  ///< RsltUnit
  float acffvolt;        ///< fast filter's magnitude of channel 1, in its unit
  float acfcvolt;        ///< magnitude of channel 1, in its unit
  float acamps;          ///< magnitude of channel 2, in its unit
  float acwatts;
  float pwrfctr;    ///< power factor, %
  float tandelt;    ///< tan delta
  float sinthet;    ///< sine of the phase difference, %
  float vctdotprd;  ///< dot product of the two phasors
  float vctcrsprd;  ///< cross product of the two phasors
  float refvoltmgn;
  float spccurmgn;
  float serscap;  ///< series capacitance
  float parlcap;  ///< parallel capacitance
  float sersind;  ///< series inductance
  float parlind;  ///< parallel inductance
  float sersres;  ///< series resistance; in a DC test channel 1 over channel 2
  float parlres;
  float frequen;  ///< test frequency, Hz
  float spcpeek;
  float refpeek;
  std::int16_t samplingduration;  ///< settle time of the slow filter
  float exttemp;
  float extrhum;
  float estxfmrtmp;
  float pfcfreq;
  float xfmroutcur;
  float pfcini;
  float pfcinv;
  float pfcoutv;
  float pfcouti;
  float ch1fulsc;  ///< full scale of channel 1
  float ch2fulsc;  ///< full scale of channel 2
  std::int16_t hc_sta;
  std::uint16_t estmtovtmp;
  std::uint16_t estmtcdtmp;
  std::int16_t extsnsins;
  std::uint16_t filtersel;  ///< filter of channel 1 in the low byte, of channel 2 in the high byte
};

// The shared fields of the result replies, for their layouts.
#define Q5_RESULT_BASE_FIELDS                                                                    \
  Q5_AT(6, ack), Q5_AT(7, ranging), Q5_AT(9, nmlrevsta), Q5_AT(11, voltsca), Q5_AT(13, curange), \
      Q5_AT(15, rsltype), Q5_AT(17, acffvolt), Q5_AT(21, acfcvolt), Q5_AT(25, acamps),           \
      Q5_AT(29, acwatts), Q5_AT(33, pwrfctr), Q5_AT(37, tandelt), Q5_AT(41, sinthet),            \
      Q5_AT(45, vctdotprd), Q5_AT(49, vctcrsprd), Q5_AT(53, refvoltmgn), Q5_AT(57, spccurmgn),   \
      Q5_AT(61, serscap), Q5_AT(65, parlcap), Q5_AT(69, sersind), Q5_AT(73, parlind),            \
      Q5_AT(77, sersres), Q5_AT(81, parlres), Q5_AT(85, frequen), Q5_AT(89, spcpeek),            \
      Q5_AT(93, refpeek), Q5_AT(97, samplingduration), Q5_AT(99, exttemp), Q5_AT(103, extrhum),  \
      Q5_AT(107, estxfmrtmp), Q5_AT(111, pfcfreq), Q5_AT(115, xfmroutcur), Q5_AT(119, pfcini),   \
      Q5_AT(123, pfcinv), Q5_AT(127, pfcoutv), Q5_AT(131, pfcouti), Q5_AT(135, ch1fulsc),        \
      Q5_AT(139, ch2fulsc), Q5_AT(143, hc_sta), Q5_AT(145, estmtovtmp), Q5_AT(147, estmtcdtmp),  \
      Q5_AT(149, extsnsins), Q5_AT(151, filtersel)

struct [[gnu::packed]] HmpTestRsltRep : HmpReply<HmpTestRsltRep, HmpTestRsltRepBase> {
  std::int16_t chksm;
};
Q5_RECORD(HmpTestRsltRep, 155, Q5_RESULT_BASE_FIELDS, Q5_AT(153, chksm));

struct [[gnu::packed]] HmpTestRsltExtRep : HmpReply<HmpTestRsltExtRep, HmpTestRsltRepBase> {
  std::int16_t voltcrtrst;
  std::int16_t voltcrtstb;
  float spcpeekmax;
  float spcpeekmin;
  std::int16_t chksm;
};
Q5_RECORD(HmpTestRsltExtRep, 167, Q5_RESULT_BASE_FIELDS, Q5_AT(153, voltcrtrst),
          Q5_AT(155, voltcrtstb), Q5_AT(157, spcpeekmax), Q5_AT(161, spcpeekmin),
          Q5_AT(165, chksm));

struct [[gnu::packed]] HmpTestRsltExtExtRep : HmpReply<HmpTestRsltExtExtRep, HmpTestRsltRepBase> {
  std::int16_t voltcrtrst;
  std::int16_t voltcrtstb;
  float spcpeekmax;
  float spcpeekmin;
  float xtemper;
  float ytemper;
  float ztemper;
  std::int16_t chksm;
};
Q5_RECORD(HmpTestRsltExtExtRep, 179, Q5_RESULT_BASE_FIELDS, Q5_AT(153, voltcrtrst),
          Q5_AT(155, voltcrtstb), Q5_AT(157, spcpeekmax), Q5_AT(161, spcpeekmin),
          Q5_AT(165, xtemper), Q5_AT(169, ytemper), Q5_AT(173, ztemper), Q5_AT(177, chksm));

/// The host's short poll.
Q5_PLAIN_REQUEST(HmpAckProgressReq);

struct [[gnu::packed]] HmpAckProgressRep : HmpReply<HmpAckProgressRep> {
  std::uint8_t ack;
  std::int16_t status[20];  ///< [0]: status flags of both channels or-ed; the others 0
  std::int16_t chksm;
};
Q5_RECORD(HmpAckProgressRep, 49, Q5_AT(6, ack), Q5_AT(7, status), Q5_AT(47, chksm));

#undef Q5_RESULT_BASE_FIELDS

}  // namespace Msg
