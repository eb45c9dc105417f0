// The test state and two channels that keep what they are given, for tests of acquisition.
#pragma once

#include <gtest/gtest.h>

#include <libconfig.h++>

#include "common/acquisition/sample_channel.h"
#include "common/msg/state/hmp_data.h"
#include "tests/platform/bare_machine.h"

namespace acquisition_test {

struct TestChannel : acquisition::SampleChannel {
  void StoreBlockFigures(const acquisition::BlockFigures& stored) override { figures = stored; }
  const Dev::mode_range_table_ent* get_range_info_in_use() const override { return range; }
  int get_range_index() const override { return range_index; }
  int get_last_cpld_range() const override { return cpld_range; }
  void set_CPLD_status_request() override { ++cpld_requests; }
  std::uint16_t get_status_flag() const override { return status; }
  const char* status_text() const override { return ""; }

  acquisition::BlockFigures figures;
  Dev::mode_range_table_ent entry{};
  const Dev::mode_range_table_ent* range = &entry;
  int range_index = 1;
  int cpld_range = -1;
  std::uint16_t status = 0;
  int cpld_requests = 0;
};

struct TestChannels : acquisition::SampleChannels {
  acquisition::SampleChannel& Channel(int channel) override { return channels[channel]; }
  void set_SineCorrelators(acquisition::SineCorrelator* its_fast,
                           acquisition::SineCorrelator* its_slow) override {
    fast = its_fast;
    slow = its_slow;
  }
  void reset_sine_correlators() override {}
  void expect_block(const int*, int) override {}
  void stream_stands_still() override {}
  void stream_began_again() override {}
  int process_sample_buff(const int*, int) override { return 0; }
  int notify_samples_received() override { return 0; }

  TestChannel channels[2];
  acquisition::SineCorrelator* fast = nullptr;
  acquisition::SineCorrelator* slow = nullptr;
};

class AcquisitionTest : public testing::Test {
 protected:
  AcquisitionTest() { Msg::ghmp.Set(&data); }
  ~AcquisitionTest() override { Msg::ghmp.Set(nullptr); }

  platform::MachineInPlace<> machine;
  libconfig::Config config;
  Msg::HMPData data{config, Msg::MEAS_MODULE};
  TestChannels channels;
};

}  // namespace acquisition_test
