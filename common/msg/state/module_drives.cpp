#include "common/msg/state/module_drives.h"

#include <cstring>
#include <string>

#include "common/log/log_line.h"
#include "common/msg/records/module_id.h"
#include "platform/backend.h"

namespace Msg {
namespace {

struct MountPoint {
  const char* path;
  const char* share;
  std::atomic<int> ModuleDrives::*attempts;
  std::atomic<bool> ModuleDrives::*in_progress;
};

constexpr MountPoint kMountPoints[] = {
    {"/mnt/main", "//192.168.42.51/Root", &ModuleDrives::fail1, &ModuleDrives::mount1progress},
    {"/mnt/meas", "//192.168.42.52/Root", &ModuleDrives::fail2, &ModuleDrives::mount2progress},
    {"/mnt/src", "//192.168.42.53/Root", &ModuleDrives::fail3, &ModuleDrives::mount3progress},
};
constexpr const MountPoint& kMain = kMountPoints[0];
constexpr const MountPoint& kSource = kMountPoints[2];

// A starting module needs time before it shares: the first calls only count.
constexpr int kCallsBeforeMount = 5;

struct Partition {
  const char* name;
  const char* path;
  const char* device;
};

constexpr Partition kPartitions[] = {
    {"p1", "/media/mmcblk0p1", "/dev/mmcblk0p1"},
    {"p2", "/media/mmcblk0p2", "/dev/mmcblk0p2"},
};
constexpr int kMountRetries = 2;

int Run(const std::string& command) { return platform::Machine().System(command.c_str()); }

int FindMounted(std::string_view path) {
  return Run("cat /etc/mtab|egrep -i " + std::string(path));
}

const MountPoint* FindMountPoint(std::string_view path) {
  for (const MountPoint& point : kMountPoints) {
    if (path == point.path) return &point;
  }
  return nullptr;
}

void MountPartition(const Partition& partition) {
  if (FindMounted(partition.path) == 0) {
    Q5_LOG_INFO(systemcheckL, "Mounted %s on boot up \n", partition.name);
    return;
  }
  const std::string command = std::string("mount ") + partition.device + " " + partition.path + " ";
  int status = Run(command);
  for (int attempt = 1; status != 0 && attempt <= kMountRetries; ++attempt) {
    Q5_LOG_WARNING(systemcheckL, "mount %s fail try %d \n", partition.path, attempt);
    Q5_LOG_INFO(systemcheckL, "Mounting %s before initializing... \n", partition.name);
    status = Run(command);
  }
}

}  // namespace

bool ModuleDrives::MountBusy() {
  if (!networkmountbusy) return false;
  if (Run(" ps |grep -in \"mount -t cifs\"|grep -v grep") == 0) {
    Q5_LOG_INFO(systemcheckL, "mount busy\n");
    return true;
  }
  networkmountbusy = false;
  return false;
}

int ModuleDrives::CheckMountPoint(const char* path, int len) {
  if (MountBusy()) return -1;
  return FindMounted({path, ::strnlen(path, len < 0 ? 0 : static_cast<std::size_t>(len))});
}

void ModuleDrives::MountNetworkShare(const char* path, const char* share) {
  const MountPoint* point = FindMountPoint(path);
  if (point == nullptr) return;
  std::atomic<bool>& in_progress = this->*point->in_progress;
  const int calls = ++(this->*point->attempts);
  Q5_LOG_INFO(systemcheckL, "Mtab count %d %s %d \n", calls, path, in_progress.load());
  if (calls <= kCallsBeforeMount || in_progress.exchange(true)) return;
  const int status = Run(std::string("mount -t cifs ") + share + " " + path +
                         " -o username=root,password=tarnid58");
  Q5_LOG_INFO(systemcheckL, "Mtab progress  %d %d \n", calls, status);
  in_progress = false;
}

bool ModuleDrives::MountModules() {
  int status[2] = {};
  int* result = status;
  for (const MountPoint* point : {&kMain, &kSource}) {
    *result = CheckMountPoint(point->path, static_cast<int>(std::strlen(point->path)));
    if (*result > 0) MountNetworkShare(point->path, point->share);
    ++result;
  }
  if (status[0] == 0 && status[1] == 0) {
    Q5_LOG_INFO(systemcheckL, "Mount network success \n");
    return true;
  }
  Q5_LOG_INFO(systemcheckL, "Mount network fail or busy s1 %d s2 %d \n", status[0], status[1]);
  return false;
}

void ModuleDrives::CheckNetworkDrives() {
  Q5_LOG_INFO(systemcheckL, "SDMSG: checking sd \n");
  CheckLocalDrives();
  if (drives_module_ == MEAS_MODULE) networkmountdone = MountModules();
}

void ModuleDrives::UnMountSDPartitions() {
  networkmountdone = false;
  for (const MountPoint* point : {&kMain, &kSource}) Run(std::string("umount ") + point->path);
  for (const Partition& partition : kPartitions) Run(std::string("umount ") + partition.path);
}

void ModuleDrives::CheckLocalDrives() {
  for (const Partition& partition : kPartitions) MountPartition(partition);
}

}  // namespace Msg
