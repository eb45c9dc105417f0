// The way of the samples at start-up: channels, corrections, results, acquisition.
#include "common/acquisition/correct.h"
#include "common/acquisition/range_table.h"
#include "common/acquisition/ranging/channel_pair.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/i2c/chips/i2c_eeprom.h"
#include "common/electrical/elec.h"
#include "common/log/logger_mgr.h"
#include "mos/instrument/process_flags.h"
#include "mos/meas_mgr.h"

namespace Mos {

using acquisition::Correct;
using acquisition::phasortoo_t;
using acquisition::SineCorrelator;
using Logger::kError;
using Logger::logger_mgr;
using Logger::measurementL;

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

std::optional<double> ReadFastFilter(Dev::FastReading what, int channel) {
  std::optional<double> reading;
  if (channel < 0 || channel > 1) return reading;
  AcquisitionSystem::AcqChan::WithFastCorrelator(
      [&](const SineCorrelator& filter) { reading = Magnitude(filter, what, channel); });
  return reading;
}

std::int64_t CountFastResults(Dev::FastReading what) {
  std::int64_t count = 0;
  AcquisitionSystem::AcqChan::WithFastCorrelator([&](const SineCorrelator& filter) {
    count = what == Dev::FastReading::kPhasor    ? filter.GetResultCount()
            : what == Dev::FastReading::kAverage ? filter.GetAverageCount()
                                                 : filter.GetBlockCount();
  });
  return count;
}

}  // namespace

void MeasMgr::StartResults() {
  acquisition::ElecLinks links;
  links.corr_phasors = [](const phasortoo_t* in, phasortoo_t* out) {
    return Correct::GetCorrect().Corr_phasors(in, out);
  };
  acquisition::elec::SetLinks(links);
  acquisition::elec::GetElec().Init();
}

void MeasMgr::CreateChannels() {
  acquisition::SetRangeTables(&Dev::GetEepromGroup(_i2cMgr));
  AcquisitionSystem::SetFrontEnds(Channel(0), Channel(1));
  AcquisitionSystem::ChannelPair::Instance();
  if (Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice())
    fpga->SetLinks({.fast_filter = ReadFastFilter, .fast_results = CountFastResults});
}

void MeasMgr::EndAcquisition() {
  const std::lock_guard lock(measurement_.Mutex());
  _acquisition.reset();
}

void MeasMgr::PrepareAcquisition() {
  const Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  const int device = fpga == nullptr ? -1 : fpga->GetDeviceFd();
  _acquisition = std::make_unique<acquisition::Acquisition>(device);
  if (_acquisition->StopAcquisition() != 0) {
    logger_mgr::print(measurementL, kError, 0, "<panic func=SrcMgr.Init acq_stop=failed/\n>");
  }
  if (_acquisition->InitAcquisition() != 0) {
    logger_mgr::print(measurementL, kError, 0, "<panic func=MeasMgr.Init acq_init=failed/>\n");
  }
  if (acqnormal != 0) return;
  _acquisition->SetMeasurementParameters({});
  _acquisition->StartAcquisition();
}

}  // namespace Mos
