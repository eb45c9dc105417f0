#include "common/msg/state/prepare_nak.h"

#include "common/log/log_line.h"
#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/state/hmp_data.h"

namespace Msg {

void PrepareNak(int /*module*/, int& nak, void* reply, const char* text) {
  auto* record = static_cast<HmpErrorRep*>(reply);
  Q5_LOG_INFO(msgL, "%s", text);
  if (nak == 0) record->InitResponse();
  // one copy of the list, because other threads continue to add to it
  const Errorcodes::Snapshot list = ghmp->CopyErrorCodes();
  if (list.errorindex > 1) {
    Q5_LOG_INFO(msgL, "errorcodes ghmpeindex %d\n", list.errorindex);
    record->CopyHMPErrorCodes(list.words.data(), list.errorindex);
  } else {
    Q5_LOG_INFO(msgL, "No error codes in ghmp %d\n", list.errorindex);
  }
  record->SetNak(nak);
  record->Show(Logger::kWarning);
  nak = 1;
}

}  // namespace Msg
