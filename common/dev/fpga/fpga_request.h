// Requests to the FPGA's driver, with a limit: a driver that is wedged must not take the host's
// handler, the watchdog and the ALLOK line with it.
#pragma once

#include "platform/fpga_driver.h"

namespace Dev {

/// As the back end's ioctl; ETIMEDOUT when it does not come back within two seconds or what is left
/// of the thread's budget. Such a request may still be carried out later. Threads: any.
int FpgaRequest(int fd, unsigned long request, FpgaCmd& command);
/// The same for a write of a record.
int FpgaWrite(int fd, const FpgaCmd& command);

}  // namespace Dev
