// A channel's figures: of the latest block, of a whole cycle, and of the correlators.
#include "common/acquisition/correct.h"
#include "common/acquisition/ranging/acq_chan.h"
#include "common/acquisition/sine_correlator.h"
#include "common/log/log_line.h"

namespace AcquisitionSystem {

using acquisition::BlockFigures;
using acquisition::Correct;
using acquisition::phasortoo_t;
using Msg::ghmp;

namespace {

constexpr int kDcSets = 10;
constexpr int kSetsWhileUnknown = 32;

ACCUMULATED_STATS SetOf(const BlockFigures& figures, sample_block_status status) {
  ACCUMULATED_STATS set{};
  set.status = status;
  if (figures.sample_count == 0) return set;
  set.min_sample = figures.min_sample;
  set.max_sample = figures.max_sample;
  set.avg_sample = figures.avg_sample;
  set.max_amplitude = figures.max_amplitude;
  return set;
}

}  // namespace

// --- The latest block ---

void AcqChan::StoreBlockFigures(const BlockFigures& figures) {
  const platform::Lock lock(figures_lock_);
  this_sample_set = figures;
}

BlockFigures AcqChan::GetBlockFigures() const {
  const platform::Lock lock(figures_lock_);
  return this_sample_set;
}

void AcqChan::set_sample_status(sample_block_status status) {
  const platform::Lock lock(figures_lock_);
  block_status_ = status;
}

sample_block_status AcqChan::get_sample_status() const {
  const platform::Lock lock(figures_lock_);
  return block_status_;
}

// --- A whole cycle ---

int AcqChan::SetsPerCycle() const {
  if (ghmp->IsDCTest()) return kDcSets;
  const int cycle = ghmp->samplespercyc;
  const int set = this_sample_set.sample_count;
  if (cycle == 0 || set == 0) return kSetsWhileUnknown;
  return set < cycle ? cycle / set : 1;
}

int AcqChan::get_sample_sets_per_cycle() const {
  const platform::Lock lock(figures_lock_);
  return SetsPerCycle();
}

void AcqChan::full_cycle_reset_statistics() {
  const platform::Lock lock(figures_lock_);
  full_cycle_.Reset();
}

void AcqChan::full_cycle_update_statistics(int valid) {
  const platform::Lock lock(figures_lock_);
  full_cycle_.Update(SetOf(this_sample_set, block_status_), valid != 0, SetsPerCycle());
}

bool AcqChan::full_cycle_statistics_available() const {
  return FromCycle([](const FullCycle& cycle, int sets) { return cycle.Available(sets); });
}

std::int64_t AcqChan::full_cycle_get_avg_sample() const {
  return FromCycle([](const FullCycle& cycle, int sets) { return cycle.Average(sets); });
}

std::int64_t AcqChan::full_cycle_get_min_sample() const {
  return FromCycle([](const FullCycle& cycle, int sets) { return cycle.Minimum(sets); });
}

std::int64_t AcqChan::full_cycle_get_max_sample() const {
  return FromCycle([](const FullCycle& cycle, int sets) { return cycle.Maximum(sets); });
}

std::int64_t AcqChan::full_cycle_get_max_amplitude() const {
  return FromCycle([](const FullCycle& cycle, int sets) { return cycle.MaxAmplitude(sets); });
}

int AcqChan::full_cycle_is_clipping() const {
  return FromCycle([](const FullCycle& cycle, int sets) { return cycle.Clipping(sets); });
}

bool AcqChan::full_cycle_statistics_in_range() const {
  return FromCycle([](const FullCycle& cycle, int sets) { return cycle.InRange(sets); });
}

double AcqChan::full_cycle_ampl_percent_of_range() const {
  return FromCycle([](const FullCycle& cycle, int sets) { return cycle.PercentOfRange(sets); });
}

// --- Phasors ---

bool AcqChan::phasors_stable(SineCorrelator* correlator) {
  if (correlator == nullptr) {
    Q5_LOG_ERROR_HERE(chanfsmL, "%s.%d: SineCorrelator missing\n");
    return false;
  }
  if (!ghmp->IsVLFTest()) return true;
  const bool complete = SineCorrelator::CycleComplete();
  Q5_LOG_DEBUG_HERE(chanfsmL, "%s.%d: CycleComplete() returned %s\n", complete ? "true" : "false");
  return complete;
}

int AcqChan::get_standard_dev(double* out) {
  SineCorrelator* fast = sineCorr_Fast;
  if (fast == nullptr) {
    Q5_LOG_ERROR_HERE(
        chanfsmL,
        "%s.%d: ERROR! get_standard_dev called before fast SineCorrelator initialized.\n");
    return -1;
  }
  fast->calc_std_dev(out);
  return 0;
}

int AcqChan::get_corrected_phasors(phasortoo_t* out) {
  SineCorrelator* fast = sineCorr_Fast;
  if (fast == nullptr) return -1;
  fast->GetPhasors(out);
  return Correct::GetCorrect().Corr_phasors(out, out) == 0 ? 0 : -1;
}

int AcqChan::get_correct_avgs(phasortoo_t* out) {
  SineCorrelator* fast = sineCorr_Fast;
  if (fast == nullptr) return -1;
  fast->GetAvgs(out);
  return Correct::GetCorrect().Corr_phasors(out, out) == 0 ? 0 : -1;
}

int AcqChan::clear_dc_offsets() {
  SineCorrelator* fast = sineCorr_Fast;
  if (fast == nullptr) {
    Q5_LOG_ERROR_HERE(
        chanfsmL,
        "%s.%d: ERROR! store dc offsets called before fast SineCorrelator initialized.\n");
    return -1;
  }
  fast->ClearOffsetPhasors();
  return 0;
}

}  // namespace AcquisitionSystem
