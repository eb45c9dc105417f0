#include "simulator/mounts.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <vector>

namespace simulator {
namespace {

constexpr int kDone = 0;
constexpr int kMountFailed = 32;  // exit status of mount(8) for a mount that failed
constexpr int kNoMatch = 1;

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](unsigned char letter) {
    return static_cast<char>(std::tolower(letter));
  });
  return lower;
}

std::vector<std::string> Words(std::string_view text) {
  std::istringstream stream{std::string(text)};
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

}  // namespace

Mounts::Mounts(std::uint64_t seed, Shell& shell, Units& units)
    : faults_({Fault::kOff, Fault::kHang, Fault::kIntermittent}, seed),
      mounted_{{"/media/mmcblk0p1", "/dev/mmcblk0p1"}, {"/media/mmcblk0p2", "/dev/mmcblk0p2"}} {
  shell.Add("mount ", [this](std::string_view arguments) { return Mount(arguments); });
  shell.Add("cat /etc/mtab|egrep -i ", [this](std::string_view pattern) -> std::optional<int> {
    return FindInTable(pattern);
  });
  // No mount takes long here, so none is ever found under way.
  shell.Add("ps |grep -in \"mount -t cifs\"|grep -v grep",
            [](std::string_view) -> std::optional<int> { return kNoMatch; });
  units.AddValue("mounts", [this] { return Table(); });
  units.AddFaults("mounts", faults_);
}

std::optional<int> Mounts::Mount(std::string_view arguments) {
  std::vector<std::string> words = Words(arguments);
  if (words.size() >= 2 && words[0] == "-t") words.erase(words.begin(), words.begin() + 2);
  if (words.size() < 2) return std::nullopt;
  if (faults_.Now() == Fault::kOff) return kMountFailed;
  faults_.AwaitLifted();
  const platform::Lock lock(mutex_);
  return mounted_.emplace(words[1], words[0]).second ? kDone : kMountFailed;
}

int Mounts::FindInTable(std::string_view pattern) const {
  std::istringstream lines(Lower(Table()));
  const std::string wanted = Lower(pattern);
  for (std::string line; std::getline(lines, line, ';');) {
    if (line.find(wanted) != line.npos) return kDone;
  }
  return kNoMatch;
}

std::string Mounts::Table() const {
  const platform::Lock lock(mutex_);
  std::string table;
  for (const auto& [path, device] : mounted_) {
    table += (table.empty() ? "" : ";") + device + " " + path;
  }
  return table;
}

}  // namespace simulator
