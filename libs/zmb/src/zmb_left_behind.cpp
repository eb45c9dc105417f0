#include "libs/zmb/src/zmb_left_behind.h"

#include "libs/zmb/src/zmb_limits.h"

namespace Common {

ZmbLeftBehind::Reader* ZmbLeftBehind::Find(Socket socket) {
  const auto found = readers_.find(socket);
  return found != readers_.end() ? &found->second : nullptr;
}

void ZmbLeftBehind::FoundEmpty(Socket socket) {
  if (Reader* reader = Find(socket)) reader->left.clear();
}

void ZmbLeftBehind::BeginsToWait(Socket socket) {
  Reader* reader = Find(socket);
  if (reader == nullptr) return;
  reader->left.clear();
  reader->waits = true;
}

void ZmbLeftBehind::EndsToWait(Socket socket, Time now) {
  Reader* reader = Find(socket);
  if (reader == nullptr) return;
  reader->waits = false;
  reader->since = now;
}

void ZmbLeftBehind::HasRead(Socket socket) {
  Reader* reader = Find(socket);
  if (reader == nullptr) return;
  ++reader->reads;
  auto& left = reader->left;
  while (!left.empty() && reader->reads - left.front().reads >= limits::kReadsUntilGone) {
    left.pop_front();
  }
}

// A thread that waits wakes up to clear it away.
void ZmbLeftBehind::Add(Socket socket, std::uint32_t peer) {
  Reader* reader = Find(socket);
  if (reader != nullptr && !reader->waits) reader->left.push_back({peer, reader->reads});
}

bool ZmbLeftBehind::IsReadUntil(Socket socket, Time time) const {
  const auto found = readers_.find(socket);
  return found == readers_.end() || found->second.waits || time < found->second.since;
}

}  // namespace Common
