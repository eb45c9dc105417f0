#include "common/msg/records/hmp_opcodes.h"

#include <algorithm>
#include <cstdlib>

#include "common/msg/records/hmp_records.h"

namespace Msg {
namespace {

template <class Record>
constexpr const Layout* kOf = &LayoutOf<Record>::kLayout;

constexpr Field kPlainFields[] = {{"chksm", FieldType::kInt16, 6, 2, 1}};
constexpr Layout kHeadOnly{"HmpMsgHead", kFrameOverhead, kPlainFields};

template <class Request, class Reply>
constexpr Message Row(HmpOpcode opcode, const char* meaning, Server server = Server::kMeasMgr) {
  return {meaning, kOf<Request>, kOf<Reply>, opcode, server};
}

constexpr Message kMessages[] = {
    Row<HmpIniTestParamReq, HmpIniTestParamRep>(HMP_INI_TEST_PARAM, "set up a voltage test"),
    Row<HmpUpdTestParamReq, HmpUpdTestParamRep>(HMP_UPD_TEST_PARAM,
                                                "set or change voltage test parameters"),
    Row<HmpStartTestReq, HmpStartTestRep>(HMP_START_TEST, "start the test"),
    Row<HmpTestRsltReq, HmpTestRsltRep>(HMP_TEST_RSLT, "test result"),
    Row<HmpStopTestReq, HmpStopTestRep>(HMP_STOP_TEST, "stop the test"),
    Row<HmpTestRsltReq, HmpTestRsltExtRep>(HMP_TEST_RSLT_EXT, "extended result"),
    Row<HmpTestRlyReq, HmpTestRlyRep>(HMP_TEST_RLY, "relay states of a test"),
    Row<HmpSetSampParamReq, HmpSetSampParamRep>(HMP_SET_SAMP_PARAM, "sampling parameters"),
    Row<HmpAdjFreqReq, HmpAdjFreqRep>(HMP_ADJ_FREQ, "frequency step"),
    Row<HmpLoadTapChangerReq, HmpLoadTapChangerRep>(HMP_LOAD_TAP_CHANGER, "tap changer moving"),
    Row<HmpConfVersReq, HmpConfVersRep>(HMP_CONF_VERS, "versions"),
    Row<HmpFWUpdateInitReq, HmpFWUpdateInitRep>(HMP_FW_UPDATE_INIT, "firmware update begins"),
    Row<HmpTestRsltReq, HmpTestRsltExtExtRep>(HMP_TEST_RSLT_EXT_EXT,
                                              "extended result with temperatures"),
    Row<HmpPauseTestReq, HmpPauseTestRep>(HMP_PAUSE_TEST, "pause the test"),
    Row<HmpLeadConfigReq, HmpLeadConfigRep>(HMP_LEAD_CONFIG, "lead configuration"),
    Row<HmpIniTestParamReqI, HmpIniTestParamRepI>(HMP_INI_TEST_PARAM_I, "set up a current test"),
    Row<HmpUpdTestParamReqI, HmpUpdTestParamRepI>(HMP_UPD_TEST_PARAM_I,
                                                  "set or change current test parameters"),
    Row<HmpSetTimeOfDayReq, HmpSetTimeOfDayRep>(HMP_SET_TIME_OF_DAY, "set the clock"),
    Row<HmpStartRowReq, HmpStartRowRep>(HMP_START_ROW, "a row of tests begins"),
    Row<HmpEndRowReq, HmpEndRowRep>(HMP_END_ROW, "a row of tests ends"),
    Row<HmpMiscConfigReq, HmpMiscConfigRep>(HMP_MISC_CONFIG, "calibration dates, line frequency"),
    Row<HmpAckProgressReq, HmpAckProgressRep>(HMP_ACK_PROGRESS, "poll of progress"),
    Row<HmpI2cGatewayReq, HmpI2cGatewayRep>(HMP_I2C_GATEWAY, "I2C gateway", Server::kI2cMgr),
    {"FFT data set", &kHeadOnly, nullptr, HMP_FFT_DATA, Server::kMeasMgr},
};
static_assert(std::ranges::is_sorted(kMessages, {}, &Message::opcode));

}  // namespace

std::span<const Message> Messages() { return kMessages; }

const Message* FindMessage(std::int16_t opcode) {
  int request = std::abs(opcode);
  const Message* found = std::ranges::lower_bound(kMessages, request, {}, &Message::opcode);
  return found != std::end(kMessages) && found->opcode == request ? found : nullptr;
}

}  // namespace Msg
