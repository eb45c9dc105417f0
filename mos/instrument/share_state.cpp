#include "mos/instrument/share_state.h"

#include "common/dev/fpga/fpga_dev.h"
#include "common/electrical/elec.h"
#include "common/signalh/signal_shared.h"

namespace Mos {

void ShareState(Msg::HMPData& data) {
  Dev::FpgaDev::Share(
      {.config = data, .test = data, .output = data, .channels = data, .errors = data});
  signalh::Share(
      {.config = data, .test = data, .measurement = data, .output = data, .errors = data});
  acquisition::elec::GetElec().SetTest(&data);
}

}  // namespace Mos
