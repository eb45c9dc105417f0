// Handlers of the housekeeping requests.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "common/log/logger_mgr.h"
#include "common/msg/hmp_data.h"
#include "common/msg/safety_nak.h"
#include "mos/meas_mgr.h"
#include "mos/process_objects.h"
#include "mos/requests.h"
#include "platform/backend.h"

namespace Mos {
namespace {

using Logger::logger_mgr;
using Logger::measurementL;

constexpr char kVersionFile[] = "/etc/varek-fw-version";
constexpr std::string_view kVersionKey = "varek_fw_version=";
constexpr int kVersionLineBytes = 128;

// What stands behind the key in the version file; empty, with a line in the log, if nothing does.
std::string ReadFirmwareVersion() {
  const std::string path = platform::Machine().Path(kVersionFile);
  std::FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) {
    logger_mgr::print(measurementL, Logger::kError, 0, "VERSION FILE RETURNED NULL \n");
    return "";
  }
  std::string version;
  bool found = false;
  char line[kVersionLineBytes];
  while (!found && std::fgets(line, sizeof line, file) != nullptr) {
    std::string_view text(line);
    if (!text.starts_with(kVersionKey)) continue;
    text.remove_prefix(kVersionKey.size());
    version = text.substr(0, text.find_first_of("\r\n"));
    found = true;
  }
  if (!found) logger_mgr::print(measurementL, Logger::kError, 0, "VERSION FILE READ FAIL \n");
  if (std::fclose(file) != 0) {
    logger_mgr::print(measurementL, Logger::kError, 0, "%s: Unable to close %s - %s", __func__,
                      path.c_str(), std::strerror(errno));
  }
  return version;
}

template <class Request>
void NoteRequest(const Request& request) {
  CaptureRequest(request);
  request.Show(Logger::kInfo);
}

// A text field of a record: cut to the field less its terminator, the rest 0.
template <size_t N>
void SetText(char (&field)[N], std::string_view text) {
  std::memset(field, 0, N);
  text.copy(field, N - 1);
}

}  // namespace

int MeasMgr::HandleMsg1F(const Msg::HmpConfVersReq* request, Msg::HmpConfVersRep* reply) {
  Msg::ghmp->ClearBootErrorCodes();  // a host that reads the versions has seen the boot's result
  NoteRequest(*request);
  SetText(reply->meas_version, ReadFirmwareVersion());
  SetText(reply->desc, "None");
  SetText(reply->main_version, "N/A");
  SetText(reply->src_version, "N/A");
  SetText(reply->quality, "TBD");
  SetText(reply->serialnum, "TBD");
  reply->SetAck();
  return 0;
}

int MeasMgr::HandleMsg21(const Msg::HmpFWUpdateInitReq* request, Msg::HmpFWUpdateInitRep* reply) {
  NoteRequest(*request);
  StopI2cScanner();
  reply->SetAck();
  return 0;
}

int MeasMgr::HandleMsg35(const Msg::HmpSetTimeOfDayReq* request, Msg::HmpSetTimeOfDayRep* reply) {
  NoteRequest(*request);
  const timespec time{static_cast<time_t>(request->secondsSinceEpoch), 0};
  // A clock that cannot be set is not the host's concern: it is answered with an ACK all the same.
  platform::Machine().SetRealtime(time);
  logger_mgr::print(measurementL, Logger::kNotice, 0, "MESSAGE_35 Set TOD: secs %d\n",
                    static_cast<int>(request->secondsSinceEpoch));
  reply->SetAck();
  return 0;
}

int MeasMgr::HandleMsg36(const Msg::HmpStartRowReq* request, Msg::HmpStartRowRep* reply) {
  NoteRequest(*request);
  reply->SetAck();
  return 0;
}

int MeasMgr::HandleMsg37(const Msg::HmpEndRowReq* request, Msg::HmpEndRowRep* reply) {
  NoteRequest(*request);
  reply->SetAck();
  logger_mgr::print(measurementL, Logger::kNotice, 0, "Cleared HMP error codes \n");
  Msg::ghmp->ClearErrorCodes();
  Msg::safetyFault.Clear();
  return 0;
}

int MeasMgr::HandleMsg38(const Msg::HmpMiscConfigReq* request, Msg::HmpMiscConfigRep* reply) {
  NoteRequest(*request);
  // The calibration dates, the line frequency and the compatibility index go out as 0: nothing in
  // the daemon knows them.
  reply->SetAck();
  return 0;
}

int MeasMgr::HandleMsg46(const Msg::HmpAckProgressReq* request, Msg::HmpAckProgressRep* reply) {
  NoteRequest(*request);
  msgmonitorm.ResetTimer();
  reply->status[0] = ChannelsStatus();
  reply->SetAck();
  return 0;
}

}  // namespace Mos
