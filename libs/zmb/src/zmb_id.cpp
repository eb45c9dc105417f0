#include "libs/zmb/src/zmb_id.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <string_view>

#include "libs/zmb/src/zmb_log.h"

namespace Common {

ZmbID::ZmbID(std::string value)
    : _value(std::move(value)), _val_len(static_cast<int>(_value.size())) {
  const size_t dot = _value.find('.');
  if (dot == std::string::npos) return;
  _grp_len = static_cast<int>(dot);
  _srv_len = _val_len - _grp_len - 1;
  _isvalid = _grp_len > 0 && _srv_len > 0;
}

ZmbID::ZmbID(std::pair<void*, int> value)
    : ZmbID(value.first != nullptr && value.second > 0
                ? std::string(static_cast<const char*>(value.first), value.second)
                : std::string()) {}

std::string_view ZmbID::Group() const {
  return std::string_view(_value).substr(0, _grp_len < 0 ? 0 : _grp_len);
}

void ZmbID::ShowID() const {
  zmb_log.Print(ZMB_DEBUG, "<ZmbID gid=%s  mid=%s/>\n", std::string(Group()).c_str(),
                _value.c_str() + _val_len - _srv_len);
}

int ZmbID::CompID(const ZmbID& other) const {
  if (!_isvalid) return -2;
  if (!other._isvalid) return -1;
  if (Group() != other.Group()) return 2;
  return _value == other._value ? 0 : 1;
}

std::string ClassName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return status == 0 ? name.get() : type.name();
}

std::string StrReplace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

}  // namespace Common
