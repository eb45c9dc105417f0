// The waveform generator's memory: every sample against an independent sine, and what the driver
// and the memory may refuse.
#include <cmath>
#include <numbers>

#include "common/dev/fpga/driver_version.h"
#include "common/dev/fpga/waveform_samples.h"
#include "common/dev/fpga/waveform_source.h"
#include "tests/common/dev/fpga/fpga_driver.h"

namespace {

using fpga_test::Driver;
using fpga_test::FpgaTest;
using Samples = std::vector<std::int16_t>;

constexpr long double kTurn = 2 * std::numbers::pi_v<long double>;

// Within half a count, and a little for the double precision of a value that lies between two.
void ExpectSine(const Samples& samples, std::size_t first, std::size_t size, long double peak) {
  for (std::size_t i = 0; i < size; ++i) {
    const long double exact = peak * std::sin(kTurn * static_cast<long double>(i) / size);
    ASSERT_LE(std::fabs(samples[first + i] - exact), 0.5000001L) << i << " of " << size;
  }
}

class WaveformTest : public FpgaTest {
 protected:
  // no waveform goes down to -32768: what was not written shows
  void Spoil(std::size_t bytes) { driver.Spoil(bytes, -32768); }
};

TEST_F(WaveformTest, NormalBuffersContainTheWaveAndItsOpposite) {
  for (int size = 4; size <= 4096; size *= 2) {
    const auto cycle = static_cast<std::size_t>(size);
    Spoil(Dev::kWaveformBytes);
    driver.Reset({{20, 0x0452}});
    EXPECT_EQ(Dev::wf_fill_source_buffer(size, Dev::kSineSignal), 0);
    const Samples samples = driver.Samples(Dev::kWaveformBytes);
    ExpectSine(samples, 0, cycle, 32767);
    ExpectSine(samples, 4096, cycle, -32767);
    EXPECT_EQ(*std::max_element(samples.begin(), samples.end()), 32767);
    EXPECT_EQ(driver.writes, (Driver::Writes{{20, 0x0612}, {20, 0x0412}}));
    EXPECT_EQ(driver.dma, std::vector<unsigned>{0});
    driver.dma.clear();
  }
  for (const int type : {Dev::kPositiveDcSignal, Dev::kNegativeDcSignal}) {
    Spoil(Dev::kWaveformBytes);
    EXPECT_EQ(Dev::wf_fill_source_buffer(256, type), 0);
    const Samples samples = driver.Samples(Dev::kWaveformBytes);
    const int peak = type == Dev::kPositiveDcSignal ? 32767 : -32767;
    for (std::size_t i = 0; i < 256; ++i) {
      ASSERT_EQ(samples[i], peak);
      ASSERT_EQ(samples[4096 + i], -peak);
    }
  }
  for (const int size : {-4, 2, 100, 8192}) {
    driver.Reset();
    EXPECT_EQ(Dev::wf_fill_source_buffer(size, 0), -34) << size;
    EXPECT_TRUE(driver.writes.empty());
  }
  EXPECT_EQ(Dev::wf_clear_source_buffer(), 0);
  const Samples samples = driver.Samples(Dev::kWaveformBytes);
  EXPECT_TRUE(std::all_of(samples.begin(), samples.begin() + 4097, [](int s) { return s == 0; }));
}

TEST_F(WaveformTest, TheHighSpeedSineIsBuiltOnceUntilASweep) {
  const auto fill = [this](int type) {
    driver.Reset({{20, 0x1410}});
    driver.dma.clear();
    EXPECT_EQ(Dev::wf_fill_source_buffer(0x40000, type), 0);
    EXPECT_EQ(driver.dma, std::vector<unsigned>{8});
    EXPECT_EQ(driver.writes, (Driver::Writes{{20, 0x0650}}));
  };
  constexpr std::size_t kBytes = Dev::kFastWaveformBytes;
  Spoil(kBytes);
  Spoil(Dev::kWaveformBytes);
  fill(Dev::kSineSignal);
  ExpectSine(driver.Samples(kBytes), 0, Dev::kHighSpeedCycle, 32767);
  EXPECT_EQ(driver.Samples(Dev::kWaveformBytes), Samples(8192, 0));

  Spoil(kBytes);
  fill(Dev::kSineSignal);
  EXPECT_EQ(driver.Samples(kBytes)[77], -32768);
  fill(Dev::kNegativeDcSignal);  // a chirp
  fill(Dev::kSineSignal);
  const std::int16_t chirp = driver.Samples(kBytes)[0x8000];
  fill(Dev::kPositiveDcSignal);
  EXPECT_EQ(driver.Samples(kBytes)[0x8000], chirp);
  fill(Dev::kSweepSignal);
  fill(Dev::kSineSignal);
  ExpectSine(driver.Samples(kBytes), 0, Dev::kHighSpeedCycle, 32767);
}

// Truncated to a whole count, so within one of the exact value and a little for double precision.
void ExpectTruncated(std::int16_t sample, long double exact, long double slack, std::size_t i) {
  ASSERT_LE(std::fabs(sample - exact), 1 + slack) << i;
  ASSERT_LE(std::fabs(static_cast<long double>(sample)), std::fabs(exact) + slack) << i;
}

TEST_F(WaveformTest, ANewDriverPlaysARunInBeforeTheSine) {
  constexpr std::size_t kBytes = Dev::kFastWaveformBytesLarge;
  driver.version = "0.90\n";
  Spoil(kBytes);
  EXPECT_EQ(Dev::wf_fill_source_buffer(0x40000, Dev::kSineSignal), 0);
  const Samples samples = driver.Samples(kBytes);
  ExpectSine(samples, 0x8000, Dev::kHighSpeedCycle, 32767);
  // the phase is the integral of a frequency that falls from n to 1 over an eighth of a cycle
  const long double n = 27.518892892893L;
  const long double decay = 8 * std::log(n);
  for (std::size_t i = 0; i < 0x8000; ++i) {
    const long double x = static_cast<long double>(i) / 0x8000;
    const long double turns = n * (1 - std::exp(-decay * x / 8)) / decay;
    ExpectTruncated(samples[i], std::sin(kTurn * turns) * x * x * x * 32767, 1e-6L, i);
  }
  // and ends where the sine begins, within a count
  EXPECT_LT(std::fabs(std::sin(kTurn * (n - 1) / decay)) * 32767, 1);
}

TEST_F(WaveformTest, ChirpAndSweepAgainstTheirFormulas) {
  Samples samples(Dev::kHighSpeedCycle);
  Dev::FillChirp(samples);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const long double taper = i <= 157286   ? 1.0L
                              : i <= 235929 ? 1 - (i - 157286) / (0.3L * 262144)
                                            : 0.0L;
    const long double turns = i / (65536 - 0.25L * i);
    ExpectTruncated(samples[i], -std::sin(kTurn * turns) * 32767 * taper, 1e-4L, i);
  }
  Dev::FillSweep(samples);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const long double at = i;
    const long double turns = at / 65536 + (7.0L / 65536 / 262144) * at * at / 2;
    ExpectTruncated(samples[i], -std::sin(kTurn * turns) * 32767, 1e-6L, i);
  }
}

TEST_F(WaveformTest, ARefusedMemoryOrDriverDoesNotStopTheRest) {
  driver.unmappable = {Dev::kWaveformBytes};
  driver.Reset({{20, 0x40}});
  EXPECT_EQ(Dev::wf_fill_source_buffer(256, 0), 0);
  EXPECT_EQ(Dev::wf_clear_source_buffer(), -1);
  EXPECT_EQ(Dev::wf_fill_source_buffer(0x40000, 0), 0);
  EXPECT_TRUE(driver.writes.empty());
  EXPECT_EQ(driver.dma, std::vector<unsigned>{0});
  driver.unmappable = {Dev::kFastWaveformBytes};
  for (const int type : {0, 2, 3}) EXPECT_EQ(Dev::wf_fill_source_buffer(0x40000, type), 0);
  EXPECT_EQ(driver.dma, std::vector<unsigned>{0});
  driver.unmappable.clear();
  for (int n = 0; n < 3; ++n) {  // the request, a read, a write
    driver.Reset({{20, 0x40}}, n);
    EXPECT_EQ(Dev::wf_fill_source_buffer(256, 0), 0);
    driver.dma.clear();
    driver.Reset({{20, 0x40}}, n);
    EXPECT_EQ(Dev::wf_fill_source_buffer(0x40000, 0), 0);
    EXPECT_TRUE(driver.dma.empty());
  }
  driver.Reset();
  EXPECT_EQ(Dev::wf_fill_source_buffer(0x40000, 0), 0);
  EXPECT_EQ(driver.dma, std::vector<unsigned>{8});
}

TEST_F(WaveformTest, VersionsAreDecimalText) {
  const struct {
    std::optional<std::string> text;
    unsigned number;
  } cases[] = {
      {"0.90\n", 90}, {"0.896", 90}, {"1.2.3", 120}, {{}, 0}, {"v1.0", 0}, {"nan", 0}, {"99999", 0},
  };
  for (const auto& c : cases) {
    driver.version = c.text;
    EXPECT_EQ(Dev::DriverVersionNumber(), c.number) << c.text.value_or("(none)");
  }
}

}  // namespace
