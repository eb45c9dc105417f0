#include "common/zpubsub/records/message_id.h"

namespace IMSG {

const char* GetMsgStr(int id) {
  switch (id) {
#define X(number, name) \
  case number:          \
    return #name;
    Q5_MESSAGES(X)
#undef X
    default:
      return "UNKNOWNMSG";
  }
}

}  // namespace IMSG
