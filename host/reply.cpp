#include "host/reply.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>

#include "host/request.h"

namespace host {
namespace {

const Msg::HmpMsgHead& HeadOf(const Bytes& bytes) {
  return *reinterpret_cast<const Msg::HmpMsgHead*>(bytes.data());
}

template <class T>
T At(const Bytes& bytes, std::size_t offset) {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

// The record's own acknowledgement byte; of a whole record with a payload.
int AckOf(const Bytes& bytes) { return bytes[Msg::kHeadSize]; }

std::string CheckFrame(const Bytes& bytes) {
  if (bytes.size() < Msg::kFrameOverhead) {
    return fmt::format("{} bytes are too few for a record", bytes.size());
  }
  const Msg::HmpMsgHead& head = HeadOf(bytes);
  if (!head.FrameHolds(bytes.size()) || static_cast<std::size_t>(head.GetSize()) != bytes.size()) {
    return fmt::format("len is {}, but the reply has {} bytes", int{head.len}, bytes.size());
  }
  if (head.ChksmInvalid()) {
    auto stored = At<std::uint16_t>(bytes, bytes.size() - Msg::kChksmSize);
    return fmt::format("the checksum is 0x{:04X}, but the bytes make 0x{:04X}", stored,
                       head.Chksm(7));
  }
  if (head.len == 0) return "there is no acknowledgement in it";
  return "";
}

// A request that was negative already is answered with the opcode as it is.
std::string CheckOpcode(std::int16_t request, std::int16_t reply) {
  int expected = -std::abs(request);
  if (reply == expected) return "";
  return fmt::format("its opcode is {}, but {} was to come", reply, expected);
}

// The words of an error list without its module code, each code with its data.
std::vector<ErrorWord> WordsOf(std::span<const std::int16_t> list) {
  std::vector<ErrorWord> words;
  for (std::size_t i = 0; i < list.size();) {
    ErrorWord word{Msg::ErrorCodeOf(list[i]), {}};
    std::size_t end =
        std::min(list.size(), i + 1 + static_cast<std::size_t>(Msg::DataWordsOf(list[i])));
    word.data.assign(list.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                     list.begin() + static_cast<std::ptrdiff_t>(end));
    // a zero is where an error was that has been cleared
    if (word.code != 0) words.push_back(std::move(word));
    i = end;
  }
  return words;
}

std::string ReadErrorList(Reply& reply) {
  reply.layout = &Msg::LayoutOf<Msg::HmpErrorRep>::kLayout;
  auto nak = At<Msg::HmpErrorRep>(reply.bytes, 0);
  if (nak.count < 0 || nak.count > Msg::kErrorListWords) {
    return fmt::format("its list has {} error words, but 64 is the most", int{nak.count});
  }
  std::vector<std::int16_t> list(static_cast<std::size_t>(nak.count));
  for (std::size_t i = 0; i < list.size(); ++i) list[i] = nak.ecodes[i];
  if (!list.empty() && list[0] >= Msg::NAK_MAJORCODE && list[0] <= Msg::NAK_PFC_ERR) {
    reply.module = list[0];
    list.erase(list.begin());
  }
  reply.errors = WordsOf(list);
  return "";
}

std::string ReadShortNak(Reply& reply) {
  reply.errors = {{At<std::int16_t>(reply.bytes, Msg::kHeadSize + 1), {}}};
  return "";
}

// A NAK is one of the two NAK records, or the request's own reply with a NAK in it.
std::string ReadNak(const Msg::Layout* own, Reply& reply) {
  reply.answer = Answer::kNak;
  int size = static_cast<int>(reply.bytes.size());
  if (size == Msg::LayoutOf<Msg::HmpErrorRep>::kLayout.size) return ReadErrorList(reply);
  if (own != nullptr && size == own->size) {
    reply.layout = own;
    return "";
  }
  const int len = HeadOf(reply.bytes).len;
  if (len == 3 || len == 3 + static_cast<int>(sizeof(Msg::NakEdata0E))) return ReadShortNak(reply);
  return fmt::format("a NAK of {} bytes has no known length", size);
}

std::string ReadAck(const Msg::Layout* own, Reply& reply) {
  reply.answer = AckOf(reply.bytes) == Msg::HMP_ACK ? Answer::kAck : Answer::kAckInProgress;
  if (own != nullptr && static_cast<int>(reply.bytes.size()) != own->size) {
    return fmt::format("it has {} bytes, but {} has {}", reply.bytes.size(), own->name, own->size);
  }
  reply.layout = own;
  return "";
}

// Not a record: time, two counts, and for each channel so many samples and categories.
bool IsDataSet(const Bytes& bytes) {
  if (bytes.size() < sizeof(Msg::FftDataSetHead)) return false;
  auto head = At<Msg::FftDataSetHead>(bytes, 0);
  if (head.sample_count < 0 || head.fft_category_count < 0) return false;
  std::int64_t channel = 8LL * head.sample_count + 16LL * head.fft_category_count;
  return static_cast<std::int64_t>(bytes.size() - sizeof head) == 2 * channel;
}

}  // namespace

std::string ReadReply(const Bytes& request, Bytes bytes, Reply& reply) {
  reply = Reply{};
  reply.bytes = std::move(bytes);
  const std::int16_t opcode = OpcodeOf(request);
  // Without data, the daemon sends the request back.
  if (opcode == Msg::HMP_FFT_DATA && (reply.bytes == request || IsDataSet(reply.bytes))) {
    reply.answer = Answer::kDataSet;
    return "";
  }
  std::string error = CheckFrame(reply.bytes);
  if (error.empty()) error = CheckOpcode(opcode, HeadOf(reply.bytes).opcode);
  if (!error.empty()) return error;

  const Msg::Message* message = Msg::FindMessage(opcode);
  const Msg::Layout* own = message != nullptr ? message->reply : nullptr;
  switch (AckOf(reply.bytes)) {
    case Msg::HMP_ACK:
    case Msg::HMP_ACK_IN_PROGRESS:
      return ReadAck(own, reply);
    case Msg::HMP_NAK:
      return ReadNak(own, reply);
    default:
      return fmt::format("its acknowledgement is {}", AckOf(reply.bytes));
  }
}

}  // namespace host
