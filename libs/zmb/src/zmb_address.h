// Where a bus address is on this machine.
#pragma once

#include <string>

namespace Common {

/// The address to hand to libzmq: the path of an ipc address is the instrument's, so it is
/// mapped below the machine's root; every other address stays as it is.
std::string MachineAddress(const std::string& uri);

/// True when a process listens on an ipc address (as MachineAddress gives it). libzmq removes the
/// file of an ipc address before it binds: without this test a second daemon would take the first
/// one's end point. False for every other kind of address, whose bind fails by itself.
bool IpcInUse(const std::string& address);

}  // namespace Common
