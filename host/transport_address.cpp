#include "host/transport_address.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace host {
namespace {

constexpr char kIpcPath[] = "tmp/Mos.MeasMgr.ipc";
constexpr char kHostsPath[] = "etc/hosts";

bool IsPort(std::string_view text) {
  int port = 0;
  auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), port);
  return code == std::errc() && end == text.data() + text.size() && port > 0 && port < 65536;
}

// ADDRESS:PORT of a text that may lack the port.
std::optional<std::string> WithPort(std::string_view text, int port) {
  std::size_t colon = text.rfind(':');
  std::string_view address = text.substr(0, colon);
  if (address.empty() || address.find_first_of(":/") != address.npos) return std::nullopt;
  if (colon == text.npos) return fmt::format("{}:{}", address, port);
  if (!IsPort(text.substr(colon + 1))) return std::nullopt;
  return std::string(text);
}

}  // namespace

std::optional<TransportAddress> AddressFrom(std::string_view uri, std::string& error) {
  std::size_t mark = uri.find("://");
  std::string_view scheme = uri.substr(0, mark);
  std::string_view rest = mark == uri.npos ? "" : uri.substr(mark + 3);
  if (scheme == "ipc" && rest.size() > 1 && rest.find('/') != rest.npos && rest.back() != '/') {
    return TransportAddress{TransportAddress::kBus, std::string(uri)};
  }
  if (scheme == "tcp") {
    if (auto address = WithPort(rest, kBusPort))
      return TransportAddress{TransportAddress::kBus, "tcp://" + *address};
  }
  if (scheme == "host") {
    if (auto address = WithPort(rest, kHostPort))
      return TransportAddress{TransportAddress::kHost, *address};
  }
  error =
      fmt::format("'{}' is no address; take ipc://PATH, tcp://ADDRESS[:{}] or host://ADDRESS[:{}]",
                  uri, kBusPort, kHostPort);
  return std::nullopt;
}

std::optional<TransportAddress> AddressUnder(const std::string& root, std::string_view via,
                                             std::string& error) {
  if (via == "bus") return AddressFrom(fmt::format("ipc://{}/{}", root, kIpcPath), error);

  const std::string path = fmt::format("{}/{}", root, kHostsPath);
  std::ifstream file(path);
  if (!file) {
    error = fmt::format("cannot open {}: {}", path, std::strerror(errno));
    return std::nullopt;
  }
  const std::string hosts(std::istreambuf_iterator<char>(file), {});
  const char* name = via == "tcp" ? "meas" : "main";
  const std::string address = AddressIn(hosts, name);
  if (address.empty()) {
    error = fmt::format("{} has no line for '{}'", path, name);
    return std::nullopt;
  }
  return AddressFrom(fmt::format("{}://{}", via, address), error);
}

std::string AddressIn(std::string_view hosts, std::string_view name) {
  std::istringstream lines{std::string(hosts)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string address;
    words >> address;
    using Word = std::istream_iterator<std::string>;
    if (std::find(Word(words), Word(), name) != Word()) return address;
  }
  return "";
}

std::unique_ptr<Transport> MakeTransport(const TransportAddress& address, int timeout_ms) {
  return address.kind == TransportAddress::kBus ? MakeBusTransport(address.address, timeout_ms)
                                                : MakeStreamTransport(address.address, timeout_ms);
}

}  // namespace host
