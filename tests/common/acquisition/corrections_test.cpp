// Gain and phase polynomials of three sources, and the averages of very slow tests.
#include <cmath>

#include "common/acquisition/averager.h"
#include "common/acquisition/correct.h"
#include "common/xml/eeprom_dev.h"
#include "tests/common/acquisition/acquisition_bench.h"

namespace {

using acquisition::Correct;
using acquisition::phasortoo_t;
using Dev::mode_range_table_ent;

constexpr float kHertz = 60;

// gain 1.25 + 1e-3 f + 1e-5 f^2 + 1e-7 f^3 and so on, phases of other digits
constexpr mode_range_table_ent kRange{
    42, 1, 0.5F, 0, {{1.25F, 1e-3F, 1e-5F, 1e-7F}}, {{0.1F, 2e-3F, 3e-5F, 4e-7F}}};
constexpr mode_range_table_ent kFilter{
    0, 0, 1, 0, {{0.75F, -1e-3F, 2e-5F, 0}}, {{0.02F, 1e-3F, 0, 0}}};
constexpr mode_range_table_ent kMainRef{0, 0, 4, 0, {{2, 0, 0, 0}}, {{0.003F, 0, 1e-5F, 0}}};

double At(const Dev::poly_coef_union& p, double f) {
  return p.coef[0] + p.coef[1] * f + p.coef[2] * f * f + p.coef[3] * f * f * f;
}

class CorrectTest : public acquisition_test::AcquisitionTest {
 protected:
  CorrectTest() { data.frequency = kHertz; }
  ~CorrectTest() override { SetSigns(0, 0, 0); }
  static void SetSigns(int first, int second, int mainref) {
    Dev::MeasCh1EEPROM::GetMeasCh1EEPROM().action_3s = first;
    Dev::MeasCh2EEPROM::GetMeasCh2EEPROM().action_4s = second;
    Dev::MainRefEEPROM::GetMainRefEEPROM().action_11m = mainref;
  }
  void SetAll(Correct& correct) {
    for (const int ch : {0, 1}) {
      channels.channels[ch].range = &kRange;
      channels.channels[ch].cpld_range = 42;
      correct.Corr_set_range(ch, channels.Channel(ch));
      correct.Corr_set_filter(ch, &kFilter);
      correct.Corr_set_ref_chan(ch, &kMainRef);
    }
  }
  static phasortoo_t Corrected(Correct& correct, int ch) {
    phasortoo_t phasors[2] = {{0.5, 10, 0, 0, 0}, {0.5, 10, 0, 0, 0}};
    EXPECT_EQ(correct.Corr_phasors(phasors, phasors), 0);
    return phasors[ch];
  }
};

TEST_F(CorrectTest, PolynomialsMultiplyAndAddWithTheSignsOfTheBoards) {
  const double gain = At(kRange.gain, 60) * At(kFilter.gain, 60) * At(kMainRef.gain, 60);
  const double board = At(kRange.phase, 60) + At(kFilter.phase, 60);
  const double mainref = At(kMainRef.phase, 60);
  const struct {
    int flags[3];
    double phase[2];
  } cases[] = {{{0, 0, 0}, {-board - mainref, -board - mainref}},
               {{1, 0, 0}, {board - mainref, -board - mainref}},
               {{0, 1, 0}, {-board - mainref, board - mainref}},
               {{0, 7, 1}, {-board + mainref, board + mainref}}};
  for (const auto& c : cases) {
    SetSigns(c.flags[0], c.flags[1], c.flags[2]);
    Correct correct;
    SetAll(correct);
    for (const int ch : {0, 1}) {
      EXPECT_NEAR(Corrected(correct, ch).mag, 10 * gain, 1e-5);
      EXPECT_NEAR(Corrected(correct, ch).phase, 0.5 + c.phase[ch], 1e-6);
    }
    EXPECT_NEAR(correct.Corr_sample_amplitude(0, -1000), -1000 * 0.5 * gain * 4, 0.02);
  }
}

TEST_F(CorrectTest, AnUnconfirmedRangeIsNotApplied) {
  const struct {
    int index, cpld;
    bool applied;
  } cases[] = {{1, -1, false}, {1, 43, false}, {1, 42, true}, {6, -1, true}, {6, 43, true}};
  for (const auto& c : cases) {
    auto& channel = channels.channels[0];
    channel.range = &kRange;
    channel.range_index = c.index;
    channel.cpld_range = c.cpld;
    Correct correct;
    correct.Corr_set_range(0, channel);
    EXPECT_NEAR(Corrected(correct, 0).mag, c.applied ? 10 * At(kRange.gain, 60) : 10, 1e-5);
  }
}

TEST_F(CorrectTest, FrequencyIsFollowedUnlessFrozen) {
  Correct correct;
  correct.Corr_set_filter(1, &kFilter);
  const auto gain = [&] { return Corrected(correct, 1).mag / 10; };
  data.frequency = 400;
  EXPECT_NEAR(gain(), At(kFilter.gain, 400), 1e-5);
  correct.Corr_set_frequency(100);
  EXPECT_NEAR(gain(), At(kFilter.gain, 100), 1e-5);
  data.frequency = 900;
  EXPECT_NEAR(gain(), At(kFilter.gain, 100), 1e-5);
  correct.Corr_set_frequency();
  EXPECT_NEAR(gain(), At(kFilter.gain, 900), 1e-5);
  data.frequency = 7000;  // none of the instrument's: frozen at 0
  correct.Corr_init();
  correct.Corr_set_filter(1, &kFilter);
  EXPECT_NEAR(gain(), 0.75, 1e-6);
}

TEST_F(CorrectTest, SourcesThatAreSwitchedOffOrMissingChangeNothing) {
  Correct off;
  off.SetCalibration(0);
  SetAll(off);
  Correct missing;
  SetAll(missing);
  missing.Corr_set_filter(0, nullptr);
  missing.Corr_set_ref_chan(0, nullptr);
  channels.channels[0].cpld_range = 1;
  missing.Corr_set_range(0, channels.Channel(0));
  for (Correct* correct : {&off, &missing}) {
    EXPECT_EQ(Corrected(*correct, 0).mag, 10);
    EXPECT_EQ(Corrected(*correct, 0).phase, 0.5);
  }
  off.SetRangeCal(true);
  SetAll(off);
  EXPECT_NEAR(Corrected(off, 1).mag, 10 * At(kRange.gain, 60), 1e-5);
}

TEST_F(CorrectTest, AveragesAreScaledByTheRangeInUse) {
  acquisition::Averager averager(512, 0, 2, 1, 4, 4);
  EXPECT_EQ(averager.SetChannelModes(2, 9, 1, 1), -1);
  double averages[2] = {1, 1};
  averager.GetPhasors(averages);
  EXPECT_EQ(averages[0], 0);
  for (const long counts : {100L, -300L, 7L}) {
    acquisition::PairFigures figures;
    for (auto& its : figures) its.avg_sample = static_cast<int>(counts);
    averager.update(figures, {0.5, 0.25});
    averager.GetPhasors(averages);
    EXPECT_EQ(averages[0], static_cast<double>(counts) * 0.5);
    EXPECT_EQ(averages[1], static_cast<double>(counts) * 0.25);
  }
}

}  // namespace
