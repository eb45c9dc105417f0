#include "common/acquisition/snapshot.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "common/acquisition/sample_word.h"
#include "common/acquisition/waveform_capture.h"
#include "common/lib/instrument_file.h"
#include "common/log/log_files.h"
#include "common/log/log_line.h"
#include "platform/backend.h"
#include "platform/guarded.h"

namespace acquisition {

namespace {

constexpr char kCommandPath[] = "./snapshot.cmd";
constexpr char kScratchPath[] = "/var/volatile/snapshot_temp.txt";
constexpr char kTextHeading[] = "   CH1DEC       CH2DEC       CH1HEX     CH2HEX\n";
constexpr std::size_t kLongestCommand = 512;
constexpr off_t kScratchLimit = 0x800000;
constexpr std::int64_t kZeroPairsLimit = 10;
/// A snapshot that falls further behind would read pages that are being written again.
constexpr std::uint64_t kMostBehind = SamplePool::kPages * 3 / 4;

}  // namespace

Snapshot::~Snapshot() {
  {
    const platform::Lock lock(g_smutex);
    ended_ = true;
  }
  g_triggersnapshot.notify_all();
  if (thread_.joinable()) thread_.join();
}

const char* Snapshot::Open() {
  command_file_ = lib::CreateFile(kCommandPath);
  if (!command_file_) return kCommandPath;
  scratch_ = lib::CreateFile(kScratchPath);
  return scratch_ ? nullptr : kScratchPath;
}

void Snapshot::Start() {
  thread_ =
      std::thread([this] { platform::GuardedLoop("RunSnapshot", [this] { RunSnapshot(); }); });
}

// --- The producer's side ---

void Snapshot::CheckSnapShot() {
  switch (g_snapshotStart.load()) {
    case State::kNone:
      return TakeCommand();
    case State::kRunning:
      return;
    case State::kComplete:
      lib::ReplaceContents(command_file_.Get(), "");
      g_snapshotStart = State::kNone;
  }
}

void Snapshot::TakeCommand() {
  std::array<char, kLongestCommand> line;
  const ssize_t size = ::pread(command_file_.Get(), line.data(), line.size(), 0);
  if (size <= 0) return;
  auto command = ParseSnapshotCommand({line.data(), static_cast<std::size_t>(size)});
  if (!command) {
    Q5_LOG_ERROR(acquisitionL, "%s.%d: wrong input format, it should be as samplecount filename\n",
                 "CheckSnapShot", __LINE__);
    lib::ReplaceContents(command_file_.Get(), "");
    return;
  }
  lib::ReplaceContents(command_file_.Get(), "Capturing " + std::to_string(command->samples) +
                                                " samples. Please wait...\n");
  {
    const platform::Lock lock(g_smutex);
    command_ = *std::move(command);
    first_page_ = pool_.Pages();
    abandoned_ = false;
    g_snapshotStart = State::kRunning;
  }
  g_triggersnapshot.notify_all();
}

void Snapshot::Wake() {
  if (g_snapshotStart != State::kRunning) return;
  const platform::Lock lock(g_smutex);
  g_triggersnapshot.notify_all();
}

void Snapshot::Abandon() {
  platform::Lock lock(g_smutex);
  abandoned_ = true;
  g_triggersnapshot.notify_all();
  g_snapshotdata.wait(lock, [this]() Q5_REQUIRES(g_smutex) { return !reading_; });
}

// --- The thread ---

void Snapshot::RunSnapshot() {
  for (;;) {
    SnapshotCommand command;
    std::uint64_t page = 0;
    {
      platform::Lock lock(g_smutex);
      g_triggersnapshot.wait(lock, [this]() Q5_REQUIRES(g_smutex) {
        return ended_ || g_snapshotStart == State::kRunning;
      });
      if (ended_) return;
      command = command_;
      page = first_page_;
      reading_ = true;
    }
    platform::Guarded("RunSnapshot", [&] { Capture(command, page); });
    {
      const platform::Lock lock(g_smutex);
      reading_ = false;
    }
    g_snapshotdata.notify_all();
    platform::Guarded("RunSnapshot", [&] {
      if (MoveToOutput(command) && command.port > 0) Send(command);
    });
    g_snapshotStart = State::kComplete;
  }
}

bool Snapshot::AwaitPages(std::uint64_t end) {
  platform::Lock lock(g_smutex);
  g_triggersnapshot.wait(
      lock, [&]() Q5_REQUIRES(g_smutex) { return ended_ || abandoned_ || pool_.Pages() >= end; });
  if (ended_ || abandoned_) return false;
  if (pool_.Pages() - end < kMostBehind) return true;
  Q5_LOG_ERROR(acquisitionL, "%s: the disk is too slow for the samples\n", "RunSnapshot");
  return false;
}

void Snapshot::Capture(const SnapshotCommand& command, std::uint64_t page) {
  zero_pairs_ = 0;
  if (command.format == 0) {
    ::write(scratch_.Get(), kTextHeading, sizeof kTextHeading - 1);
  }
  // binary captures are two pages long
  const std::uint64_t step = command.format == 0 ? 1 : 2;
  page += page % step;
  std::int64_t progress = 0;
  while (progress < command.samples && AwaitPages(page + step)) {
    const std::int64_t written = CaptureToFile(command, page, command.samples - progress);
    if (written <= 0) {
      Q5_LOG_ERROR(acquisitionL, "%s: %s cannot be written: %m\n", "RunSnapshot", kScratchPath);
      return;
    }
    progress += written;
    page += step;
    MoveIfLarge(command);
  }
}

std::int64_t Snapshot::CaptureToFile(const SnapshotCommand& command, std::uint64_t page,
                                     std::int64_t wanted) {
  const int* words = pool_.Page(page);
  if (command.format == 0) return WriteLines(words, command.rate, wanted);
  if (WaveformCapture(scratch_.Get(), words, nullptr, command.rate) != 0) return -1;
  constexpr std::int64_t kPairs = kCaptureBytes / kPairBytes;
  return command.rate < kPairs ? kPairs / command.rate : 1;
}

std::int64_t Snapshot::WriteLines(const int* words, int rate, std::int64_t wanted) {
  std::string text;
  std::int64_t lines = 0;
  for (std::size_t pair = 0; pair < kPagePairs && lines < wanted;
       pair += static_cast<std::size_t>(rate), ++lines) {
    const int first = words[2 * pair];
    const int second = words[2 * pair + 1];
    char line[64];
    std::snprintf(line, sizeof line, "%12d %12d 0x%08x 0x%08x \n", first, second,
                  static_cast<unsigned>(first), static_cast<unsigned>(second));
    text += line;
    if (first == 0 && second == 0 && ++zero_pairs_ == kZeroPairsLimit + 1) {
      Q5_LOG_ERROR(acquisitionL, "zero values are read from the acquisition\nRequired Debugging\n");
    }
  }
  const ssize_t written = ::write(scratch_.Get(), text.data(), text.size());
  return written == static_cast<ssize_t>(text.size()) ? lines : -1;
}

bool Snapshot::MoveToOutput(const SnapshotCommand& command) {
  const bool moved = Logger::CatTwoFiles(kScratchPath, command.file) == 0;
  if (!moved) {
    Q5_LOG_ERROR(acquisitionL, "%s: %s cannot be written: %m\n", "RunSnapshot",
                 command.file.c_str());
  }
  lib::ReplaceContents(scratch_.Get(), "");
  return moved;
}

void Snapshot::MoveIfLarge(const SnapshotCommand& command) {
  struct stat status {};
  if (::fstat(scratch_.Get(), &status) != 0 || status.st_size <= kScratchLimit) return;
  if (MoveToOutput(command)) {
    Q5_LOG_INFO(acquisitionL, "Dumped partial snapshotfile \n");
  }
}

void Snapshot::Send(const SnapshotCommand& command) {
  const std::string line =
      "nc " + command.address + " " + std::to_string(command.port) + " <" + command.file;
  const int status = platform::Machine().System(line.c_str());
  if (status != 0) {
    Q5_LOG_ERROR(acquisitionL, "%s gave %d\n", line.c_str(), status);
  }
}

}  // namespace acquisition
