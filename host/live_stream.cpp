#include "host/live_stream.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>

#include "platform/backend.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

constexpr char kExtension[] = ".jsonl";
constexpr off_t kMostBytes = 1 << 20;  // then the stream begins again
constexpr std::chrono::minutes kKept{1};
constexpr int kReadable = 0644;

std::string DirectoryOf(const std::string& root) { return root + "/tmp/q5host.live"; }

// Locks of a process would be dropped with any descriptor of the file that it closes.
bool Lock(int file, int command, short& type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  const bool done = ::fcntl(file, command, &lock) == 0;
  type = lock.l_type;
  return done;
}

// Looking takes no lock, so that it never blocks a client.
bool IsLocked(const std::string& path) {
  const platform::UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  short type = F_WRLCK;
  return file && Lock(file.Get(), F_OFD_GETLK, type) && type != F_UNLCK;
}

pid_t ClientOf(const fs::path& path) {
  const std::string name = path.stem();
  pid_t client = 0;
  const auto [end, code] = std::from_chars(name.data(), name.data() + name.size(), client);
  const bool whole = code == std::errc() && end == name.data() + name.size();
  return whole && path.extension() == kExtension ? client : 0;
}

// Every client's file, by its process id.
std::map<pid_t, std::string> FilesIn(const std::string& directory) {
  std::map<pid_t, std::string> files;
  std::error_code error;
  for (fs::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
    if (const pid_t client = ClientOf(it->path()); client > 0) files.emplace(client, it->path());
  }
  return files;
}

void RemoveOld(const std::string& directory) {
  for (const auto& [client, path] : FilesIn(directory)) {
    std::error_code error;
    const auto written = fs::last_write_time(path, error);
    if (error || fs::file_time_type::clock::now() - written < kKept || IsLocked(path)) continue;
    fs::remove(path, error);
  }
}

std::optional<LiveEntry> EntryOf(const std::string& line, pid_t client) {
  const auto json = ordered_json::parse(line, nullptr, false);
  if (!json.is_object() || !json.contains("clock_ns")) return std::nullopt;
  LiveEntry entry;
  entry.client = client;
  if (!json["clock_ns"].is_number_integer()) return std::nullopt;
  entry.time = platform::Nanoseconds(json["clock_ns"].get<std::int64_t>());
  if (json.contains("state") && json["state"].is_string()) entry.state = json["state"];
  if (json.contains("status") && json["status"].is_number_integer()) entry.status = json["status"];
  if (json.contains("result")) entry.result = ResultOfEntry(json["result"]);
  if (entry.state.empty() && !entry.status && !entry.result) return std::nullopt;
  return entry;
}

}  // namespace

LiveStream::LiveStream(const std::string& root) {
  if (root.empty()) return;
  const std::string directory = DirectoryOf(root);
  std::error_code error;
  fs::create_directory(directory, error);
  RemoveOld(directory);
  const std::string path = fmt::format("{}/{}{}", directory, ::getpid(), kExtension);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC | O_NOFOLLOW;
  file_.Reset(::open(path.c_str(), kFlags, kReadable));
  short type = F_WRLCK;
  if (file_ && !Lock(file_.Get(), F_OFD_SETLK, type)) file_.Reset();
  State("measuring");
}

LiveStream::~LiveStream() { State("ended"); }

void LiveStream::State(const std::string& state) { Publish({{"state", state}}); }

void LiveStream::Status(int status) { Publish({{"status", status}}); }

void LiveStream::Result(const MeasurementResult& result) {
  Publish({{"result", ResultEntry(result)}});
}

// A line that cannot be written is lost: the test itself must not suffer from it.
void LiveStream::Publish(ordered_json entry) {
  if (!file_) return;
  const platform::Clock& clock = platform::Machine().Clock();
  entry["time"] = TimeText(clock.Realtime());
  entry["clock_ns"] = clock.Monotonic().count();
  struct stat state {};
  if (::fstat(file_.Get(), &state) == 0 && state.st_size > kMostBytes) {
    if (::ftruncate(file_.Get(), 0) != 0) return;
  }
  const std::string line = entry.dump() + '\n';
  if (::write(file_.Get(), line.data(), line.size()) < 0) return;
}

LiveFeed::LiveFeed(const std::string& root) : directory_(DirectoryOf(root)) {}

std::vector<pid_t> LiveFeed::Clients() const {
  std::vector<pid_t> clients;
  for (const auto& [client, path] : FilesIn(directory_)) {
    if (IsLocked(path)) clients.push_back(client);
  }
  return clients;
}

std::vector<LiveEntry> LiveFeed::Read() {
  std::vector<LiveEntry> entries;
  const auto files = FilesIn(directory_);
  std::erase_if(offsets_, [&files](const auto& known) { return !files.contains(known.first); });
  for (const auto& [client, path] : files) ReadFile(path, client, entries);
  return entries;
}

void LiveFeed::ReadFile(const std::string& path, pid_t client, std::vector<LiveEntry>& entries) {
  std::ifstream file(path, std::ios::ate);
  if (!file) return;
  const auto [known, is_new] = offsets_.try_emplace(client, 0);
  std::streamoff& offset = known->second;
  if (file.tellg() < offset) offset = 0;  // begun again
  file.seekg(offset);
  const std::size_t before = entries.size();
  for (std::string line; std::getline(file, line) && !file.eof();) {
    offset = file.tellg();
    if (auto entry = EntryOf(line, client)) entries.push_back(std::move(*entry));
  }
  if (is_new && entries.size() > before) {
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(before), entries.end() - 1);
  }
}

}  // namespace host
