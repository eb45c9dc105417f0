// Any bytes as a frame from the wire: bounds, checksum, and Show of whichever record it claims to
// be.
#include <fcntl.h>
#include <sanitizer/common_interface_defs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "common/log/logger_mgr.h"
#include "common/msg/records/hmp_records.h"

namespace {

// Standard error is away while the log writes: every line is to be formatted, none to be read. What
// a sanitizer or a failed expectation has to say still comes out.
class Quiet {
 public:
  Quiet() { dup2(Sink(), STDERR_FILENO); }
  ~Quiet() { Speak(); }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

  static void Start() {
    __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(Voice())));
    Sink();
  }
  static void Speak() { dup2(Voice(), STDERR_FILENO); }

 private:
  static int Voice() {
    static const int fd = dup(STDERR_FILENO);
    return fd;
  }
  static int Sink() {
    static const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    return fd;
  }
};

void Expect(bool holds) {
  if (holds) return;
  Quiet::Speak();
  std::abort();
}

void ShowAs(const Msg::Layout* layout, const Msg::HmpMsgHead* head, std::size_t size) {
  if (layout != nullptr && layout->size <= static_cast<int>(size)) {
    Msg::ShowRecord(Logger::kDebug, *layout, head);
  }
}

// A NAK of what came, as the dispatcher makes it of a message that it cannot take.
void AnswerNak(const Msg::HmpMsgHead* head) {
  Msg::HmpErrorRep nak{};
  std::memcpy(nak.GetData(), head, sizeof *head);
  nak.InitResponse();
  nak.SetHMPErrorCode(Msg::NAK_MOS_ERR, Msg::NAK_MCODE_UNKNOWNMSG, 0);
  Expect(nak.GetSize() == sizeof nak && nak.opcode <= 0 && !nak.ChksmInvalid());
}

// Error words as another module sends them: their count and the counts in them may be anything.
void UseList(Msg::HmpErrorRep nak) {
  nak.Show(Logger::kDebug);
  for (int place = -1; place <= Msg::kErrorListWords; ++place) nak.ParseErrorData(place);
  const short words[] = {74, 75};
  nak.CopyHMPErrorCodes(words, 2);
  Expect(nak.count >= 0 && nak.count <= Msg::kErrorListWords);
  nak.SetFrequencyError(Msg::NAK_MOS_ERR, Msg::NAK_MCODE_MOS_SPCLKINVFREQ, 0.5F, 0);
  nak.SetMajorError();
  nak.ShiftErrorCodes();
  Expect(nak.count >= 0 && nak.count <= Msg::kErrorListWords && !nak.ChksmInvalid());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Logger::logger_mgr::SetModuleLevel(Logger::msgL, Logger::kDebug);
  Msg::HmpErrorRep::InitMajorErrors();
  Quiet::Start();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Quiet quiet;
  // a copy of its own, so that a read beyond the frame is seen
  std::unique_ptr<std::uint8_t[]> frame(new std::uint8_t[size]);
  std::copy_n(data, size, frame.get());
  auto* head = reinterpret_cast<Msg::HmpMsgHead*>(frame.get());
  if (size >= sizeof *head) {
    head->Show(Logger::kDebug);
    AnswerNak(head);
  }
  if (!head->FrameHolds(size)) return 0;

  bool invalid = head->ChksmInvalid();
  if (const Msg::Message* message = Msg::FindMessage(head->opcode)) {
    ShowAs(message->request, head, size);
    ShowAs(message->reply, head, size);
  }
  if (size >= sizeof(Msg::HmpErrorRep)) {
    UseList(*reinterpret_cast<const Msg::HmpErrorRep*>(frame.get()));
  }
  if (invalid) {
    head->SetChksm(Logger::kDebug);
    Expect(!head->ChksmInvalid());
  }
  return 0;
}
