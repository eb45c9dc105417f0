#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

#include "host/command.h"
#include "host/interruption.h"
#include "host/message_text.h"
#include "host/number_check.h"
#include "host/transport_address.h"
#include "libs/zmb/src/zmb_api.h"
#include "platform/backend.h"

namespace host {
namespace {

using IMSG::IntPubSubMsg;
using Json = nlohmann::ordered_json;

constexpr long kNapMs = 100;  // between looks for Ctrl-C
constexpr std::size_t kLongest = 512;

struct MessagesOptions {
  std::vector<std::string> names;
  int count = 0;
};

struct Subscription {
  const Publisher* from;
  Common::zmb_api::Socket socket;
};

// A name or a number.
std::string UnknownName(const std::string& name) {
  for (int id = IMSG::kFirstMessage; id <= IMSG::kLastMessage; ++id) {
    if (name == IMSG::GetMsgStr(id)) return "";
  }
  return "'" + name + "' is no message's name";
}

// One subscription for each program of the instrument whose hosts file this is.
std::vector<Subscription> Subscribe(void* context, const std::string& hosts, std::string& error) {
  std::vector<Subscription> subscriptions;
  for (const Publisher& from : Publishers()) {
    const std::string address = AddressIn(hosts, from.module);
    const std::string end_point = fmt::format("tcp://{}:{}", address, from.port);
    auto socket = Common::zmb_api::OpenSocket(context, ZMQ_SUB);
    if (address.empty() || !socket || zmq_setsockopt(socket.get(), ZMQ_SUBSCRIBE, "", 0) != 0 ||
        Common::zmb_api::Connect(socket.get(), end_point.c_str()) != 0) {
      error = address.empty() ? fmt::format("etc/hosts has no line for '{}'", from.module)
                              : fmt::format("{}: {}", end_point, std::strerror(errno));
      return {};
    }
    subscriptions.push_back({&from, std::move(socket)});
  }
  return subscriptions;
}

// Prints what comes, as far as it was asked for.
class Printer {
 public:
  Printer(Session& session, const MessagesOptions& options)
      : session_(session), options_(options) {}

  void Show(const Publisher& from, std::span<const std::uint8_t> bytes, int size) {
    if (Done()) return;
    const bool is_message = size == static_cast<int>(sizeof(IntPubSubMsg));
    if (!options_.names.empty() && !(is_message && IsWanted(MessageIn(bytes)))) return;
    ++shown_;
    const timespec now = platform::Machine().Clock().Realtime();
    if (session_.json()) {
      Json json = {
          {"time", static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec)},
          {"from", from.program}};
      json.update(is_message ? MessageJson(MessageIn(bytes)) : OtherJson(bytes, size));
      session_.out() << json.dump() << '\n';
    } else {
      session_.out() << fmt::format(
          "{} {} {}\n", TimeText(now), from.program,
          is_message ? MessageText(MessageIn(bytes)) : OtherText(bytes, size));
    }
    session_.out() << std::flush;
  }
  bool Done() const { return !session_.out() || (options_.count > 0 && shown_ >= options_.count); }

 private:
  static IntPubSubMsg MessageIn(std::span<const std::uint8_t> bytes) {
    IntPubSubMsg message{};
    std::memcpy(static_cast<void*>(&message), bytes.data(), sizeof message);
    return message;
  }
  bool IsWanted(const IntPubSubMsg& message) const {
    return std::ranges::count(options_.names, IMSG::GetMsgStr(message.msgtype)) != 0;
  }
  // What is said as a text ends with a zero byte.
  static std::string Printable(std::span<const std::uint8_t> bytes) {
    const bool is_text = !bytes.empty() && bytes.back() == 0 &&
                         std::ranges::all_of(bytes.first(bytes.size() - 1),
                                             [](auto byte) { return byte >= ' ' && byte <= '~'; });
    return is_text ? std::string(bytes.begin(), bytes.end() - 1) : "";
  }
  static std::string OtherText(std::span<const std::uint8_t> bytes, int size) {
    const std::string text = Printable(bytes);
    return text.empty() ? fmt::format("{} bytes are no message", size)
                        : fmt::format("\"{}\"", text);
  }
  static Json OtherJson(std::span<const std::uint8_t> bytes, int size) {
    const std::string text = Printable(bytes);
    return text.empty() ? Json{{"bytes", size}} : Json{{"text", text}};
  }
  static std::string TimeText(const timespec& now) {
    std::tm local{};
    ::localtime_r(&now.tv_sec, &local);
    return fmt::format("{:02}:{:02}:{:02}.{:03}", local.tm_hour, local.tm_min, local.tm_sec,
                       now.tv_nsec / 1'000'000);
  }

  Session& session_;
  const MessagesOptions& options_;
  int shown_ = 0;
};

// All that waits at one subscription.
void Drain(const Subscription& from, Printer& printer) {
  std::array<std::uint8_t, kLongest> bytes;
  while (!printer.Done()) {
    const int size = zmq_recv(from.socket.get(), bytes.data(), bytes.size(), ZMQ_DONTWAIT);
    if (size < 0) return;
    const auto kept = std::min(static_cast<std::size_t>(size), bytes.size());
    printer.Show(*from.from, {bytes.data(), kept}, size);
  }
}

ExitStatus Messages(Session& session, const MessagesOptions& options) {
  if (session.root().empty()) {
    return session.Fail(ExitStatus::kUsage, "the modules' addresses are in --root DIR; give it");
  }
  const std::string path = session.root() + "/etc/hosts";
  std::ifstream file(path);
  if (!file) {
    return session.Fail(ExitStatus::kUsage,
                        fmt::format("cannot open {}: {}", path, std::strerror(errno)));
  }
  const std::string hosts(std::istreambuf_iterator<char>(file), {});
  Interruption interruption;
  const auto context = Common::zmb_api::OpenContext();
  std::string error = "no message bus";
  const auto subscriptions =
      context ? Subscribe(context.get(), hosts, error) : std::vector<Subscription>();
  if (subscriptions.empty()) return session.Fail(ExitStatus::kNoAnswer, error);
  std::vector<zmq_pollitem_t> items;
  items.reserve(subscriptions.size());
  for (const Subscription& from : subscriptions) {
    items.push_back({from.socket.get(), 0, ZMQ_POLLIN, 0});
  }
  Printer printer(session, options);
  while (!printer.Done() && !interruption.Asked()) {
    Common::zmb_api::Poll(items.data(), static_cast<int>(items.size()), kNapMs);
    for (const Subscription& from : subscriptions) Drain(from, printer);
  }
  return ExitStatus::kOk;
}

Action Declare(CLI::App& app) {
  auto options = std::make_shared<MessagesOptions>();
  app.add_option("--name", options->names, "Only messages of this name; may be repeated")
      ->check(UnknownName)
      ->type_name("NAME");
  app.add_option("--count", options->count, "End after so many; 0: at Ctrl-C")
      ->check(WholeFrom(0, std::numeric_limits<int>::max()))
      ->type_name("N")
      ->capture_default_str();
  app.footer(
      "Shows what the programs of the three modules say to each other, and says nothing itself. "
      "The "
      "addresses\nare those of DIR/etc/hosts. What was said before it subscribed is not shown.\n"
      "\n"
      "Example:\n"
      "  q5host --root /tmp/q5 messages --name LINEFREQMSG --name CHANEVENTMSG --count 10");
  return [options](Session& session) { return Messages(session, *options); };
}

}  // namespace

const Command kMessages{"messages", "show what the modules say to each other", Route::kBus,
                        Declare};

}  // namespace host
