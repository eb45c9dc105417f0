#include "tests/host/measuring_daemon.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <sstream>

#include "host/app.h"

namespace test {
namespace {

constexpr double kHertz = 50;
constexpr double kFarads = 1e-9;
constexpr double kTanDelta = 0.005;

void PutFloat(Bytes& bytes, std::size_t offset, double value) {
  const auto single = static_cast<float>(value);
  std::memcpy(&bytes.at(offset), &single, sizeof single);
}

}  // namespace

float FloatAt(const Bytes& bytes, std::size_t offset) {
  float value = 0;
  std::memcpy(&value, &bytes.at(offset), sizeof value);
  return value;
}

Bytes NakReply(int opcode, int code, int module) {
  Bytes payload = {21};
  for (const int word : {2, module, code}) PutWord(payload, word);
  payload.resize(131);
  return Record(-opcode, payload);
}

MeasuringDaemon::MeasuringDaemon()
    : peer_("tcp://127.0.0.1:*", [this](const Bytes& request) { return Answer(request); }) {}

Outcome Host(const std::vector<std::string>& words) {
  std::ostringstream out, err;
  const host::ExitStatus status = host::RunHost(words, out, err);
  return {status, out.str(), err.str()};
}

Outcome MeasuringDaemon::Run(const std::string& line) {
  // the peer's thread sees from now on what the test has changed
  { const std::lock_guard lock(guard_); }
  std::vector<std::string> words{"--connect", peer_.uri(), "--timeout", std::to_string(timeout_ms)};
  std::istringstream text(line);
  for (std::string word; text >> word;) words.push_back(word);
  return Host(words);
}

std::vector<int> MeasuringDaemon::Opcodes() {
  const std::lock_guard lock(guard_);
  std::vector<int> list;
  for (const Bytes& request : requests_) {
    if (list.empty() || list.back() != request[2]) list.push_back(request[2]);
  }
  return list;
}

std::vector<Bytes> MeasuringDaemon::Asked(int opcode) {
  const std::lock_guard lock(guard_);
  std::vector<Bytes> list;
  for (const Bytes& request : requests_) {
    if (request[2] == opcode) list.push_back(request);
  }
  return list;
}

std::vector<Bytes> MeasuringDaemon::Answer(const Bytes& request) {
  const std::lock_guard lock(guard_);
  requests_.push_back(request);
  on_request(request);
  const int opcode = request[2];
  if (opcode == silent) return {};
  if (refuse.contains(opcode)) return {NakReply(opcode, refuse[opcode])};
  if (opcode == 0x06) return {ResultReply()};
  if (opcode != 0x46) return {Record(-opcode, {6})};
  Bytes payload = {6};
  PutWord(payload, polls_ < progress.size() ? progress[polls_] : 0);
  ++polls_;
  payload.resize(41);
  return {Record(-0x46, payload)};
}

Bytes MeasuringDaemon::ResultReply() const {
  const double reactive = volts * 2 * std::numbers::pi * kHertz * kFarads;
  const double amps = reactive * std::sqrt(1 + kTanDelta * kTanDelta);
  const double factor = kTanDelta / std::sqrt(1 + kTanDelta * kTanDelta);
  Bytes reply(155 - 2);
  reply[2] = 0xFA, reply[3] = 0xFF, reply[4] = 147, reply[6] = 6;
  reply[7] = static_cast<std::uint8_t>(ranging), reply[8] = static_cast<std::uint8_t>(ranging >> 8);
  reply[15] = static_cast<std::uint8_t>(units), reply[16] = static_cast<std::uint8_t>(units >> 8);
  const std::pair<std::size_t, double> fields[] = {
      {21, volts / 1000},   {25, amps},           {29, volts * amps * factor},
      {33, 100 * factor},   {37, -1 / kTanDelta}, {41, -100 * factor / kTanDelta},
      {65, kFarads * 1e12}, {77, 8000},           {85, kHertz}};
  for (const auto& [offset, value] : fields) PutFloat(reply, offset, value);
  return PutWord(reply, NaiveSum(reply));
}

}  // namespace test
