// The sampling clock on the virtual instrument: what its chip says that it makes.
#include <gmock/gmock.h>

#include "common/dev/sclk/clock_plan.h"
#include "common/dev/sclk/spclk_dev.h"
#include "platform/backend.h"
#include "platform/fake_clock.h"
#include "platform/local.h"
#include "simulator/control.h"
#include "simulator/virtual_instrument.h"
#include "tests/common/dev/sclk/rational.h"
#include "tests/platform/temporary_root.h"

namespace {

using sclk_test::Rational;

class VirtualClock : public testing::Test {
 protected:
  VirtualClock() {
    EXPECT_EQ(instrument.Problem(), "");
    clock.SetAutoAdvance(true);
  }
  std::string Chip(const std::string& line) {
    const std::size_t name = line.find(' ') + 1;
    return simulator::AnswerControlLine(
        instrument.Units(), line.substr(0, name) + "i2c.SIGNAL_HOST.SI5338." + line.substr(name));
  }

  platform::TemporaryRoot root;
  platform::FakeClock clock;
  simulator::Config config;
  simulator::VirtualInstrument instrument{config, root.Path(), clock};
  platform::LocalBackend backend{instrument, clock, root.Path()};
  platform::ScopedBackend scope{backend};
};

TEST_F(VirtualClock, TheChipMakesTheFrequency) {
  Dev::SpclkDev* spclk = Dev::SpclkDev::GetDevice();
  ASSERT_NE(spclk, nullptr);
  for (const float hertz : {60.0F, 50.0F, 400.0F, 16.5F, 1.0F}) {
    SCOPED_TRACE(hertz);
    ASSERT_EQ(spclk->SetDefaultParamters(), 0);
    ASSERT_EQ(spclk->SetSamplesPerCyc(hertz > 100 ? 64 : 512), 0);
    ASSERT_GT(spclk->SetWfSamplesPerCyc(hertz), 0);
    ASSERT_EQ(spclk->SetTestFrequency(hertz), 0);
    ASSERT_EQ(spclk->Update(0), 0);
    const Rational clk0 = sclk_test::ToRational(spclk->GetParams().op[0].clkx_freq) * 1000000;
    EXPECT_EQ(denominator(clk0), 1);
    EXPECT_EQ(Chip("get clk0"), "ok " + numerator(clk0).str() + " Hz");
    EXPECT_EQ(Chip("get reserved_writes"), "ok 0");
  }
  // 50.1 Hz is not exact, but this close
  ASSERT_EQ(spclk->SetTestFrequency(50.1F), 0);
  ASSERT_EQ(spclk->SetSamplesPerCyc(512), 0);
  ASSERT_EQ(spclk->Update(0), 0);
  EXPECT_THAT(Chip("get clk0"), testing::HasSubstr(" = 13133413.8757"));
}

}  // namespace
