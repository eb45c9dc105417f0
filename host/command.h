// The commands of q5host. Each is a file of its own that declares its options and its action;
// a new one is a line more in the table of app.cpp.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "host/session.h"

namespace host {

/// What a command does once the command line is read.
using Action = std::function<ExitStatus(Session&)>;

/// How a command reaches the daemon when `--via` is not given.
enum class Route {
  kBus,   ///< the daemon alone hears the request
  kHost,  ///< the source and the dividers hear it, too
};

struct Command {
  const char* name;
  const char* summary;
  Route route;
  /// Adds the command's own options and returns its action.
  Action (*declare)(CLI::App& options);
};

extern const Command kVersions;
extern const Command kProgress;
extern const Command kSend;
extern const Command kErrors;
extern const Command kMeasure;
extern const Command kSweep;
extern const Command kStop;
extern const Command kWatch;
extern const Command kMessages;

}  // namespace host
