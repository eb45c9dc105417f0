// The file systems of this module's card, and those of the other modules' shares.
//
// Owner: the start-up thread, and afterwards the log's housekeeping, which calls while a share is
// missing. Locks: none; `mount1progress` to `mount3progress` keep a second thread from a mount that
// is under way.
#pragma once

#include <atomic>

namespace Msg {

class ModuleDrives {
 public:
  /// `its_module` is a MODULE_ID.
  explicit ModuleDrives(int its_module) : drives_module_(its_module) {}

  void CheckNetworkDrives();
  void CheckLocalDrives();
  /// A POSIX wait status. 0: mounted; above 0: not; below 0: not known, a mount is under way.
  int CheckMountPoint(const char* path, int len);
  void MountNetworkShare(const char* path, const char* share);
  bool MountBusy();
  /// The power goes: nothing is written to the card or the shares any more.
  void UnMountSDPartitions();

  std::atomic<bool> networkmountdone{false};
  std::atomic<bool> networkmountbusy{true};
  std::atomic<bool> mount1progress{false};
  std::atomic<bool> mount2progress{false};
  std::atomic<bool> mount3progress{false};
  std::atomic<int> fail1{0};  ///< calls of MountNetworkShare, by mount point
  std::atomic<int> fail2{0};
  std::atomic<int> fail3{0};

 private:
  bool MountModules();

  const int drives_module_;
};

}  // namespace Msg
