// One chip of the board, found by its key, and the primitives that reach it.
//
// Results of transfers: a count on success; -1 for a failed write, or a failed address selection
// in Read and Wread; -2 for a failed address selection in Write; -7 when the path through the
// multiplexers could not be selected.
// Threads: transfers belong to the I2C worker; other threads ask I2cMgr. The map of devices does
// not change after start-up.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "common/dev/i2c/bus/device.h"
#include "common/dev/i2c/bus/device_ids.h"
#include "common/dev/i2c/bus/i2c_ch_id.h"
#include "common/dev/i2c/bus/i2c_info.h"
#include "common/msg/state/hmp_data.h"

namespace Dev {

inline constexpr int kNoPath = -7;

class I2cDev : public Device {
 public:
  enum Act : int {
    do_read = 0,
    do_write = 1,
    do_wread = 2,
    do_psocwread = 3,
    do_rawread = 4,
  };
  enum Retrycases_t : int {
    WRITE_I2C_RETRY = 1,
    WRITE_I2C_SPECIAL = 2,
    READ_I2C_RETRY = 3,
    WRITE_READ_I2C_RETRY = 4,
  };
  using Map = std::map<std::string, std::unique_ptr<I2cDev>>;

  /// Requires a bus of 1 or 2.
  explicit I2cDev(const I2cDevInfo& info);

  /// What the scanner does with the chip: 0, or a fault value.
  virtual int Read() = 0;

  // --- Transfers. Each selects the path and the address first. ---

  virtual int Read(char* buf, int len);
  virtual int Write(char* buf, int len);
  /// Writes `len` bytes, waits 160 us, reads `len2` bytes into `buf2`.
  virtual int Wread(char* buf, int len, char* buf2, int len2);
  /// Two writes, then a read of `len2` bytes into `buf2`. `len` holds two lengths of at most 128:
  /// bits 15:0 for the bytes at `buf`, bits 31:16 for those at `buf` + 128.
  virtual int PsocWread(char* buf, int len, char* buf2, int len2);

  /// A request by its `act`; -1 for one that the device does not know. The path stays selected.
  virtual int DoReq(char* buf, int len, char* buf2, int len2, Act act);
  /// The transfer of `act` itself, with the path switched off afterwards.
  virtual int DoReqOriginal(char* buf, int len, char* buf2, int len2, Act act);

  virtual const std::string& GetKey() const { return _key; }
  virtual int GetBus() const { return _bus; }
  virtual int GetRate() const { return _rate; }
  virtual int GetType() const { return _type; }
  virtual const std::string& GetId() const { return _id; }
  virtual const I2cDevInfo& GetInfo() const { return _info; }
  /// A descriptor of the device's bus, owned by the caller.
  virtual void SetFd(int fd) { _fd = fd; }
  virtual void Show(int level) const;
  /// Revision of a front-panel or power stage program; -1 for other chips.
  virtual int GetPSCFPGARev() { return -1; }

  /// The multiplexers of the path, from the bus on. The bus's descriptor, or -1.
  int TurnOnI2cMux(bool force);
  /// The multiplexers of the path, the deepest first. 0 or -1.
  int TurnOffI2cMux();

  /// True for a device that is read during a test, too.
  bool GetScanReq() const { return _info._scanreq; }
  const I2cChId& Path() const { return _cid; }
  /// True for the front-panel FPGA of the main module.
  bool IsFPFPGA() const { return _key == _fpfpgakey; }

  /// While at least one SetVar has no ResetVar, requests go through DoReqOriginal. Any thread.
  void SetVar();
  void ResetVar();
  bool DoesOriginal() const { return _doreqorig > 0; }

  // --- All devices, by key ---

  static Map& GetDevices();
  /// A key that is taken already keeps its device.
  static void AddDevice(std::unique_ptr<I2cDev> device);
  /// Null for a key without device.
  static I2cDev* GetDevice(const std::string& key);
  static void DelDevices();

  /// Creates the devices of a module (MODULE_ID) whose chips this program drives; the second call
  /// in a process only takes `state`, which all devices share and which outlives them.
  static void LoadI2cDevices(int mid, int rev, Msg::HMPData& state);
  /// Adds the temperature sensors of the channel boards, whose address follows from the CPLD
  /// identities in the state. Nothing for the main module.
  static void appndDevTbl(int mid, int rev);

 protected:
  /// Adds the error word `code` with one data word.
  static void i2c_report_nak(int code, int value);
  /// True while the host's present message is 40.
  static bool NewMessageHandling();
  /// The sensors that count for the fans, by SensorId.
  static std::span<const int> InternalSensors();

  const char _addr;
  const char _bus;
  const unsigned char _hmux, _lmux;
  const int _rate;
  const std::string _key;
  const I2cChId _cid;
  const I2cDevInfo _info;

 private:
  int Transfer(char* buf, int len, char* buf2, int len2, Act act);
  /// Path and address: 0, -1 when the address could not be selected, or kNoPath.
  int Select(const char* func);

  static const std::string _fpfpgakey;
  static Msg::HMPData* state_;

  std::atomic<int> _doreqorig{0};  ///< SetVar calls without their ResetVar
};

/// Sends the requests of a device through DoReqOriginal for a scope. `device` may be null.
template <class T>
class autoimpvar {
 public:
  explicit autoimpvar(T* device) : device_(device) {
    if (device_ != nullptr) device_->SetVar();
  }
  ~autoimpvar() {
    if (device_ != nullptr) device_->ResetVar();
  }
  autoimpvar(const autoimpvar&) = delete;
  autoimpvar& operator=(const autoimpvar&) = delete;

 private:
  T* device_;
};

}  // namespace Dev
