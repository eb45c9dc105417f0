// What a command works with: the transport to the daemon and where to print.
#pragma once

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "host/exit_status.h"
#include "host/reply.h"
#include "host/transport.h"

namespace host {

/// A failure in the form of output that was asked for: JSON on `out`, else text on `err`.
void TellFailure(bool json, const std::string& reason, std::ostream& out, std::ostream& err);

class Session {
 public:
  Session(Transport& transport, bool json, std::ostream& out, std::ostream& err)
      : transport_(transport), json_(json), out_(out), err_(err) {}

  /// Sends the request and reads the reply. The reason of a failure other than a NAK is in
  /// `error`, and nothing is printed.
  ExitStatus TryAsk(const Bytes& request, Reply& reply, std::string& error);
  /// As TryAsk. Prints what went wrong; a NAK is left to the caller.
  ExitStatus Ask(const Bytes& request, Reply& reply);
  /// As Ask, with a NAK printed too: for commands that need the reply's data.
  ExitStatus AskForData(const Bytes& request, Reply& reply);

  /// One of the two, by the form of output that was asked for.
  void Print(const std::string& text, const nlohmann::ordered_json& json);

  /// The form of output that was asked for, and where it goes.
  bool json() const { return json_; }
  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }

  /// Which of the two are terminals, on which lines can be drawn over.
  void SetTerminals(bool out, bool err) {
    out_terminal_ = out;
    err_terminal_ = err;
  }
  bool out_terminal() const { return out_terminal_; }
  bool err_terminal() const { return err_terminal_; }

  /// From now on every record is written to `err` in hexadecimal.
  void Trace() { trace_ = true; }
  bool tracing() const { return trace_; }

  /// The instrument's directory, if it is known: from now on a NAK is kept there, see last_nak.h,
  /// and who measures publishes there what it reads, see live_stream.h.
  void SetRoot(std::string root) { root_ = std::move(root); }
  const std::string& root() const { return root_; }

  /// Prints why a command failed, and returns `status`.
  ExitStatus Fail(ExitStatus status, const std::string& reason);

 private:
  void Show(char direction, const Bytes& record);

  Transport& transport_;
  bool json_;
  bool trace_ = false;
  bool out_terminal_ = false;
  bool err_terminal_ = false;
  std::ostream& out_;
  std::ostream& err_;
  std::string root_;
};

}  // namespace host
