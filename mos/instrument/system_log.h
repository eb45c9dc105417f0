// The log of the machine, for people who service the module.
#pragma once

namespace Mos {

/// One line of the system's log.
[[gnu::format(printf, 1, 2)]] void TellSystem(const char* format, ...);

}  // namespace Mos
