// What devices and multiplexers of a bus have in common; not used by itself.
#pragma once

#include <string>
#include <utility>

namespace Dev {

class Device {
 public:
  Device(int mid, int aid, int type, int num, std::string id, int rev)
      : _mid(mid), _aid(aid), _type(type), _num(num), _id(std::move(id)), _rev(rev) {}
  virtual ~Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  void SetRevision(int rev) { _rev = rev; }
  int GetRevision() const { return _rev; }

 protected:
  int _fd = -1;  ///< descriptor of its bus; not owned
  const int _mid, _aid, _type, _num;
  const std::string _id;
  int _rev;
};

}  // namespace Dev
