// The path of the samples at start-up: channels, corrections, results, acquisition.
#include "common/acquisition/correct.h"
#include "common/acquisition/ranging/channel_pair.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/i2c/chips/i2c_eeprom.h"
#include "common/electrical/elec.h"
#include "common/log/log_line.h"
#include "common/xml/range_tables.h"
#include "mos/instrument/process_flags.h"
#include "mos/meas_mgr.h"

namespace Mos {

using acquisition::Correct;
using acquisition::phasortoo_t;
using acquisition::SineCorrelator;

namespace {

double Magnitude(const SineCorrelator& filter, Dev::FastReading what, int channel) {
  phasortoo_t phasors[2] = {};
  switch (what) {
    case Dev::FastReading::kPhasor:
      filter.GetPhasors(phasors);
      break;
    case Dev::FastReading::kAverage:
      filter.GetAvgPhasors(phasors);
      break;
    case Dev::FastReading::kSampleAverage:
      filter.GetAvgs(phasors);
      break;
    case Dev::FastReading::kMaxVoltage:
      return filter.GetMaxVoltage();
  }
  return phasors[channel].mag;
}

std::optional<double> ReadFastFilter(FilterReader& filters, Dev::FastReading what, int channel) {
  std::optional<double> reading;
  if (channel < 0 || channel > 1) return reading;
  filters.WithFilters([&](const SineCorrelator& fast, const SineCorrelator&) {
    reading = Magnitude(fast, what, channel);
  });
  return reading;
}

std::int64_t CountFastResults(FilterReader& filters, Dev::FastReading what) {
  std::int64_t count = 0;
  filters.WithFilters([&](const SineCorrelator& fast, const SineCorrelator&) {
    count = what == Dev::FastReading::kPhasor    ? fast.GetResultCount()
            : what == Dev::FastReading::kAverage ? fast.GetAverageCount()
                                                 : fast.GetBlockCount();
  });
  return count;
}

// Shows on the board that the sums have begun again.
void MarkSlowFilterReset() {
  if (auto* fpga = Dev::FpgaDev::GetDevice()) fpga->WriteReg(Dev::Q5FPGA_SCRATCH, 1, __LINE__);
}

}  // namespace

void MeasMgr::StartResults() { acquisition::elec::GetElec().Init(); }

void MeasMgr::CreateChannels() {
  Dev::SetRangeTables(&Dev::GetEepromGroup(_i2cMgr, *Msg::ghmp));
  stray_.SetTable(Dev::StrayCapacitances());
  AcquisitionSystem::SetFrontEnds(Channel(0), Channel(1));
  AcquisitionSystem::ChannelPair::Instance();
  LinkFpga();
}

void MeasMgr::LinkFpga() {
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  if (fpga == nullptr) return;
  FilterReader& filters = filter_reader_;
  fpga->SetLinks(
      {.fast_filter = [&filters](Dev::FastReading what,
                                 int channel) { return ReadFastFilter(filters, what, channel); },
       .fast_results =
           [&filters](Dev::FastReading what) { return CountFastResults(filters, what); }});
}

MeasMgr::~MeasMgr() {
  EndAcquisition();
  acquisition::elec::GetElec().SetStray(nullptr);
  if (Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice()) fpga->SetLinks({});
}

void MeasMgr::EndAcquisition() {
  const std::lock_guard lock(measurement_.Mutex());
  filter_reader_.Attach(nullptr);
  _acquisition.reset();
}

void MeasMgr::PrepareAcquisition() {
  const Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  const int device = fpga == nullptr ? -1 : fpga->GetDeviceFd();
  auto* channels = AcquisitionSystem::ChannelPair::Instance();
  if (channels == nullptr) {
    Q5_LOG_ERROR(measurementL, "<panic func=MeasMgr.Init acq_init=failed/>\n");
    return;
  }
  _acquisition = std::make_unique<acquisition::Acquisition>(
      device, acquisition::Acquisition::Outputs{.channels = *channels,
                                                .correct = Correct::GetCorrect(),
                                                .results = acquisition::elec::GetElec(),
                                                .slow_filter_reset = MarkSlowFilterReset});
  filter_reader_.Attach(_acquisition.get());
  if (_acquisition->StopAcquisition() != 0) {
    Q5_LOG_ERROR(measurementL, "<panic func=SrcMgr.Init acq_stop=failed/\n>");
  }
  if (_acquisition->InitAcquisition() != 0) {
    Q5_LOG_ERROR(measurementL, "<panic func=MeasMgr.Init acq_init=failed/>\n");
  }
  if (acqnormal != 0) return;
  _acquisition->SetMeasurementParameters({});
  _acquisition->StartAcquisition();
}

}  // namespace Mos
