// The FPGA inverts channels whose inputs are wired the other way round on the board.
#include "common/dev/fpga/fpga_dev.h"
#include "common/log/capture.h"
#include "common/signalh/signal_common.h"
#include "common/signalh/signal_shared.h"
#include "common/xml/eeprom_dev.h"

using Dev::FpgaDev;
using signalh::Shared;

namespace {

constexpr int kLeastBackplane = 6;
constexpr int kLeastBoard = 3;  // the first with an inverted current channel

void Invert(FpgaDev& fpga, int channel) {
  fpga.InvertChannel(channel);
  fpga.SetPolarity(channel, 1);
}

}  // namespace

void SignalCommon::DoInversionMagic() {
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) return;
  const Msg::TestParameters& test = Shared().test;
  const std::array<int, 2> modes{test.measCh1_mode, test.measCh2_mode};
  for (int channel : {0, 1}) {
    if (modes.at(static_cast<std::size_t>(channel)) == Msg::AC_Volt) Invert(*fpga, channel);
  }
  if (modes[0] == Msg::ACDC_Current || modes[1] == Msg::ACDC_Current) DoCurrentChannelInversion();
}

void SignalCommon::DoCurrentChannelInversion() {
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) return;
  const int backplane = Dev::BackplanePROM::GetBackplanePROM().GetRevision();
  Logger::Capture(Logger::BACKPLANE_VERSION, backplane);
  if (backplane < kLeastBackplane) Logger::Capture(Logger::WRONGBACKPLANE);
  if (_rev < kLeastBoard) return;
  const int channel = Shared().test.swapchannels == 1 ? 0 : 1;
  if (_module == Msg::MEAS_MODULE) return Invert(*fpga, channel);
  fpga->UndoInvertChannel(channel);
  fpga->SetPolarity(channel, -1);
}
