// How a host command ended; the exit status of q5host.
#pragma once

namespace host {

enum class ExitStatus : int {
  kOk = 0,
  kNak = 1,            ///< the daemon refused the request
  kUsage = 2,          ///< the command line, or a file that it names, is wrong
  kNoAnswer = 3,       ///< cannot connect, or no answer in time
  kMalformed = 4,      ///< the reply does not fit the request
  kUnsettled = 5,      ///< the test ran, but its data did not become valid in time
  kNotWritten = 6,     ///< standard output did not take all of it: a full disk
  kNoSource = 7,       ///< the test ran, but the source did not give what was asked for
  kOtherHost = 8,      ///< another host is connected; the main module takes one
  kInterrupted = 130,  ///< Ctrl-C; the test was stopped
};

}  // namespace host
