// The sample stream as the daemon's producer meets it: counter, ring, blocks, and their faults.
#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "tests/simulator/sample_fixture.h"

namespace simulator {
namespace {

using namespace std::chrono_literals;

TEST_F(SampleTest, BlocksEndAtTheRateOfTheClockPlan) {
  Start60Hz();
  EXPECT_EQ(Control("get samples.rate"), "ok 30720 Hz");
  for (const unsigned bad : {0U, 4095U, 3U * 4096U, 0x400000U}) EXPECT_EQ(Announce(bad), -1) << bad;
  ASSERT_EQ(Announce(8192), 20);
  ASSERT_EQ(StartSampling(), 0);
  const auto start = clock_.Monotonic();
  for (int block = 1; block <= 300; ++block) {
    ASSERT_EQ(ReadCounter(), 2 * block);
    // the first whole nanosecond at which 1024 pairs a block are there
    ASSERT_EQ((clock_.Monotonic() - start).count(), (block * 100000000LL + 2) / 3) << block;
  }
  EXPECT_EQ(Control("get fpga.overflow_underflow"), "ok 0");
  for (std::size_t pair = 0; pair < 2048; ++pair) {
    ASSERT_EQ(Word(pair, 0) & 0x3F, pair % 32);
    ASSERT_EQ(Word(pair, 1) & 0x3F, pair >> 8 & 3);
  }
}

TEST_F(SampleTest, BlocksNotReadInTimeAreLostAndCounted) {
  Start60Hz();
  StartSampling();
  clock_.Advance(std::chrono::hours(10));
  EXPECT_EQ(ReadCounter(), 2160000);
  EXPECT_EQ(Control("get fpga.overflow_underflow"), "ok 1079c0");  // (2160000 - 512) / 2
  EXPECT_EQ(backend_->System("echo 0 >/sys/fpgaattr/overflow_underflow"), 0);
  AdvancePairs(512 * 512);
  EXPECT_EQ(Control("get fpga.overflow_underflow"), "ok 0");
  AdvancePairs(512);
  EXPECT_EQ(Control("get fpga.overflow_underflow"), "ok 1");
}

TEST_F(SampleTest, AReadEndsWithSampling) {
  Start60Hz();
  EXPECT_EQ(ReadCounter(), 0) << "nothing runs, nobody waits for ever";
  StartSampling();
  ASSERT_EQ(ReadCounter(), 2);
  clock_.SetAutoAdvance(false);
  int counter = -1;
  std::thread reader([&] { counter = ReadCounter(); });
  ASSERT_TRUE(clock_.AwaitBlocked(1));
  EXPECT_EQ(Request(Dev::Q5FPGA_CMD_RD, 14, 0), 0) << "others are served meanwhile";
  ASSERT_EQ(StopSampling(), 0);
  reader.join();
  EXPECT_EQ(counter, 2);
  clock_.SetAutoAdvance(true);
  StartSampling();
  EXPECT_EQ(ReadCounter(), 2) << "a new run counts from 0";
  const int other = backend_->Open(Dev::kFpgaDevicePath, O_RDONLY, 0);
  EXPECT_EQ(ReadCounter(other), 2) << "each descriptor has its own place";
  backend_->Close(other);
}

TEST_F(SampleTest, WordsAreSpoiledOnRequest) {
  struct Case {
    const char* corruption;
    unsigned bits;  ///< of the spoiled word's low byte that differ
    std::size_t channel;
    std::size_t first;
    std::size_t last;
    std::size_t blocks;
  };
  const Case kCases[] = {
      {"fault 2 17 2", 0x80, 1, 17, 18, 1},
      {"over-range 1 1000 100", 0x40, 0, 1000, 1023, 1},
      {"busy 2 0 5 2", 0xC0, 1, 0, 4, 2},
      {"sync both 512 1", 0x20, 1, 512, 512, 1},
      {"fault 1 end 3 always", 0x80, 0, 1021, 1023, 3},
  };
  config_.speed = 100;
  Start60Hz();
  for (const Case& test : kCases) {
    Announce(8192);
    StartSampling();
    ASSERT_EQ(Control(std::string("set samples.corrupt ") + test.corruption), "ok");
    for (int block = 0; block < 3; ++block) ReadCounter();
    for (std::size_t pair = 0; pair < 3072; ++pair) {
      const std::size_t place = pair % 1024;
      const bool bad = place >= test.first && place <= test.last && pair / 1024 < test.blocks;
      const std::size_t channel = test.channel;
      const auto good = static_cast<unsigned>(channel == 0 ? pair % 32 : pair >> 8 & 3);
      ASSERT_EQ(Word(pair, channel) & 0xFF, good ^ (bad ? test.bits : 0U))
          << test.corruption << " " << pair;
    }
  }
  for (const char* bad : {"fault", "fault 3 1 1", "crack 1 1 1"}) {
    EXPECT_THAT(Control(std::string("set samples.corrupt ") + bad), testing::StartsWith("error"));
  }
}

TEST_F(SampleTest, TheCounterJumpsStopsAndLags) {
  Start60Hz();
  Announce(8192);
  StartSampling();
  ASSERT_EQ(ReadCounter(), 2);
  Control("set samples.jump 6");
  EXPECT_EQ(ReadCounter(), 10);
  EXPECT_EQ(ReadCounter(), 12);
  ASSERT_EQ(Control("fault samples stuck"), "ok");
  const int impatient = backend_->Open(Dev::kFpgaDevicePath, O_RDONLY | O_NONBLOCK, 0);
  EXPECT_EQ(ReadCounter(impatient), 12);
  clock_.Advance(10s);
  EXPECT_EQ(ReadCounter(impatient), -1);
  EXPECT_EQ(errno, EAGAIN);
  ASSERT_EQ(Control("fault samples ok"), "ok");
  EXPECT_EQ(ReadCounter(), 14) << "what was not sampled does not come later";
  const auto start = clock_.Monotonic();
  ASSERT_EQ(Control("fault samples delayed 250"), "ok");
  EXPECT_EQ(ReadCounter(), 16);
  EXPECT_NEAR(static_cast<double>((clock_.Monotonic() - start).count()), 283.3e6, 1e5);
  Control("fault samples off");
  EXPECT_EQ(StartSampling(), -EIO);
  backend_->Close(impatient);
}

class SameSamplesTest : public SampleTest {
 protected:
  /// A ring full of samples with everything moving, looked at every `step` pairs.
  std::vector<std::int32_t> Record(double step) {
    if (!ring_.empty()) backend_->Munmap(ring_.data(), Dev::kSampleRingBytes);
    ring_ = {};
    backend_.reset();
    Start60Hz();
    Prepare(0, InputMode::kAcVolt, 7, 0x24);
    Prepare(1, InputMode::kAcdcCurrent, 2, 0x72);
    for (const char* line : {"set source.frequency 57.3", "set source.amplitude 90",
                             "set source.ramp 40", "set source.harmonics 3:0.1:20,5:0.05:-70",
                             "set source.line_noise 0.01", "set source.dc 3"}) {
      EXPECT_EQ(Control(line), "ok") << line;
    }
    StartSampling();
    const auto start = clock_.Monotonic();
    const auto look_at = [&](double pairs) {
      clock_.AdvanceTo(start + platform::Nanoseconds(std::llround(pairs / 30720 * 1e9)));
      instrument_->Update();
    };
    look_at(100.5);
    Control("set source.on 1");
    for (double pairs = 100.5; pairs < 200000; pairs += step) look_at(pairs);
    look_at(200000.5);
    SetRange(0, 0x28);
    look_at(204000.5);
    return {ring_.begin(), ring_.end()};
  }
};

TEST_F(SameSamplesTest, AtAnyTimeForAnyReader) {
  const auto once = Record(300000);
  EXPECT_EQ(Record(777), once);
}

}  // namespace
}  // namespace simulator
