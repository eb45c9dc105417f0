// The base of what the log names: channels, their machines, the corrections.
#pragma once

enum ACQ_CHAN_NUM : int { ACQ_CH1 = 0, ACQ_CH2 = 1, ACQ_CHAN_COUNT = 2 };

class DObj {
 public:
  /// `name` outlives the object.
  explicit DObj(const char* name) : Name(name) {}
  explicit DObj(ACQ_CHAN_NUM ch) : Name(ch == ACQ_CH1 ? "AcqCh.1" : "AcqCh.2") {}

  const char* name() const { return Name; }

 protected:
  ~DObj() = default;

  const char* Name;
};
