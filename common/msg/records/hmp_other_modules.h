// Records that the daemons of the other modules answer; the measurement module has no handler for
// them.
#pragma once

#include "common/msg/records/hmp_record_base.h"

namespace Msg {

/// Two lines of text for the front display.
struct [[gnu::packed]] HmpFPDisplayReq : HmpRecord<HmpFPDisplayReq> {
  char line1[16];
  char line2[16];
  std::int16_t chksm;
};
Q5_RECORD(HmpFPDisplayReq, 40, Q5_AT(6, line1), Q5_AT(22, line2), Q5_AT(38, chksm));

/// Result of the boot self test.
struct [[gnu::packed]] HmpPostRep : HmpReply<HmpPostRep> {
  std::uint8_t ack;
  std::uint8_t result;
  char desc[1168];
  std::int16_t chksm;
};
Q5_RECORD(HmpPostRep, 1178, Q5_AT(6, ack), Q5_AT(7, result), Q5_AT(8, desc), Q5_AT(1176, chksm));

struct [[gnu::packed]] HmpSysDiagResultRep : HmpReply<HmpSysDiagResultRep> {
  std::uint8_t ack;
  char desc[1168];
  std::int16_t chksm;
};
Q5_RECORD(HmpSysDiagResultRep, 1177, Q5_AT(6, ack), Q5_AT(7, desc), Q5_AT(1175, chksm));

struct [[gnu::packed]] HmpSysDiagStatusRep : HmpReply<HmpSysDiagStatusRep> {
  std::uint8_t ack;
  std::uint8_t status;
  std::int16_t testnum;
  std::int16_t testtot;  ///< number of tests
  std::int16_t chksm;
};
Q5_RECORD(HmpSysDiagStatusRep, 14, Q5_AT(6, ack), Q5_AT(7, status), Q5_AT(8, testnum),
          Q5_AT(10, testtot), Q5_AT(12, chksm));

/// One entry of a list of tests.
template <class Record>
struct [[gnu::packed]] HmpTestListRep : HmpReply<Record> {
  std::uint8_t ack;
  std::int16_t status;
  std::int16_t id;
  char name[32];
  std::uint32_t estSecs;   ///< estimated seconds
  std::uint8_t sftSwReqd;  ///< safety switch required
  std::int16_t cblsReqd;   ///< cables required
  char RFU[80];
  std::int16_t chksm;
};

// NOLINTBEGIN(bugprone-macro-parentheses): a type's name takes none
#define Q5_TEST_LIST_REPLY(Record)                                                         \
  struct [[gnu::packed]] Record : HmpTestListRep<Record> {};                               \
  Q5_RECORD(Record, 132, Q5_AT(6, ack), Q5_AT(7, status), Q5_AT(9, id), Q5_AT(11, name),   \
            Q5_AT(43, estSecs), Q5_AT(47, sftSwReqd), Q5_AT(48, cblsReqd), Q5_AT(50, RFU), \
            Q5_AT(130, chksm))
// NOLINTEND(bugprone-macro-parentheses)

Q5_TEST_LIST_REPLY(HmpSysDiagListRep);
Q5_TEST_LIST_REPLY(HmpPrfVrfListRep);
#undef Q5_TEST_LIST_REPLY

struct [[gnu::packed]] Q5CmdMsg : HmpRecord<Q5CmdMsg> {
  std::int32_t q5cmd;
  std::int16_t chksm;
};
Q5_RECORD(Q5CmdMsg, 12, Q5_AT(6, q5cmd), Q5_AT(10, chksm));

Q5_ACK_REPLY(HmpFPDisplayRep);
Q5_ACK_REPLY(HmpSysDiagStartRep);
Q5_ACK_REPLY(HmpUseBTRep);
Q5_ACK_REPLY(Q5CmdMsgRep);

/// Details of a source fault in a short NAK. All except `safety` are flags.
struct [[gnu::packed]] NakEdata0E {
  std::int16_t safety;
  std::uint8_t sync;
  std::uint8_t pll;
  std::uint8_t strobe;
  std::uint8_t lvl;
  std::uint8_t ssw_rls;
  std::uint8_t sw_buff;
  std::uint8_t lvl_ins;
  std::uint8_t in_curr;
  std::uint8_t ampl_ot;
  std::uint8_t in_c_pk;
  std::uint8_t xfmr_ot;
  std::uint8_t tstoped;
  std::uint8_t comm_to;
  std::uint8_t mref_ot;
  std::uint8_t cref_ot;
  std::uint8_t hv_over;
  std::uint8_t in_v_sat;
  std::uint8_t maxv_exc;
};
struct NakEdata0EFields {
  using R = NakEdata0E;
  static_assert(sizeof(R) == 20);
  static constexpr Field kFields[] = {
      Q5_AT(0, safety),   Q5_AT(2, sync),      Q5_AT(3, pll),      Q5_AT(4, strobe),
      Q5_AT(5, lvl),      Q5_AT(6, ssw_rls),   Q5_AT(7, sw_buff),  Q5_AT(8, lvl_ins),
      Q5_AT(9, in_curr),  Q5_AT(10, ampl_ot),  Q5_AT(11, in_c_pk), Q5_AT(12, xfmr_ot),
      Q5_AT(13, tstoped), Q5_AT(14, comm_to),  Q5_AT(15, mref_ot), Q5_AT(16, cref_ot),
      Q5_AT(17, hv_over), Q5_AT(18, in_v_sat), Q5_AT(19, maxv_exc)};
};

/// Code of a short NAK that carries a NakEdata0E.
inline constexpr std::int16_t kNakEdata0ECode = 14;

/// Short NAK: a code, and for one code a NakEdata0E. The checksum follows.
struct [[gnu::packed]] HmpNakRep : HmpRecord<HmpNakRep> {
  std::uint8_t nak;
  std::int16_t code;
  std::uint8_t rest[sizeof(NakEdata0E) + kChksmSize];

  void SetErrCode(short error_code);
  void SetErrCode(NakEdata0E& details);
};
Q5_RECORD(HmpNakRep, 31, Q5_AT(6, nak), Q5_AT(7, code), Q5_AT(9, rest));

}  // namespace Msg
