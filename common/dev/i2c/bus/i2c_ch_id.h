// A path through the tree of buses and multiplexers: the bus number, then the channel on each
// multiplexer level that there really is.
#pragma once

#include <array>
#include <compare>
#include <initializer_list>
#include <string>

namespace Dev {

class I2cChId {
 public:
  I2cChId() = default;
  /// See operator().
  I2cChId(std::initializer_list<int> values) { (*this)(values); }

  /// Takes the values up to the first one outside 0 to 3: a channel of 4 or 255 says that there is
  /// no multiplexer on that level. At most six.
  I2cChId& operator()(std::initializer_list<int> values);

  int Length() const { return _len; }
  /// -1 outside the path.
  int operator[](int index) const;
  /// The first `length` elements.
  I2cChId Prefix(int length) const;
  /// The elements joined by dots.
  std::string ToString() const;
  void Show(int level) const;

  /// By length first, then by the elements.
  // NOLINTNEXTLINE(modernize-use-nullptr): the check trips over what the compiler writes here
  std::strong_ordering operator<=>(const I2cChId& other) const = default;
  bool operator==(const I2cChId& other) const = default;

 private:
  int _len = 0;
  std::array<int, 6> _seq{};  ///< 0 behind the path
};

}  // namespace Dev
