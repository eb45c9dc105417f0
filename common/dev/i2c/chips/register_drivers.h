// The drivers of this folder, registered with the bus.
#pragma once

namespace Dev {

/// Before the devices are loaded and other threads run.
void RegisterDrivers();

}  // namespace Dev
