// The last refusal of the daemon, kept in a file so that a person can ask for it later.
#pragma once

#include <optional>
#include <string>

#include "host/reply.h"

namespace host {

struct Refusal {
  Bytes request;
  Bytes reply;
};

/// Where an instrument's directory keeps it.
std::string NakFile(const std::string& root);

/// A failed write is not reported: the refusal itself has been.
void KeepNak(const std::string& file, const Refusal& refusal);
/// Nothing when there is none.
std::optional<Refusal> LastNak(const std::string& file);

}  // namespace host
