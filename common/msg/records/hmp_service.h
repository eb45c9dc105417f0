// Records that configure the measurement path and the clocks, and the housekeeping ones.
#pragma once

#include <vector>

#include "common/msg/records/hmp_record_base.h"

namespace Msg {

/// Relay states of a test, one word of bits each. In a pair such as `mvvp` and `mvvn`, bit 12 with
/// bit 14 selects the divider HV1 and bit 11 with bit 13 HV2: for the main channel, for channel 1
/// (`m1v`) and for channel 2 (`m2v`).
struct [[gnu::packed]] HmpTestRlyReq : HmpRecord<HmpTestRlyReq> {
  std::int16_t hvs;
  std::int16_t lvs;
  std::int16_t pfc;
  std::int16_t mvvp;
  std::int16_t mvvn;
  std::int16_t mivp;
  std::int16_t mivn;
  std::int16_t m1vp;
  std::int16_t m1vn;
  std::int16_t m1ip;
  std::int16_t m1in;
  std::int16_t m2vp;
  std::int16_t m2vn;
  std::int16_t m2ip;
  std::int16_t m2in;
  std::int16_t dcir;
  std::int16_t guard;
  std::int16_t misc;
  std::int16_t chksm;
};
Q5_RECORD(HmpTestRlyReq, 44, Q5_AT(6, hvs), Q5_AT(8, lvs), Q5_AT(10, pfc), Q5_AT(12, mvvp),
          Q5_AT(14, mvvn), Q5_AT(16, mivp), Q5_AT(18, mivn), Q5_AT(20, m1vp), Q5_AT(22, m1vn),
          Q5_AT(24, m1ip), Q5_AT(26, m1in), Q5_AT(28, m2vp), Q5_AT(30, m2vn), Q5_AT(32, m2ip),
          Q5_AT(34, m2in), Q5_AT(36, dcir), Q5_AT(38, guard), Q5_AT(40, misc), Q5_AT(42, chksm));

/// Names of the leads, by their bit in the masks of HmpLeadConfigReq.
inline constexpr const char* kLeadNames[] = {"MIR", "MIY", "MIB", "MIG", "SVR", "SVY",
                                             "SVB", "SVN", "SLE", "EX",  "HV1", "HV2"};
/// The names of the leads of a mask, by rising bit; a bit without a lead has none.
std::vector<const char*> LeadNames(int mask);

struct [[gnu::packed]] HmpLeadConfigReq : HmpRecord<HmpLeadConfigReq> {
  std::int16_t energize;    ///< leads energized; HV1 and HV2 select the voltage channels' divider
  std::int16_t measure;     ///< leads measured
  std::int16_t guard;       ///< leads guarded
  std::int16_t fltleads;    ///< leads left floating
  std::int16_t calibonoff;  ///< above 0: calibration on
  std::int16_t chksm;

  std::vector<const char*> GetEnergizeStrings() const { return LeadNames(energize); }
  std::vector<const char*> GetMeasureStrings() const { return LeadNames(measure); }
};
Q5_RECORD(HmpLeadConfigReq, 18, Q5_AT(6, energize), Q5_AT(8, measure), Q5_AT(10, guard),
          Q5_AT(12, fltleads), Q5_AT(14, calibonoff), Q5_AT(16, chksm));

struct [[gnu::packed]] HmpSetSampParamReq : HmpRecord<HmpSetSampParamReq> {
  std::int16_t sigmeasrefclk;  ///< reference clock source of the measurement clock
  std::int16_t sigmeassclk;    ///< system clock source of the measurement clock
  std::int16_t sigmeasenclk0;  ///< enable of output clock 0
  std::int16_t sigsrcrefclk;   ///< this and the next two are for the source module
  std::int16_t sigsrcsclk;
  std::int16_t sigsrcenclk0;
  float freq;                  ///< test frequency, Hz
  std::int16_t adcclkpersamp;  ///< A/D clocks per sample
  std::int32_t samppercyc;     ///< samples per cycle
  std::int16_t outbufmech;     ///< not used
  std::int32_t freqjumpsize;   ///< frequency jump size
  std::int16_t chksm;
};
Q5_RECORD(HmpSetSampParamReq, 36, Q5_AT(6, sigmeasrefclk), Q5_AT(8, sigmeassclk),
          Q5_AT(10, sigmeasenclk0), Q5_AT(12, sigsrcrefclk), Q5_AT(14, sigsrcsclk),
          Q5_AT(16, sigsrcenclk0), Q5_AT(18, freq), Q5_AT(22, adcclkpersamp), Q5_AT(24, samppercyc),
          Q5_AT(28, outbufmech), Q5_AT(30, freqjumpsize), Q5_AT(34, chksm));

struct [[gnu::packed]] HmpAdjFreqReq : HmpRecord<HmpAdjFreqReq> {
  std::int16_t freqincdec;  ///< 1: a step up, 2: a step down
  std::int16_t chksm;
};
Q5_RECORD(HmpAdjFreqReq, 10, Q5_AT(6, freqincdec), Q5_AT(8, chksm));

/// `direction` of a tap changer that has finished its move; any other value: it moves.
inline constexpr std::int16_t kTapChangerMoveDone = 3;

struct [[gnu::packed]] HmpLoadTapChangerReq : HmpRecord<HmpLoadTapChangerReq> {
  std::int16_t direction;
  std::int16_t duration;  ///< not used
  std::int16_t chksm;
};
Q5_RECORD(HmpLoadTapChangerReq, 12, Q5_AT(6, direction), Q5_AT(8, duration), Q5_AT(10, chksm));

struct [[gnu::packed]] HmpConfVersRep : HmpReply<HmpConfVersRep> {
  std::uint8_t ack;
  char desc[32];
  char main_version[16];
  char meas_version[16];
  char src_version[16];
  char quality[16];
  char serialnum[64];
  std::int16_t chksm;
};
Q5_RECORD(HmpConfVersRep, 169, Q5_AT(6, ack), Q5_AT(7, desc), Q5_AT(39, main_version),
          Q5_AT(55, meas_version), Q5_AT(71, src_version), Q5_AT(87, quality),
          Q5_AT(103, serialnum), Q5_AT(167, chksm));

/// A firmware update begins; the measurement module does not do the update itself.
struct [[gnu::packed]] HmpFWUpdateInitReq : HmpRecord<HmpFWUpdateInitReq> {
  std::int32_t filesize;
  char fname[64];
  std::int16_t chksm;
};
Q5_RECORD(HmpFWUpdateInitReq, 76, Q5_AT(6, filesize), Q5_AT(10, fname), Q5_AT(74, chksm));

struct [[gnu::packed]] HmpSetTimeOfDayReq : HmpRecord<HmpSetTimeOfDayReq> {
  std::uint32_t secondsSinceEpoch;
  std::int16_t chksm;
};
Q5_RECORD(HmpSetTimeOfDayReq, 12, Q5_AT(6, secondsSinceEpoch), Q5_AT(10, chksm));

struct [[gnu::packed]] HmpStartRowReq : HmpRecord<HmpStartRowReq> {
  std::int16_t nteststart;  ///< not used
  std::int16_t nphases;     ///< not used
  std::int16_t chksm;
};
Q5_RECORD(HmpStartRowReq, 12, Q5_AT(6, nteststart), Q5_AT(8, nphases), Q5_AT(10, chksm));

struct [[gnu::packed]] HmpMiscConfigRep : HmpReply<HmpMiscConfigRep> {
  std::uint8_t ack;
  char calibdate[17];
  char calibduedate[17];
  float linefrequency;  ///< Hz
  std::uint16_t compatibilityindex;
  char RFU[126];
  std::int16_t chksm;

  /// The text is cut to 16 characters; null counts as empty.
  void SetCalibrationDate(const char* date);
  void SetCalibrationDueDate(const char* date);
  void SetLineFrequency(float hertz) { linefrequency = hertz; }
};
Q5_RECORD(HmpMiscConfigRep, 175, Q5_AT(6, ack), Q5_AT(7, calibdate), Q5_AT(24, calibduedate),
          Q5_AT(41, linefrequency), Q5_AT(45, compatibilityindex), Q5_AT(47, RFU),
          Q5_AT(173, chksm));

/// One access to an I2C device; served by the I2C manager on a socket of its own.
struct [[gnu::packed]] HmpI2cGatewayReq : HmpRecord<HmpI2cGatewayReq> {
  std::int16_t id;      ///< device
  std::int16_t nbytes;  ///< bytes of data
  std::int16_t optype;  ///< operation
  std::int16_t reg;     ///< register
  std::int16_t rsvd1;
  std::int16_t rsvd2;
  std::int16_t rsvd3;
  char data[8];
  std::int16_t chksm;
};
Q5_RECORD(HmpI2cGatewayReq, 30, Q5_AT(6, id), Q5_AT(8, nbytes), Q5_AT(10, optype), Q5_AT(12, reg),
          Q5_AT(14, rsvd1), Q5_AT(16, rsvd2), Q5_AT(18, rsvd3), Q5_AT(20, data), Q5_AT(28, chksm));

struct [[gnu::packed]] HmpI2cGatewayRep : HmpReply<HmpI2cGatewayRep> {
  std::uint8_t ack;  ///< ACK or NAK
  std::int16_t result;
  std::int16_t data;
  std::int16_t ecodes[8];  ///< error words
  std::int16_t chksm;
};
Q5_RECORD(HmpI2cGatewayRep, 29, Q5_AT(6, ack), Q5_AT(7, result), Q5_AT(9, data), Q5_AT(11, ecodes),
          Q5_AT(27, chksm));

/// Start of the FFT data set, the one reply that is not a framed record. After it follow, for
/// channel 1 and then channel 2, `sample_count` samples of 8 bytes and `fft_category_count`
/// categories of 16.
struct [[gnu::packed]] FftDataSetHead {
  std::int32_t time_updated[2];  ///< seconds and microseconds
  std::int32_t sample_count;
  std::int32_t fft_category_count;
};
static_assert(sizeof(FftDataSetHead) == 16 && offsetof(FftDataSetHead, sample_count) == 8 &&
              offsetof(FftDataSetHead, fft_category_count) == 12);

Q5_PLAIN_REQUEST(HmpConfVersReq);
Q5_PLAIN_REQUEST(HmpMiscConfigReq);
Q5_PLAIN_REQUEST(HmpEndRowReq);

Q5_ACK_REPLY(HmpTestRlyRep);
Q5_ACK_REPLY(HmpLeadConfigRep);
Q5_ACK_REPLY(HmpSetSampParamRep);
Q5_ACK_REPLY(HmpAdjFreqRep);
Q5_ACK_REPLY(HmpLoadTapChangerRep);
Q5_ACK_REPLY(HmpFWUpdateInitRep);
Q5_ACK_REPLY(HmpSetTimeOfDayRep);
Q5_ACK_REPLY(HmpStartRowRep);
Q5_ACK_REPLY(HmpEndRowRep);

}  // namespace Msg
