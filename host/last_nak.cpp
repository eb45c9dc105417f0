#include "host/last_nak.h"

#include <fstream>

#include "host/hex.h"

namespace host {

std::string NakFile(const std::string& root) { return root + "/tmp/q5host.nak"; }

void KeepNak(const std::string& file, const Refusal& refusal) {
  std::ofstream(file, std::ios::trunc) << HexText(refusal.request) << '\n'
                                       << HexText(refusal.reply) << '\n';
}

std::optional<Refusal> LastNak(const std::string& file) {
  std::ifstream in(file);
  std::string request, reply;
  if (!std::getline(in, request) || !std::getline(in, reply)) return std::nullopt;
  std::string error;
  const auto request_bytes = ParseHex(request, error);
  const auto reply_bytes = ParseHex(reply, error);
  if (!request_bytes || !reply_bytes) return std::nullopt;
  return Refusal{*request_bytes, *reply_bytes};
}

}  // namespace host
