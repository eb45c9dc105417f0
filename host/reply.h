// Replies, checked before anything in them is believed.
#pragma once

#include <string>
#include <vector>

#include "common/msg/records/hmp_records.h"
#include "host/hex.h"

namespace host {

enum class Answer { kAck, kAckInProgress, kNak, kDataSet };

struct ErrorWord {
  int code;
  std::vector<int> data;  ///< the data words that follow the code
};

struct Reply {
  Answer answer = Answer::kNak;
  Bytes bytes;
  /// Of the record in `bytes`; null where the record is not known: the ACK to an opcode that this
  /// program does not know, or the FFT data set, which is no record.
  const Msg::Layout* layout = nullptr;
  /// Of a NAK: whose errors these are (MODCODES), NAK_MAJORCODE when the list does not say.
  int module = Msg::NAK_MAJORCODE;
  std::vector<ErrorWord> errors;
};

/// Reads `bytes` as the reply to `request`. What is wrong with it, or nothing: it must be one whole
/// record with a good checksum, the negated opcode of the request, a known acknowledgement and the
/// length of the record that it has to be.
std::string ReadReply(const Bytes& request, Bytes bytes, Reply& reply);

}  // namespace host
