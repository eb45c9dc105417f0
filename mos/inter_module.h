// This daemon among those of the other modules: what it does with their messages, and what it
// tells them about itself.
#pragma once

#include <atomic>
#include <functional>

#include "common/xml/eeprom_links.h"
#include "common/zpubsub/zpubsub.h"
#include "mos/instrument/source_events.h"

namespace Mos {

class InterModule {
 public:
  using Addresses = std::function<IMSG::ModuleAddresses()>;

  explicit InterModule(IMSG::zpubsub& messages) : messages_(messages) {}
  ~InterModule() { End(); }
  InterModule(const InterModule&) = delete;
  InterModule& operator=(const InterModule&) = delete;

  /// From Start on, what the sensors measure goes to the fan control. Before their scan begins.
  void PublishTemperatures();
  /// Opens the sockets in the context `ctx` and listens. `step` is called for a frequency that
  /// the source module announces, on a thread of its own. -1 without sockets or threads.
  int Start(void* ctx, const Addresses& addresses, std::function<void(const SourceStep&)> step);
  /// Before the context ends.
  void End();

  /// Whether requests of a host are served; sent to whoever asks.
  void SetServerReady() { serverReady = true; }
  /// The main module has said that files have been uploaded.
  bool UploadDone() const { return xmluploaddone; }
  /// What the calibration group says to the other modules.
  Dev::EepromLinks CalibrationLinks();

 private:
  void SetReactions();
  void SetUploadDone(bool done) { xmluploaddone = done; }

  IMSG::zpubsub& messages_;
  SourceEvents events_;
  std::atomic<bool> joined_{false};  ///< the sockets are open
  std::atomic<bool> serverReady{false};
  std::atomic<bool> xmluploaddone{false};
};

/// Delivers an event of the source's channels (EXTERNAL_EVENT) to channel 2, then to channel 1. The
/// first negative result, else the second's.
int NotifyFollowingChannelsEvent(int event);

}  // namespace Mos
