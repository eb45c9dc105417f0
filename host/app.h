// q5host as a function, so that a test can run it.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "host/exit_status.h"

namespace host {

/// Runs one command line, the program's name left out.
ExitStatus RunHost(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace host
