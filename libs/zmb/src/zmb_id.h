// A bus identity: group, dot, member, such as "Mos.MeasMgr".
#pragma once

#include <string>
#include <typeinfo>
#include <utility>

namespace Common {

class ZmbID {
 public:
  ZmbID() = default;
  explicit ZmbID(std::string value);
  /// Data and length; the bytes are copied. Null data or a length below 1 make an invalid
  /// identity.
  explicit ZmbID(std::pair<void*, int> value);

  const std::string& GetStr() const { return _value; }
  /// The first dot is neither the first nor the last character.
  bool IsValid() const { return _isvalid; }

  /// Logs group and member at level 7.
  void ShowID() const;

  /// -2 this one is invalid, -1 the other is, 0 equal, 1 same group, 2 other group.
  int CompID(const ZmbID& other) const;

  bool operator==(const ZmbID& other) const { return _value == other._value; }

 private:
  std::string_view Group() const;

  std::string _value;
  int _val_len = 0;   ///< whole length
  int _grp_len = -1;  ///< offset of the first dot; -1 without one
  int _srv_len = 0;   ///< length behind the first dot
  bool _isvalid = false;
};

/// The demangled name of a type, such as "Mos::MeasMgr".
std::string ClassName(const std::type_info& type);

/// `text` with every `from` (not empty) replaced by `to`.
std::string StrReplace(std::string text, const std::string& from, const std::string& to);

/// The identity that an object gets from its own run-time class: Mos::MeasMgr gives "Mos.MeasMgr".
/// Not valid for a class outside any namespace.
template <class T>
void MakeID(const T& object, ZmbID& id) {
  id = ZmbID(StrReplace(ClassName(typeid(object)), "::", "."));
}

}  // namespace Common
