// Cuts a host's byte stream into records.
//
// A record is a six-byte header (source, destination, opcode, length; little-endian), `length`
// bytes and a two-byte checksum, which is not looked at here: the measurement daemon answers for
// it.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace simulator {

class RecordCutter {
 public:
  using Record = std::vector<std::byte>;

  static constexpr std::size_t kHeaderBytes = 6;
  static constexpr std::size_t kChecksumBytes = 2;

  /// Ignored once Broken().
  void Feed(std::span<const std::byte> bytes);
  /// The next whole record, or nothing until more bytes come.
  ///
  /// A negative length leaves no way to find where the next record starts. Its header then comes
  /// out as one last record of 8 bytes, its checksum zero, whatever else had arrived, and the
  /// stream is broken from there on.
  std::optional<Record> Next();
  bool Broken() const { return broken_; }

 private:
  std::vector<std::byte> pending_;
  std::size_t start_ = 0;  ///< of the next record in pending_
  bool broken_ = false;
};

}  // namespace simulator
