// Channels without a board: their words, figures and blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <fstream>
#include <libconfig.h++>
#include <numbers>
#include <thread>

#include "common/acquisition/filters.h"
#include "common/acquisition/ranging/channel_pair.h"
#include "common/xml/range_tables.h"
#include "tests/common/acquisition/ranging/sample_blocks.h"
#include "tests/common/xml/group_bench.h"
#include "tests/platform/bare_machine.h"

namespace {

using namespace AcquisitionSystem;  // NOLINT(google-build-using-namespace)
using Msg::ghmp;

constexpr int kPairs = 1024;
constexpr unsigned kOver = 1;
constexpr unsigned kBusy = 3;

class Channels : public testing::Test {
 protected:
  static Msg::HMPData& Data() {
    static libconfig::Config settings;
    return Msg::HMPData::GetHMPData(settings, Msg::MEAS_MODULE);
  }
  Channels() { ghmp->samplespercyc = 512; }
  ~Channels() override { acquisition::SetResetRequest(0); }

  /// One block of which the correlator has found `figures` and the status bits say `block`.
  int Give(const std::vector<int>& block, int low = -1000, int high = 1000) {
    const int pairs = static_cast<int>(block.size() / 2);
    for (AcqChan* channel : {static_cast<AcqChan*>(&first), static_cast<AcqChan*>(&second)}) {
      channel->StoreBlockFigures({.sample_count = pairs,
                                  .min_sample = low,
                                  .max_sample = high,
                                  .avg_sample = (low + high) / 2,
                                  .max_amplitude = (high - low) / 2,
                                  .variance = 1});
    }
    return pair.process_sample_buff(block.data(), pairs);
  }
  static std::vector<int> WithOverRange(int channel, int samples) {
    std::vector<int> block = CleanBlock(kPairs);
    for (int i = 0; i < samples; ++i) Mark(block, channel, 3 * i, kOver);
    return block;
  }

  platform::MachineInPlace<> machine;
  Msg::HMPData& data = Data();
  Dev::I2cMgr no_bus{"Mos.I2cMgr", 0};
  Dev::MeasChannel front_ends[2]{{no_bus, Msg::MEAS_MODULE, 0}, {no_bus, Msg::MEAS_MODULE, 1}};
  AcqChFollowing1 first{front_ends[0], Dev::MEAS_MOD};
  AcqChFollowing2 second{front_ends[1], Dev::MEAS_MOD};
  ChannelPair pair{first, second};
};

TEST_F(Channels, StatusWord) {
  EXPECT_EQ(first.get_status_flag(), Data_Not_Valid);
  const struct {
    unsigned short before, mask, bits, after;
  } cases[] = {{0xA5A5, 0xFFFF, 0xFFFF, 0xA5A5},
               {0x0201, 0x1E18, 0, 0x0200},
               {0xFFFF, 0x1E18, 0x0100, 0x1F18},
               {0x0041, 0xFFBF, 0, 0x0001},
               {0x1000, 0xFFFF, 0x0020, 0x1020}};
  for (const auto& c : cases) {
    first.set_status_flag(0, c.before);
    first.set_status_flag(c.mask, c.bits);
    EXPECT_EQ(first.get_status_flag(), c.after);
  }
}

TEST_F(Channels, ModeOfTheInput) {
  const AcqChFollowing1 source1(front_ends[0], Dev::SOURCE_MOD);
  const AcqChFollowing2 source2(front_ends[1], Dev::SOURCE_MOD);
  const auto set = [](int mode, int swapped, short source) {
    ghmp->measCh1_mode = ghmp->measCh2_mode = ghmp->srcCh3_mode = static_cast<Input_Mode>(mode);
    ghmp->swapchannels = swapped;
    ghmp->sourcemode = source;
  };
  const struct {
    int mode, swapped;
    short source;
    Input_Mode modes[4];  // both channels here, both on the source module
  } cases[] = {
      {0,
       0,
       Msg::internalHVVoltageSourceE,
       {Msg::AC_Volt, Msg::ACDC_Current, Msg::AC_Volt, Msg::ACDC_Current}},
      {0,
       1,
       Msg::internalHVVoltageSourceE,
       {Msg::AC_Volt, Msg::ACDC_Current, Msg::ACDC_Current, Msg::AC_Volt}},
      {7,
       0,
       Msg::internalHVVoltageSourceE,
       {Msg::AC_Volt, Msg::ACDC_Current, Msg::AC_Volt, Msg::ACDC_Current}},
      {1,
       0,
       Msg::internalHVVoltageSourceE,
       {Msg::ACDC_Current, Msg::ACDC_Current, Msg::ACDC_Current, Msg::AC_Volt}},
      {1,
       0,
       Msg::internalDCCurrentSourceE,
       {Msg::ACDC_Current, Msg::ACDC_Current, Msg::ACDC_Current, Msg::DC_Volt}},
      {3,
       0,
       Msg::internalDCCurrentSourceE,
       {Msg::DC_Volt, Msg::DC_Volt, Msg::DC_Volt, Msg::DC_Volt}},
  };
  for (const auto& c : cases) {
    set(c.mode, c.swapped, c.source);
    EXPECT_EQ(first.get_mode(), c.modes[0]) << c.mode;
    EXPECT_EQ(second.get_mode(), c.modes[1]) << c.mode;
    EXPECT_EQ(source1.get_mode(), c.modes[2]) << c.mode << c.swapped;
    EXPECT_EQ(source2.get_mode(), c.modes[3]) << c.mode << c.swapped;
  }
  set(0, 0, 0);
}

TEST_F(Channels, OverrangeCountsAboveFivePercent) {
  constexpr int kBoth = Ranging | Amplitude_exceeds_input_range;
  const struct {
    int samples, discards;
    bool acts;
  } cases[] = {{51, 0, false}, {52, 0, true}, {52, 1, false}, {340, 0, true}, {340, 9, false}};
  second.set_status_flag(0, Valid_Data);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.samples << " samples, discards " << c.discards);
    Give(CleanBlock(kPairs));
    Give(CleanBlock(kPairs));
    ASSERT_TRUE(second.full_cycle_statistics_available());
    ASSERT_EQ(second.get_status_flag(), Valid_Data);
    second.set_sample_discard_count(c.discards);
    const std::vector<int> block = WithOverRange(1, c.samples);
    pair.expect_block(block.data(), kPairs);
    EXPECT_EQ(second.get_status_flag(), Ranging) << "before any result has them";
    EXPECT_EQ(Give(block), 0);
    EXPECT_EQ(second.full_cycle_statistics_available(), !c.acts);
    EXPECT_EQ(second.get_CPLD_status_request(), c.acts ? 1 : 0);
    EXPECT_TRUE(first.full_cycle_statistics_available());
    EXPECT_EQ(second.get_status_flag(), c.acts ? kBoth : Ranging);
    EXPECT_EQ(first.get_status_flag(), Data_Not_Valid);
    second.set_sample_discard_count(1);
    EXPECT_EQ(pair.notify_samples_received(), 0);  // the request goes, and one discard
    EXPECT_EQ(second.get_CPLD_status_request(), 0);
    EXPECT_EQ(second.get_sample_discard_count(), 0);
  }
  ghmp->discharging = 1;
  Give(WithOverRange(1, 340));
  EXPECT_EQ(second.get_status_flag(), Ranging);
  ghmp->discharging = 0;
}

/// Channels on correlators of their own, fed as the producer does it.
class ClippedSignal : public Channels {
 protected:
  static constexpr double kFull = 8388607;

  ClippedSignal() {
    ghmp->SetFrequency(60);
    ghmp->sourcemode = Msg::internalLVVoltageSourceE;
    ghmp->measCh1_mode = Msg::AC_Volt;
    ghmp->measCh2_mode = Msg::ACDC_Current;
    ghmp->ChangeConsumerFlag(false, ~0U);
    ghmp->testStart = true;
  }
  ~ClippedSignal() override {
    AcqChan::set_SineCorrelators(nullptr, nullptr);
    ghmp->testStart = false;
  }
  void Make(int cycle) {
    ghmp->samplespercyc = cycle;
    filters = acquisition::CreateFilters({kPairs, 12500000, 32, cycle, cycle, 0});
    pair.set_SineCorrelators(filters.fast.get(), filters.slow.get());
    first.set_status_flag(0, Valid_Data);
    second.set_status_flag(0, Valid_Data);
    second.set_sample_discard_count(0);
    at = 0;
  }
  /// The next block; channel 2 has this amplitude, in full scales.
  void Feed(double amplitude, int cycle) {
    std::vector<int> block = CleanBlock(kPairs);
    for (int i = 0; i < kPairs; ++i, ++at) {
      const double angle = 2 * std::numbers::pi * static_cast<double>(at % cycle) / cycle;
      // the last block of each cycle has its peak
      const double wanted = amplitude * kFull * std::cos(angle + 0.1);
      const auto sample = std::lround(std::clamp(wanted, -kFull, kFull));
      int& word = block[static_cast<std::size_t>(2 * i + 1)];
      word = static_cast<int>(sample * 256) | (word & 0x1F);
      if (std::abs(wanted) > kFull) Mark(block, 1, i, kOver);
    }
    if (acquisition::GetResetRequest() == 0) {
      pair.expect_block(block.data(), kPairs);
      const auto [products, finished] = filters.slow->update(block.data(), kPairs);
      if (finished != nullptr) filters.slow->Published();
      for (int ch : {0, 1}) pair.Channel(ch).StoreBlockFigures(products.figures[ch]);
      if (filters.fast->updateF(products) != nullptr) filters.fast->Published();
      pair.process_sample_buff(block.data(), kPairs);
    }
    if (acquisition::GetResetRequest() != 0) pair.reset_sine_correlators();
  }
  /// Of channel 2 by the slow and the fast filter, in full scales.
  std::array<double, 2> Amplitudes() const {
    std::array<double, 2> amplitudes{};
    for (const bool fast : {false, true}) {
      const auto& filter = fast ? filters.fast : filters.slow;
      acquisition::phasortoo_t phasors[2]{};
      filter->GetPhasors(phasors);
      amplitudes.at(fast ? 1 : 0) = phasors[1].mag * std::numbers::sqrt2 /
                                    static_cast<double>(filter->GetRange(1)->ScalingFactor) / kFull;
    }
    return amplitudes;
  }

  acquisition::Filters filters;
  std::int64_t at = 0;
};

TEST_F(ClippedSignal, NeverMakesAValidResult) {
  const struct {
    int cycle;         ///< pairs: 60, 6 and 1 Hz
    double amplitude;  ///< full scales; a little above one clips few samples
  } cases[] = {{512, 1.5}, {512, 1.001}, {4096, 1.5}, {4096, 1.001}, {32768, 1.5}, {32768, 1.1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.cycle << " pairs a cycle, amplitude " << c.amplitude);
    Make(c.cycle);
    const int blocks = std::max(1, c.cycle / kPairs);
    for (int i = 0; i < 3 * blocks; ++i) Feed(0.5, c.cycle);
    ASSERT_EQ(second.get_status_flag(), Valid_Data);

    bool reported = false;
    for (int i = 0; i < 9 * blocks; ++i) {
      Feed(c.amplitude, c.cycle);
      reported = reported || (second.get_status_flag() & Amplitude_exceeds_input_range) != 0;
      if (i < blocks) continue;
      ASSERT_NE(second.get_status_flag() & Ranging, 0);
      ASSERT_EQ((second.get_status_flag() & Amplitude_exceeds_input_range) != 0, reported) << i;
    }
    ASSERT_TRUE(reported);

    int good = 0;
    for (; second.get_status_flag() != Valid_Data && good < 4 * blocks + 4; ++good) {
      Feed(0.5, c.cycle);
    }
    EXPECT_GT(good, blocks) << "a whole cycle of good samples";
    ASSERT_EQ(second.get_status_flag(), Valid_Data);
    for (const double amplitude : Amplitudes()) EXPECT_NEAR(amplitude, 0.5, 1e-6);
    pair.set_SineCorrelators(nullptr, nullptr);
  }
}

// What stands still, or is started again within a test, spoils results as well.
TEST_F(ClippedSignal, BrokenStreamMakesNoValidResultEither) {
  Make(4096);
  for (int i = 0; i < 6; ++i) Feed(0.5, 4096);
  ASSERT_EQ(second.get_status_flag(), Valid_Data);
  pair.stream_stands_still();
  int blocks = 0;
  for (; second.get_status_flag() == Data_Not_Valid && blocks < 20; ++blocks) Feed(0.25, 4096);
  EXPECT_GE(blocks, 4);
  ASSERT_EQ(second.get_status_flag(), Valid_Data);
  EXPECT_NEAR(Amplitudes()[0], 0.25, 1e-6) << "the sums have begun again";

  // a very slow cycle is not waited for, once the sums contain good samples only
  pair.stream_stands_still();
  second.Guard().AcceptOpenCycle(AcqChan::get_sums());
  EXPECT_EQ(second.get_status_flag(), Data_Not_Valid);
  for (int i = 0; i < 3; ++i) Feed(0.25, 4096);
  EXPECT_EQ(second.get_status_flag(), Data_Not_Valid);
  second.Guard().AcceptOpenCycle(AcqChan::get_sums());
  EXPECT_EQ(second.get_status_flag(), Valid_Data);

  pair.stream_began_again();
  for (int i = 0; i < 20; ++i) Feed(0.25, 4096);
  EXPECT_EQ(second.get_status_flag(), Data_Not_Valid) << "the board may have lost its set-up";
  AcqChan::begin_test();
  EXPECT_EQ(second.get_status_flag(), Valid_Data);
}

TEST_F(Channels, BlocksThatCount) {
  EXPECT_EQ(first.get_sample_sets_per_cycle(), 32);  // no block yet
  for (const int bad : {-1, 0, 4097}) {
    EXPECT_EQ(pair.process_sample_buff(nullptr, bad), -1);
  }
  Give(CleanBlock(4096), -50, 150);
  EXPECT_EQ(first.get_sample_sets_per_cycle(), 1);
  EXPECT_FALSE(first.full_cycle_statistics_available());  // one never suffices
  EXPECT_EQ(first.full_cycle_get_max_amplitude(), kNoAmplitude);
  Give(CleanBlock(kPairs), -50, 150);
  EXPECT_EQ(first.full_cycle_get_avg_sample(), 50);
  EXPECT_EQ(first.full_cycle_get_max_amplitude(), 100);

  std::vector<int> busy = CleanBlock(kPairs);
  Mark(busy, 0, 7, kBusy);
  Give(busy, -50, 150);
  EXPECT_EQ(first.full_cycle_get_avg_sample(), 0);
  EXPECT_EQ(second.full_cycle_get_avg_sample(), 50);

  ghmp->samplespercyc = 8 * kPairs;
  EXPECT_EQ(first.get_sample_sets_per_cycle(), 8);
  ghmp->sourcemode = Msg::internalDCCurrentSourceE;
  EXPECT_EQ(first.get_sample_sets_per_cycle(), 10);
  ghmp->sourcemode = 0;
  ghmp->samplespercyc = 0;
  EXPECT_EQ(first.get_sample_sets_per_cycle(), 32);

  std::vector<int> wrong = CleanBlock(kPairs);
  wrong[20] ^= 1;
  EXPECT_EQ(Give(wrong), -1);
  EXPECT_EQ(acquisition::GetResetRequest(), 0);
  std::vector<int> spoilt = CleanBlock(kPairs);
  for (int i : {5, 6, 7}) Mark(spoilt, 1, i, 2);
  EXPECT_EQ(Give(spoilt), 0);
  EXPECT_EQ(acquisition::GetResetRequest(), 2);
  EXPECT_EQ(second.get_CPLD_status_request(), 1);
}

TEST_F(Channels, EventsAndLatches) {
  EXPECT_EQ(AcqChFollowing::notify_both_channels(ACQ_EVT_QUIESCE), 0);
  EXPECT_EQ(AcqChFollowing::notify_both_channels(static_cast<EXTERNAL_EVENT>(14)), 0);
  for (AcqChan* channel : {AcqChan::get_AcqCh_instance(ACQ_CH1), static_cast<AcqChan*>(&second)}) {
    EXPECT_EQ(channel->GetEventCount(ACQ_EVT_QUIESCE), 1);
    EXPECT_EQ(channel->GetEventCount(ACQ_EVT_TYPES), 0);
  }
  first.set_just_recovered(1);
  EXPECT_EQ(first.get_just_recovered(), 1);
  EXPECT_EQ(first.get_just_recovered(), 0);
  first.set_sample_discard_count(1);
  EXPECT_EQ(first.sample_discard_countdown(), 1);
  EXPECT_EQ(first.sample_discard_countdown(), 0);
  EXPECT_EQ(first.get_last_cpld_range(), -1);
}

TEST_F(Channels, CorrelatorsStartATest) {
  ghmp->testype = Msg::TEST_HVTTR;
  ghmp->curange = ghmp->voltrange = 3;
  ghmp->frequency = 60;
  Give(CleanBlock(kPairs));
  double deviations[2] = {};
  EXPECT_EQ(AcqChan::get_standard_dev(deviations), -1);
  acquisition::Filters filters =
      acquisition::CreateFilters({kPairs, 12500000, 32, 4 * kPairs, 4 * kPairs, 0});
  pair.set_SineCorrelators(filters.fast.get(), filters.slow.get());
  ghmp->samplespercyc = 4 * kPairs;
  EXPECT_EQ(ghmp->testype, Msg::TEST_NONE);
  EXPECT_EQ(ghmp->curange, 0);
  EXPECT_EQ(first.get_control_type(), RNG_CONTROL_AUTO);
  EXPECT_EQ(first.get_range_info_in_use()->RangeCode, 36U);
  EXPECT_EQ(second.get_range_info_in_use()->RangeCode, 42U);
  EXPECT_EQ(first.init_test_parameters(), 1);
  EXPECT_EQ(first.get_sample_discard_count(), 4 + 2);
  EXPECT_EQ(AcqChan::get_standard_dev(deviations), 0);
  EXPECT_TRUE(AcqChan::phasors_stable(filters.fast.get()));
  EXPECT_FALSE(AcqChan::phasors_stable(nullptr));

  ghmp->vlfthreshold = 1;
  ghmp->frequency = 0.1F;
  second.init_test_parameters();
  EXPECT_EQ(second.get_sample_discard_count(), 2);
  acquisition::SineCorrelator::SetCycleComplete(false);
  EXPECT_FALSE(AcqChan::phasors_stable(filters.fast.get()));
  ghmp->vlfthreshold = 0;

  acquisition::SetResetRequest(1);
  EXPECT_FALSE(
      acquisition::ReplaceResetRequest(2, 0));  // a thread that knows less takes no request
  first.set_sample_discard_count(9);
  pair.reset_sine_correlators();
  EXPECT_EQ(acquisition::GetResetRequest(), 0);
  EXPECT_EQ(first.get_sample_discard_count(), 1);
  EXPECT_FALSE(first.full_cycle_statistics_available());

  ghmp->testype = Msg::TEST_HVTTR;
  pair.set_SineCorrelators(nullptr, nullptr);
  EXPECT_EQ(ghmp->testype, Msg::TEST_HVTTR);  // an end sets nothing up
  EXPECT_EQ(AcqChan::get_sineCorr_Slow(), nullptr);
}

TEST_F(Channels, CaptureContainsThePairs) {
  SignalCalculator::SignalStatistics statistics(first, second);
  EXPECT_EQ(statistics.CaptureToFile(nullptr), -1);
  EXPECT_EQ(statistics.CaptureToFile(CleanBlock(512).data()), -1);  // no such directory yet
  std::filesystem::create_directories(machine.root / "var/volatile");
  std::vector<int> block = CleanBlock(512);
  block[2] = static_cast<int>(0x80000041);
  block[3] = 0x7FFFFF00;
  EXPECT_EQ(statistics.CaptureToFile(block.data()), 0);
  std::ifstream file(machine.root / "var/volatile/datablock.txt");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 513U);
  EXPECT_EQ(lines[0], "   CH1DEC       CH2DEC       CH1HEX     CH2HEX");
  EXPECT_EQ(lines[2], "    -8388608      8388607 0x80000041 0x7fffff00 ");
}

// What the producer stores is read whole.
TEST_F(Channels, ReadersSeeWholeBlocks) {
  std::atomic<bool> stop{false};
  std::thread producer([&] {
    const std::vector<int> block = CleanBlock(kPairs);
    for (int k = 1; k <= 3000; ++k) Give(block, -k, 3 * k);
    stop = true;
  });
  std::thread handler([&] {
    while (!stop) {
      first.set_status_flag(kStatusKeepMask, Data_Not_Valid);
      first.set_sample_discard_count(2);
      first.full_cycle_reset_statistics();
      std::this_thread::yield();
    }
  });
  while (!stop) {
    const acquisition::BlockFigures figures = first.GetBlockFigures();
    ASSERT_EQ(figures.max_sample, -3 * figures.min_sample);
    ASSERT_EQ(figures.avg_sample, -figures.min_sample);
    ASSERT_EQ(pair.notify_samples_received(), 0);
    ASSERT_GT(first.full_cycle_get_max_amplitude(), 0);
  }
  producer.join();
  handler.join();
}

// --- Range tables ---

class RangeTables : public xml_bench::GroupTest {
 protected:
  ~RangeTables() override { Dev::SetRangeTables(nullptr); }
};

TEST_F(RangeTables, EntriesOrDefaults) {
  libconfig::Config settings;
  Msg::HMPData::GetHMPData(settings, Msg::MEAS_MODULE);
  Dev::I2cMgr no_bus{"Mos.I2cMgr", 0};
  Dev::MeasChannel front_end(no_bus, Msg::MEAS_MODULE, 0);
  AcqChFollowing1 input(front_end, Dev::MEAS_MOD);
  EXPECT_EQ(input.find_range_index(2, Msg::AC_Volt), -1);
  EXPECT_EQ(input.get_range_table_ent(Msg::DCIR, 1), Dev::temp_range_info(Msg::DCIR));

  WriteChannels();
  WriteUploads();
  Dev::EepromGroup group(module, chips, errors);
  ASSERT_EQ(group.ReadEeDataFromXml(err), 0);
  Dev::SetRangeTables(&group);
  const Dev::range_table* table = group.GetRangeTable(0, Msg::AC_Volt);
  ASSERT_EQ(table->num_ents, 3);
  for (int index = 1; index <= 3; ++index) {
    const mode_range_table_ent* entry = input.get_range_table_ent(Msg::AC_Volt, index);
    EXPECT_EQ(entry, &table->ent[index - 1]);
    EXPECT_EQ(input.find_range_index(entry, Msg::AC_Volt), index);
    const auto code = static_cast<unsigned char>(entry->RangeCode);
    EXPECT_EQ(input.find_range_index(code), index);  // its mode is AC voltage
    EXPECT_EQ(input.find_range_index(code, Msg::ACDC_Current), -1);
  }
  for (const int index : {-1, 0, 4}) {
    EXPECT_EQ(input.get_range_table_ent(Msg::AC_Volt, index), Dev::temp_range_info(Msg::AC_Volt));
  }
  for (const int mode : {-1, 0, 5}) EXPECT_EQ(input.get_range_table_ent(mode, 1), nullptr);
}

}  // namespace
