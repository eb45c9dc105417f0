// Requests to the FPGA's driver, with a time limit: a driver that hangs must not block the host's
// handler, the watchdog and the ALLOK line.
#pragma once

#include "platform/fpga_driver.h"

namespace Dev {

/// As the back end's ioctl; ETIMEDOUT when it does not return within two seconds or within the rest
/// of the thread's budget. The driver may still carry out such a request later. Threads: any.
int FpgaRequest(int fd, unsigned long request, FpgaCmd& command);
/// The same for a write of a record.
int FpgaWrite(int fd, const FpgaCmd& command);

}  // namespace Dev
