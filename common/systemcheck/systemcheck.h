// Who this module is on the instrument's network, and where the others are as far as it knows.
//
// Addresses are IPv4 in network order, 0 while unknown. Threads: any.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

class systemcheck {
 public:
  bool IsMainHost() const;
  /// Dotted; empty while unknown.
  std::string GetMainIP() const { return Dotted(_mainIP); }
  std::string GetMeasIP() const { return Dotted(_measIP); }
  std::string GetSourceIP() const { return Dotted(_sourceIP); }
  /// Of this module.
  void SetModuleIP(std::uint32_t address);

  static std::string Dotted(std::uint32_t address);

 protected:
  systemcheck() = default;
  ~systemcheck() = default;

  /// Takes the module id (MODULE_ID) and finds this module's own address; may wait up to 19 s for
  /// the network. `meas` and `source` are dotted, for the main module; null elsewhere.
  void Init(int module, const char* meas, const char* source);

  std::atomic<int> _moduleID{0};
  std::atomic<std::uint32_t> _mainIP{0};
  std::atomic<std::uint32_t> _measIP{0};
  std::atomic<std::uint32_t> _sourceIP{0};
  std::atomic<std::uint32_t> _boardIP{0};
};
