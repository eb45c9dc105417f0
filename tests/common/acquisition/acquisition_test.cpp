// Blocks on their way from the driver's ring to the filters and the consumer.
#include "common/acquisition/acquisition.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <libconfig.h++>
#include <numeric>
#include <random>
#include <thread>

#include "common/acquisition/sample_channel.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/signalh/signal_shared.h"
#include "tests/common/acquisition/scripted_driver.h"

namespace acquisition {
namespace {

using Msg::ghmp;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct QuietChannel final : SampleChannel {
  void StoreBlockFigures(const BlockFigures&) override {}
  const Dev::mode_range_table_ent* get_range_info_in_use() const override { return &entry; }
  int get_range_index() const override { return 1; }
  int get_last_cpld_range() const override { return 0; }
  void set_CPLD_status_request() override {}
  std::uint16_t get_status_flag() const override { return 0; }
  const char* status_text() const override { return ""; }

  Dev::mode_range_table_ent entry{};
};

/// Notes which blocks reach the statistics, which are the blocks that the correlators got.
class RecordingChannels final : public SampleChannels {
 public:
  SampleChannel& Channel(int channel) override { return pair[static_cast<std::size_t>(channel)]; }
  void set_SineCorrelators(SineCorrelator* fast, SineCorrelator* slow) override {
    has_filters = fast != nullptr && slow != nullptr;
  }
  void reset_sine_correlators() override {
    ++resets;
    SetResetRequest(0);
  }
  void expect_block(const int*, int) override {}
  void stream_stands_still() override { ++standstills; }
  void stream_began_again() override { ++restarts; }
  int process_sample_buff(const int* block, int pairs) override {
    if (!has_filters) ++without_filters;
    const int number = block[0] >> 8;
    for (int i = 0; i < 2 * pairs; ++i) torn += block[i] >> 8 != number;
    const std::lock_guard lock(mutex);
    blocks.push_back(number);
    return 0;
  }
  int notify_samples_received() override {
    ++events;
    if (!has_filters) ++without_filters;
    return 0;
  }
  std::vector<int> TakeBlocks() {
    const std::lock_guard lock(mutex);
    return std::exchange(blocks, {});
  }

  std::array<QuietChannel, 2> pair;
  std::atomic<bool> has_filters{false};
  std::atomic<int> without_filters{0};
  std::atomic<int> torn{0};
  std::atomic<int> resets{0};
  std::atomic<int> events{0};
  std::atomic<int> standstills{0};
  std::atomic<int> restarts{0};
  std::mutex mutex;
  std::vector<int> blocks;
};

class AcquisitionTest : public testing::Test {
 protected:
  AcquisitionTest() {
    Msg::HMPData& data = Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE);
    signalh::Share({data, data, data, data, data});
    ghmp->interruptspersec = 50;
    ghmp->minsamplingrate = 25000;
    ghmp->maxsamplingrate = 50000;
    ghmp->consumerbacklog = 4;
    ghmp->testype = Msg::TEST_HVVFPF;
    ghmp->SetFrequency(60.0F);
    ghmp->meas_status = 1;
    ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
    SetResetRequest(0);
    for (const char* directory : {"/var/volatile", "/tmp"}) {
      std::filesystem::create_directories(machine.backend.Path(directory));
    }
    fd = platform::Machine().Open(Dev::kFpgaDevicePath, O_RDWR);
    acquisition = std::make_unique<Acquisition>(
        fd, Acquisition::Outputs{channels, Correct::GetCorrect(), elec::GetElec()});
  }
  ~AcquisitionTest() override {
    acquisition.reset();
    platform::Machine().Close(fd);
  }
  void Start() {
    ASSERT_EQ(acquisition->SetMeasurementParameters({}), 0);
    ASSERT_EQ(acquisition->StartAcquisition(), 0);
  }

  libconfig::Config config;
  platform::MachineInPlace<ScriptedDriver> machine;
  ScriptedDriver& driver = machine.instrument;
  RecordingChannels channels;
  int fd = -1;
  std::unique_ptr<Acquisition> acquisition;
};

TEST_F(AcquisitionTest, EveryBlockIsHandledOnceAcrossTheEndsOfRingAndPool) {
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  Start();
  EXPECT_EQ(driver.block_bytes, 8192U);
  constexpr int kBlocks = 4 * 512 + 300;  // more than the pool holds, and eight rings
  for (int done = 0; done < kBlocks; done += 2) {
    driver.Produce(2);
    driver.AwaitIdle();
  }
  std::vector<int> all(kBlocks);
  std::iota(all.begin(), all.end(), 1);
  EXPECT_THAT(channels.TakeBlocks(), ElementsAreArray(all));
  EXPECT_EQ(acquisition->Counts().GetSampleBlockCount(), kBlocks);
  EXPECT_EQ(acquisition->StopAcquisition(), 0);
  EXPECT_EQ(acquisition->Counts().GetSampleBlockCount(), 0);
  EXPECT_EQ(acquisition->Counts().GetConsumerBlockCount(), 0);
  EXPECT_GE(channels.events, 1);
  EXPECT_EQ(channels.torn, 0);
}

// What a jump of the counter does, in each state that decides about it.
TEST_F(AcquisitionTest, ShedsWorkOnlyWhereThatIsAllowed) {
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  const struct {
    const char* what;
    int jump;  ///< blocks reported at once, after one block
    int lost;  ///< so many of them first are not in the ring
    bool consumer_flag;
    short meas_status;
    std::vector<int> processed;
    int resets;
  } kCases[] = {
      {"the limit itself is not behind; a status of 0 processes all", 2, 0, false, 0, {2, 3}, 0},
      {"any other sheds, and the sums begin again", 2, 0, false, 1, {3}, 1},
      {"what was counted but never written is no block", 2, 1, false, 0, {3}, 1},
      {"one page more is: all is dumped", 3, 0, false, 0, {}, 1},
      {"with the flag up only the newest counts", 3, 0, true, 0, {4}, 1},
      {"with the flag up nothing counts as behind", 100, 0, true, 0, {101}, 1},
      {"more than the ring holds is lost in any case", 257, 0, true, 0, {}, 1},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.what);
    ghmp->ChangeConsumerFlag(row.consumer_flag, Msg::eConsChanger_MOS);
    ghmp->meas_status = row.meas_status;
    channels.resets = 0;
    Start();
    driver.Produce(1);
    driver.AwaitIdle();
    EXPECT_THAT(channels.TakeBlocks(), ElementsAre(1));
    driver.Lose(row.lost);
    driver.ProduceAtOnce(row.jump - row.lost);
    driver.AwaitIdle();
    EXPECT_THAT(channels.TakeBlocks(), ElementsAreArray(row.processed));
    EXPECT_EQ(channels.resets, row.resets);
    // it goes on with the next one
    driver.Produce(1);
    driver.AwaitIdle();
    EXPECT_THAT(channels.TakeBlocks(), ElementsAre(row.jump + 2));
    // a block that is only half new is none
    driver.ProduceHalf();
    driver.Produce(1);
    driver.AwaitIdle();
    EXPECT_THAT(channels.TakeBlocks(), ElementsAre(row.jump + 4));
    EXPECT_EQ(channels.resets, row.resets + 1);
    EXPECT_EQ(acquisition->StopAcquisition(), 0);
    driver.AwaitUnread();
  }
}

// Work is shed between two cycles, so that the sums of the one that is open stay whole.
TEST_F(AcquisitionTest, ACycleOfManyBlocksIsFinishedBeforeWorkIsShed) {
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  ghmp->consumerbacklog = 100;
  ASSERT_EQ(acquisition->SetMeasurementParameters({.samplesPerCycle = 4 * kTestPairs}), 0);
  ASSERT_EQ(acquisition->StartAcquisition(), 0);
  driver.Produce(1);
  driver.AwaitIdle();
  driver.ProduceAtOnce(6);
  driver.AwaitIdle();
  EXPECT_THAT(channels.TakeBlocks(), ElementsAre(1, 2, 3, 4, 7));
  EXPECT_EQ(channels.resets, 1);
  EXPECT_EQ(acquisition->SlowFilter()->GetCycleCount(), 1);
}

TEST_F(AcquisitionTest, AnOddOrStoppedCounterDoesNotStopTheStream) {
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  Start();
  driver.Produce(3);
  driver.AwaitIdle();
  channels.TakeBlocks();
  driver.Report(7);  // half a block
  driver.Report(6);  // as before
  driver.AwaitIdle();
  EXPECT_THAT(channels.TakeBlocks(), IsEmpty());
  driver.Produce(1);
  driver.AwaitIdle();
  EXPECT_THAT(channels.TakeBlocks(), ElementsAre(4));
}

// A driver that has begun again shows it by its counter, or its reads fail.
TEST_F(AcquisitionTest, ADriverThatBeginsAgainIsStartedAgain) {
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  for (const bool in_test : {false, true}) {
    for (const bool by_reads : {false, true}) {
      SCOPED_TRACE(testing::Message() << "test " << in_test << ", reads fail " << by_reads);
      ghmp->testStart = true;
      ghmp->firstUpdate = in_test;
      ghmp->ClearErrorCodes();
      channels.restarts = 0;
      Start();
      driver.Produce(5);
      driver.AwaitIdle();
      channels.TakeBlocks();
      driver.Restart(by_reads);
      if (by_reads) {
        ASSERT_TRUE(machine.clock.AwaitBlocked(2)) << "it does not spin";
        machine.clock.Advance(std::chrono::milliseconds(100));
      }
      driver.AwaitSampling();
      EXPECT_EQ(driver.block_bytes, 8192U);
      driver.Produce(2);
      driver.AwaitIdle();
      EXPECT_THAT(channels.TakeBlocks(), ElementsAre(1, 2));
      EXPECT_EQ(channels.torn, 0) << "the ring is the new one";
      EXPECT_EQ(channels.restarts, in_test ? 1 : 0);
      EXPECT_EQ(ghmp->IsErrorCodeNew(Msg::NAK_MCODE_MOS_ACQSTOP), !in_test);
      EXPECT_EQ(acquisition->StopAcquisition(), 0);
      driver.AwaitUnread();
    }
  }
  ghmp->testStart = ghmp->firstUpdate = false;
}

TEST_F(AcquisitionTest, AStreamThatStopsInATestIsReported) {
  using std::chrono::milliseconds;
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  Start();
  driver.Produce(1);
  driver.AwaitIdle();
  const auto pass = [&](int ticks) {
    for (int i = 0; i < ticks; ++i) {
      machine.clock.Advance(milliseconds(100));
      // until the watch has looked
      while (machine.clock.NextDeadline().value_or(machine.clock.Monotonic()) <=
             machine.clock.Monotonic()) {
        std::this_thread::yield();
      }
    }
  };
  pass(20);
  EXPECT_EQ(channels.standstills, 0) << "no test wants samples";
  ghmp->testStart = true;
  pass(20);
  EXPECT_EQ(channels.standstills, 0) << "the test has not set its clock";
  ghmp->firstUpdate = true;
  ghmp->ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  pass(20);
  EXPECT_EQ(channels.standstills, 0) << "the clock changes";
  ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
  pass(8);
  EXPECT_EQ(channels.standstills, 0);
  pass(5);
  EXPECT_EQ(channels.standstills, 1);
  EXPECT_FALSE(ghmp->IsErrorCodeNew(Msg::NAK_MCODE_MOS_ACQSTOP));
  const int resets = channels.resets;
  driver.Produce(1);
  driver.AwaitIdle();
  EXPECT_EQ(channels.resets, resets + 1) << "the sums begin again";
  EXPECT_THAT(channels.TakeBlocks(), ElementsAre(1, 2));
  pass(15);
  EXPECT_EQ(channels.standstills, 2);
  ghmp->testStart = false;
}

// The daemon as a whole is held up: no look in between, and the first block may be an old one.
TEST_F(AcquisitionTest, AfterADelayOfTheDaemonResultsAreStaleUntilANewBlock) {
  using std::chrono::milliseconds;
  EXPECT_FALSE(acquisition->IsStale());
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  const struct {
    const char* what;
    float hertz;
    bool updated;
    int held_ms;
    bool stale;
  } cases[] = {{"a short one", 60, true, 900, false},
               {"a long one", 60, true, 1500, true},
               {"without an update", 60, false, 1500, false},
               {"within three slow blocks", 0.5F, true, 6100, false},
               {"beyond them", 0.5F, true, 6300, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ghmp->testStart = true;
    ghmp->firstUpdate = c.updated;
    Start();
    ghmp->SetFrequency(c.hertz);
    ghmp->samplespercyc = kTestPairs;  // a block is a cycle
    EXPECT_FALSE(acquisition->IsStale()) << "before the first block";
    driver.Produce(1);
    driver.AwaitIdle();
    machine.clock.Advance(milliseconds(c.held_ms));
    EXPECT_EQ(acquisition->IsStale(), c.stale);
    driver.Produce(1);
    driver.AwaitIdle();
    EXPECT_EQ(acquisition->IsStale(), c.stale) << "it may have come long ago";
    driver.Produce(1);
    driver.AwaitIdle();
    EXPECT_FALSE(acquisition->IsStale());
    machine.clock.Advance(std::chrono::hours(1));
    acquisition->StopAcquisition();
    EXPECT_EQ(acquisition->IsStale(), c.updated) << "a test goes on without samples";
  }
  ghmp->testStart = ghmp->firstUpdate = false;
}

TEST_F(AcquisitionTest, AResetRequestIsServedAtTheNewestBlockAndKeepsBlocksFromTheFilters) {
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  Start();
  SetResetRequest(1);
  driver.Produce(1);
  driver.AwaitIdle();
  EXPECT_EQ(channels.resets, 0) << "one further block";
  EXPECT_EQ(GetResetRequest(), 2);
  driver.Produce(2);
  driver.AwaitIdle();
  EXPECT_EQ(channels.resets, 1);
  EXPECT_THAT(channels.TakeBlocks(), ElementsAre(3));

  // withdrawn, it has left a gap all the same
  SetResetRequest(1);
  driver.Produce(1);
  driver.AwaitIdle();
  SetResetRequest(0);
  driver.Produce(1);
  driver.AwaitIdle();
  EXPECT_EQ(channels.resets, 2);
  EXPECT_THAT(channels.TakeBlocks(), ElementsAre(5));
}

TEST_F(AcquisitionTest, AnOverrunIsLoggedOnceAndCleared) {
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  Start();
  {
    const std::lock_guard lock(driver.mutex);
    driver.overflows = 3;
  }
  driver.Produce(2);
  driver.AwaitIdle();
  EXPECT_FALSE(ghmp->IsErrorCodeNew(Msg::NAK_MCODE_MOS_ACQ_OVERFLOW));
  EXPECT_EQ(driver.overflows, 0);
  EXPECT_THAT(channels.TakeBlocks(), ElementsAre(1, 2));
}

TEST_F(AcquisitionTest, WithoutARingNothingStarts) {
  driver.map_fails = true;
  EXPECT_EQ(acquisition->InitAcquisition(), -1);
  EXPECT_EQ(acquisition->SetMeasurementParameters({}), 0);
  EXPECT_EQ(acquisition->StartAcquisition(), -1);
  EXPECT_EQ(acquisition->StopAcquisition(), 0);
}

// The blocks of a run follow one another without a gap, whenever it is stopped, and no thread sees
// a filter that is gone.
TEST_F(AcquisitionTest, StopsAndStartsAtAnyMoment) {
  ASSERT_EQ(acquisition->InitAcquisition(), 0);
  ghmp->consumerbacklog = 1 << 20;
  ghmp->meas_status = 0;
  // the ring holds 256 blocks, and the machine may be busy
  constexpr std::size_t kMostUnread = 100;
  std::atomic<bool> ends{false};
  std::thread pace([&] {
    while (!ends) {
      if (driver.Unread() < kMostUnread) driver.Produce(1);
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  });
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> pause(0, 3000);
  for (int run = 0; run < 100; ++run) {
    Start();
    std::this_thread::sleep_for(std::chrono::microseconds(pause(random)));
    ASSERT_EQ(acquisition->StopAcquisition(), 0);
    const std::vector<int> blocks = channels.TakeBlocks();
    std::vector<int> expected(blocks.size());
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_THAT(blocks, ElementsAreArray(expected));
  }
  ends = true;
  pace.join();
  EXPECT_EQ(channels.without_filters, 0);
  EXPECT_EQ(channels.torn, 0);
}

}  // namespace
}  // namespace acquisition
