// The FPGA and the sampling clock at start-up.
#include "common/dev/fpga/fpga_dev.h"
#include "common/msg/state/hmp_data.h"
#include "mos/meas_mgr.h"

namespace Mos {

using Dev::FpgaDev;
using Msg::ghmp;

namespace {

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

void MeasMgr::StartClocks() {
  if (FpgaDev* fpga = FpgaDev::GetDevice()) {
    fpga->WriteReg(Dev::Q5FPGA_CLK_SEL, kMasterClockSource, __LINE__);
  }
  clock_.Init();
}

void MeasMgr::InvertFirstChannel() const {
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (_rev != kInvertedRevision || fpga == nullptr) return;
  fpga->InvertChannel(0);
  fpga->SetPolarity(0, 1);
}

}  // namespace Mos
