#include "common/acquisition/waveform_capture.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "common/acquisition/sample_word.h"
#include "common/log/log_line.h"
#include "common/msg/state/hmp_data.h"
#include "platform/backend.h"

namespace acquisition {

namespace {

using Capture = std::array<char, kCaptureHeading + kCaptureBytes>;

void WriteHeading(char* heading, int rate) {
  const timespec now = platform::Machine().Clock().Realtime();
  tm parts{};
  ::localtime_r(&now.tv_sec, &parts);
  char time[16];
  std::strftime(time, sizeof time, "%H:%M:%S", &parts);
  std::snprintf(heading, kCaptureHeading, "# %s.%09ld %08X %08X %f %d", time, now.tv_nsec,
                Msg::ghmp->wfgensamplespercyc.load(),
                static_cast<unsigned>(Msg::ghmp->samplespercyc.load()),
                static_cast<double>(Msg::ghmp->GetFrequency()), rate);
}

/// Bytes copied to `out`.
std::size_t CopyPairs(char* out, const int* block, int rate) {
  const auto* bytes = reinterpret_cast<const char*>(block);
  if (rate < 2) {
    std::memcpy(out, bytes, kCaptureBytes);
    return kCaptureBytes;
  }
  const auto step = static_cast<std::size_t>(rate) * kPairBytes;
  const std::size_t end = kCaptureBytes / static_cast<std::size_t>(rate);
  std::size_t copied = 0;
  for (std::size_t at = 0; at + kPairBytes <= end; at += step, copied += kPairBytes) {
    std::memcpy(out + copied, bytes + at, kPairBytes);
  }
  return copied;
}

}  // namespace

bool WrapCount::Count() {
  if (--left_ > 0) return false;
  left_ = kCaptures;
  return true;
}

int WaveformCapture(int fd, const int* block, WrapCount* wrap, int rate) {
  if (wrap != nullptr && wrap->Count()) {
    ::lseek(fd, 0, SEEK_SET);
    Q5_LOG_INFO_HERE(acquisitionL, "%s.%d: buffer wrap-around\n");
  }
  Capture capture{};
  WriteHeading(capture.data(), rate);
  const std::size_t size =
      kCaptureHeading + CopyPairs(capture.data() + kCaptureHeading, block, rate);
  const ssize_t written = ::write(fd, capture.data(), size);
  const bool whole = written == static_cast<ssize_t>(size);
  if (!whole) {
    Q5_LOG_ERROR_HERE(acquisitionL, "%s.%d: write unexpected size: %d\n",
                      static_cast<int>(written));
  }
  if (::fsync(fd) != 0) {
    Q5_LOG_ERROR_HERE(acquisitionL, "%s.%d: fsync failed, errno=%d\n", errno);
    return -1;
  }
  return whole ? 0 : -1;
}

}  // namespace acquisition
