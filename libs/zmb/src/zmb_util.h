// Small helpers of the bus. Threads: any.
#pragma once

#include <cstddef>
#include <sstream>
#include <string>

namespace Common {

/// Name of this machine, at most 127 characters; empty when it is unknown.
std::string HostName();

/// Dotted address of this module on the instrument's network; "127.0.0.1" when it is unknown.
std::string HostIpAddr();

/// Dotted text of an IPv4 address in network byte order.
std::string ToIpString(unsigned long address);

template <class T>
std::string ToString(const T& value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

/// Logs the bytes as lines of offset, 16 bytes in hexadecimal, and the printable characters. Long
/// data is cut after 1024 bytes: a dump is read by a person.
void ShowBuffer(int level, const void* data, size_t len);

}  // namespace Common
