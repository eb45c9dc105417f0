// Snapshots of raw samples, and the command line that asks for them.
#include "common/acquisition/snapshot.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <libconfig.h++>
#include <sstream>
#include <thread>

#include "common/acquisition/sample_word.h"
#include "common/acquisition/waveform_capture.h"
#include "common/msg/state/hmp_data.h"
#include "tests/common/acquisition/scripted_driver.h"

namespace acquisition {
namespace {

TEST(SnapshotCommandTest, AcceptsOnlyCommands) {
  const struct {
    const char* line;
    long samples;  ///< 0: no command
    const char* file;
    int rate;
    int format;
    int port;
  } kCases[] = {
      {"1000 /tmp/a.txt", 1000, "/tmp/a.txt", 1, 0, 0},
      {"  5\tout 4 1 127.0.0.1 2000\n", 5, "out", 4, 1, 2000},
      {"5 out 4 1 127.0.0.256 2000", 5, "out", 4, 1, 0},
      {"5 out 4 1 127.0.0 2000", 5, "out", 4, 1, 0},
      {"5 out 4 1 127.-0.0.1 2000", 5, "out", 4, 1, 0},
      {"5 out 4 1 127.0.0.1 0", 5, "out", 4, 1, 0},
      {"5 out -3 x", 5, "out", 1, 0, 0},
      {"0 out", 0, "", 0, 0, 0},
      {"-1 out", 0, "", 0, 0, 0},
      {"5", 0, "", 0, 0, 0},
      {"out 5", 0, "", 0, 0, 0},
      {"5 a;reboot", 0, "", 0, 0, 0},
      {"5 $(x)", 0, "", 0, 0, 0},
      {"99999999999999999999 out", 0, "", 0, 0, 0},
      {"", 0, "", 0, 0, 0},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.line);
    const auto command = ParseSnapshotCommand(row.line);
    ASSERT_EQ(command.has_value(), row.samples != 0);
    if (!command) continue;
    EXPECT_EQ(command->samples, row.samples);
    EXPECT_EQ(command->file, row.file);
    EXPECT_EQ(command->rate, row.rate);
    EXPECT_EQ(command->format, row.format);
    EXPECT_EQ(command->port, row.port);
  }
}

class SnapshotTest : public testing::Test {
 protected:
  SnapshotTest() {
    Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE);
    std::filesystem::create_directories(Path("/var/volatile"));
    EXPECT_EQ(pool.Allocate(), 0);
    pool.Begin(8192);
    EXPECT_EQ(snapshot.Open(), nullptr);
    snapshot.Start();
  }
  std::string Path(const char* path) const { return machine.backend.Path(path); }
  std::string Contents(const char* path) const {
    std::stringstream text;
    text << std::ifstream(Path(path), std::ios::binary).rdbuf();
    return text.str();
  }
  void Command(const std::string& line) { std::ofstream(Path("/snapshot.cmd")) << line; }
  /// Words that count up through the stream.
  void Block() {
    int* words = pool.Next();
    std::generate_n(words, 2 * 1024, [this] { return ++word; });
    pool.Published();
    snapshot.CheckSnapShot();
    snapshot.Wake();
  }
  /// Blocks until the command file is empty again.
  void AwaitEnd() {
    for (int i = 0; i < 5000 && !Contents("/snapshot.cmd").empty(); ++i) {
      Block();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(Contents("/snapshot.cmd"), "");
  }

  libconfig::Config config;
  platform::MachineInPlace<ScriptedDriver> machine;
  SamplePool pool;
  Snapshot snapshot{pool};
  int word = 0;
};

TEST_F(SnapshotTest, TextContainsEveryRatethPairOfTheStreamThatFollows) {
  Block();
  Command("700 /shot.txt 3");
  Block();
  EXPECT_EQ(Contents("/snapshot.cmd"), "Capturing 700 samples. Please wait...\n");
  AwaitEnd();
  std::stringstream text(Contents("/shot.txt"));
  std::string line;
  std::getline(text, line);
  EXPECT_EQ(line, "   CH1DEC       CH2DEC       CH1HEX     CH2HEX");
  int lines = 0;
  for (int first = 2 * 2 * 1024 + 1; std::getline(text, line); ++lines) {
    int ch1 = 0;
    int ch2 = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "%d %d", &ch1, &ch2), 2) << line;
    ASSERT_EQ(ch1, first) << "line " << lines;
    ASSERT_EQ(ch2, first + 1);
    // each page of 512 pairs begins a new count of three
    const int pair = (first - 1) / 2;
    first += 2 * (pair % 512 + 3 < 512 ? 3 : 512 - pair % 512);
  }
  EXPECT_EQ(lines, 700);
}

TEST_F(SnapshotTest, BinaryHasItsHeadingAndIsSent) {
  Command("2048 /shot.bin 1 1 127.0.0.1 9");
  Block();
  AwaitEnd();
  const std::string shot = Contents("/shot.bin");
  ASSERT_EQ(shot.size(), 2 * (kCaptureHeading + kCaptureBytes));
  EXPECT_EQ(shot.substr(0, 2), "# ");
  int first = 0;
  std::memcpy(&first, shot.data() + kCaptureHeading, sizeof first);
  EXPECT_EQ(first, 2 * 1024 + 1);
  EXPECT_THAT(machine.instrument.commands, testing::HasSubstr("nc 127.0.0.1 9 <"));
}

TEST_F(SnapshotTest, ACaptureOnAFullDiskIsLogged) {
  const std::vector<int> block(2 * 1024, 1);
  const platform::UniqueFd full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  EXPECT_EQ(WaveformCapture(full.Get(), block.data(), nullptr, 1), -1);
}

// The record of a test's waveform starts over after so many captures.
TEST_F(SnapshotTest, TheRollingRecordStaysBounded) {
  const std::vector<int> block(2 * 1024, 1);
  const std::string path = Path("/waveform.bin");
  const platform::UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  WrapCount wrap;
  for (int i = 0; i < WrapCount::kCaptures - 3; ++i) ASSERT_FALSE(wrap.Count());
  for (int i = 0; i < 10; ++i) {  // the third begins at the file's start again
    ASSERT_EQ(WaveformCapture(file.Get(), block.data(), &wrap, 512), 0);
  }
  // every 512th pair of the first 16 bytes is one pair
  EXPECT_EQ(std::filesystem::file_size(path), 8 * (kCaptureHeading + 8));
}

TEST_F(SnapshotTest, AnUnwritableOutputEndsTheSnapshot) {
  Command("10 /no/such/place");
  Block();
  AwaitEnd();
  Command("nonsense");
  Block();
  EXPECT_EQ(Contents("/snapshot.cmd"), "") << "a bad line is taken away";
}

}  // namespace
}  // namespace acquisition
