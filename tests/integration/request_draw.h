// Random requests of the host, each a whole record with the right length and sum.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "common/msg/records/hmp_opcodes.h"
#include "host/hex.h"

namespace test {

class RequestDraw {
 public:
  explicit RequestDraw(std::uint64_t seed);
  host::Bytes Next();

 private:
  /// The bytes of one element.
  void Fill(const Msg::Field& field, std::uint8_t* out);
  std::uint32_t WholeNumber();
  float RealNumber();
  template <class Pool>
  auto One(const Pool& pool) {
    return pool[std::uniform_int_distribution<std::size_t>(0, std::size(pool) - 1)(random_)];
  }

  std::mt19937_64 random_;
  std::vector<const Msg::Message*> messages_;
};

}  // namespace test
