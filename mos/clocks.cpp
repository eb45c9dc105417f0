// The FPGA and the sampling clock at start-up.
#include "common/acquisition/correct.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/sclk/spclk_dev.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/signalh/sample_rate.h"
#include "mos/meas_mgr.h"
#include "mos/process_flags.h"

namespace Mos {

using Dev::FpgaDev;
using Dev::SpclkDev;
using Msg::ghmp;

namespace {

constexpr float kStartFrequency = 60.0F;  // Hz
constexpr unsigned kAdClocksPerSample = 64;
constexpr unsigned kMasterClockSource = 8;
constexpr int kInvertedRevision = 3;  // boards whose first channel comes in negated

}  // namespace

void MeasMgr::ConfigureFpga() {
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) return;
  fpga->SetVLFVoltageMin(ghmp->_vlfvoltagemin);
  fpga->SetDCCurrentMin(ghmp->_dccurrentmin);
  fpga->SetACVoltageMin(ghmp->_acvoltagemin);
  fpga->SetHVACVoltageMin(ghmp->_hvacvoltagemin);
  fpga->Init();
}

void MeasMgr::ResetFpga() {
  ghmp->swapchannels = 0;
  if (FpgaDev* fpga = FpgaDev::GetDevice()) fpga->FpgaReset();
}

void MeasMgr::InitSpclk() {
  _spclk = SpclkDev::GetDevice(Msg::MEAS_MODULE);
  if (_spclk == nullptr) {
    ghmp->SetErrorCode(Msg::NAK_MCODE_MOS_SPCLKNOTFOUND);
    return;
  }
  const int samples =
      signalh::CalculateSamplesPerCyc(kStartFrequency, ghmp->GetBlockReadyInterrupts());
  _spclk->SetTestFrequency(kStartFrequency);
  _spclk->SetAdClksPerSample(kAdClocksPerSample);
  _spclk->SetSamplesPerCyc(static_cast<unsigned>(samples));
  _spclk->SetWfSamplesPerCyc(kStartFrequency);
  if (spclksync != 0) _spclk->SetMeasClkSrc(1);
  if (_spclk->Update(0) < 0) ghmp->SetErrorCode(Msg::NAK_MCODE_MOS_SPCLKINIT);
  ghmp->SetFrequency(kStartFrequency);
  ghmp->samplespercyc = samples;
  acquisition::Correct::GetCorrect().Corr_set_frequency();
}

void MeasMgr::StartClocks() {
  if (FpgaDev* fpga = FpgaDev::GetDevice()) {
    fpga->WriteReg(Dev::Q5FPGA_CLK_SEL, kMasterClockSource, __LINE__);
  }
  InitSpclk();
}

void MeasMgr::InvertFirstChannel() const {
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (_rev != kInvertedRevision || fpga == nullptr) return;
  fpga->InvertChannel(0);
  fpga->SetPolarity(0, 1);
}

}  // namespace Mos
