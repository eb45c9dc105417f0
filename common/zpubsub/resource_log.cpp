#include "common/zpubsub/resource_log.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

#include "common/monitor/monitor.h"

namespace IMSG {
namespace {

constexpr int kPeriod = 60;  // s

monitor resourcemonitor("resourcemonitor");

// Of the machine that the process runs on, whatever root its instrument has.
int ResourceCallBack(void*) {
  std::ifstream file("/proc/meminfo");
  std::ostringstream text;
  text << file.rdbuf();
  std::fputs(MemoryTable(text.str()).c_str(), stdout);
  std::fflush(stdout);
  return 0;
}

}  // namespace

std::string MemoryTable(std::string_view meminfo) {
  std::map<std::string, unsigned long long> kib;
  std::istringstream lines{std::string(meminfo)};
  for (std::string line; std::getline(lines, line);) {
    const auto colon = line.find(':');
    if (colon == std::string::npos) continue;
    kib[line.substr(0, colon)] = std::strtoull(line.c_str() + colon + 1, nullptr, 10);
  }
  const auto total = kib["MemTotal"], free = kib["MemFree"], buffers = kib["Buffers"],
             cached = kib["Cached"], swap = kib["SwapTotal"], swap_free = kib["SwapFree"];
  const auto used = total - free;
  char table[512];
  std::snprintf(table, sizeof table,
                "             total       used       free     shared    buffers     cached\n"
                "%-7s %10llu %10llu %10llu %10llu %10llu %10llu\n"
                "-/+ buffers/cache: %10llu %10llu\n"
                "%-7s %10llu %10llu %10llu\n",
                "Mem:", total, used, free, kib["Shmem"], buffers, cached, used - buffers - cached,
                free + buffers + cached, "Swap:", swap, swap - swap_free, swap_free);
  return table;
}

void StopResourceLog() { resourcemonitor.StopTimer(); }

void StartResourceLog() { resourcemonitor.AddTimer(kPeriod, SECSE, ResourceCallBack, nullptr); }

}  // namespace IMSG
