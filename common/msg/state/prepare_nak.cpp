#include "common/msg/state/prepare_nak.h"

#include "common/log/logger_mgr.h"
#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/state/hmp_data.h"

using Logger::logger_mgr;
using Logger::msgL;

namespace Msg {

void PrepareNak(int /*module*/, int& nak, void* reply, const char* text) {
  auto* record = static_cast<HmpErrorRep*>(reply);
  logger_mgr::print(msgL, Logger::kInfo, 0, "%s", text);
  if (nak == 0) record->InitResponse();
  // one look at the list: other threads go on adding to it
  const Errorcodes::Snapshot list = ghmp->CopyErrorCodes();
  if (list.errorindex > 1) {
    logger_mgr::print(msgL, Logger::kInfo, 0, "errorcodes ghmpeindex %d\n", list.errorindex);
    record->CopyHMPErrorCodes(list.words.data(), list.errorindex);
  } else {
    logger_mgr::print(msgL, Logger::kInfo, 0, "No error codes in ghmp %d\n", list.errorindex);
  }
  record->SetNak(nak);
  record->Show(Logger::kWarning);
  nak = 1;
}

}  // namespace Msg
