// What the machine allows the process.
#pragma once

namespace Mos {

/// Raises the number of descriptors that the process may open, as far as the hard limit and the
/// daemon's needs go. Connections of the bus take most of them.
void RaiseDescriptorLimit();

}  // namespace Mos
