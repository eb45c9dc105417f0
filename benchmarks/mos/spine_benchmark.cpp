// Round trip of the progress request through the daemon, and of the result poll in a running test,
// beside a bare ZeroMQ router that echoes the same frames in a process of its own; start-up time;
// resident memory.
//   spine_benchmark [requests for the memory figure, default 100000]
//
// Daemon and echo are asked in turns of a few hundred requests, so that both see the same machine.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/common/msg/records/wire.h"
#include "tests/integration/process.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

const test::Bytes kProgress = test::WireRecord(0x46);
const test::Bytes kResult = test::WireRecord(0x06, {1, 0, 0, 0});

// A test on the daemon's own terms: 100 V, 60 Hz, voltage on channel 1 and current on channel 2.
std::vector<test::Bytes> RunningTest() {
  test::Bytes set_up, update;
  for (int word : {7, 0x1200, 0, 0, 0, 0, 100}) test::PutWord(set_up, word);
  set_up.resize(32);
  for (int word : {0, 0, 0, 0, 0, 0, 100, 0, 0}) test::PutWord(update, word);
  update.insert(update.end(), {0, 0, 0x70, 0x42});  // 60.0
  return {test::WireRecord(0x03, set_up), test::WireRecord(0x17, test::Bytes(36)),
          test::WireRecord(0x04, update), test::WireRecord(0x05)};
}

[[noreturn]] void RunEcho(const std::vector<std::string>& uris) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  void* context = zmq_ctx_new();
  void* router = zmq_socket(context, ZMQ_ROUTER);
  for (const std::string& uri : uris) {
    if (zmq_bind(router, uri.c_str()) != 0) {
      std::perror(uri.c_str());
      ::_exit(1);
    }
  }
  for (;;) {
    zmq_msg_t frame;
    zmq_msg_init(&frame);
    if (zmq_msg_recv(&frame, router, 0) < 0) ::_exit(1);
    const int more = zmq_msg_more(&frame);
    zmq_msg_send(&frame, router, more != 0 ? ZMQ_SNDMORE : 0);
  }
}

class Client {
 public:
  Client(void* context, const std::string& uri) : socket_(zmq_socket(context, ZMQ_DEALER)) {
    int patience = 5000;
    int linger = 0;
    zmq_setsockopt(socket_, ZMQ_RCVTIMEO, &patience, sizeof patience);
    zmq_setsockopt(socket_, ZMQ_LINGER, &linger, sizeof linger);
    zmq_connect(socket_, uri.c_str());
  }
  ~Client() { zmq_close(socket_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Microseconds of one round trip.
  double Ask(const test::Bytes& record = kProgress) {
    const auto start = SteadyClock::now();
    zmq_send(socket_, "", 0, ZMQ_SNDMORE);
    zmq_send(socket_, "1", 1, ZMQ_SNDMORE);
    zmq_send(socket_, record.data(), record.size(), 0);
    char buffer[256];
    for (int frame = 0; frame < 3; ++frame) {
      if (zmq_recv(socket_, buffer, sizeof buffer, 0) < 0) {
        std::fprintf(stderr, "no answer\n");
        std::exit(1);
      }
    }
    return std::chrono::duration<double, std::micro>(SteadyClock::now() - start).count();
  }

 private:
  void* socket_;
};

double Quantile(std::vector<double>& sorted, double share) {
  return sorted[static_cast<size_t>(share * static_cast<double>(sorted.size() - 1))];
}

void Compare(const char* name, Client& daemon, Client& echo, int turns, int per_turn, int gap_ms,
             const test::Bytes& record = kProgress) {
  std::vector<double> of_daemon, of_echo;
  for (int i = 0; i < 200; ++i) daemon.Ask(record), echo.Ask(record);
  for (int turn = 0; turn < turns; ++turn) {
    for (auto [client, times] : {std::pair{&daemon, &of_daemon}, {&echo, &of_echo}}) {
      for (int i = 0; i < per_turn; ++i) {
        if (gap_ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(gap_ms));
        times->push_back(client->Ask(record));
      }
    }
  }
  std::sort(of_daemon.begin(), of_daemon.end());
  std::sort(of_echo.begin(), of_echo.end());
  const double median = Quantile(of_daemon, 0.5), echo_median = Quantile(of_echo, 0.5);
  const double p99 = Quantile(of_daemon, 0.99), echo_p99 = Quantile(of_echo, 0.99);
  std::printf(
      "%-20s median %7.1f us  echo %7.1f us  ratio %.3f   p99 %7.1f us  echo %7.1f us  ratio "
      "%.3f\n",
      name, median, echo_median, median / echo_median, p99, echo_p99, p99 / echo_p99);
}

double StartUpMilliseconds(test::Bench& bench, void* context) {
  std::vector<double> times;
  for (int i = 0; i < 10; ++i) {
    bench.daemon.reset();
    ::unlink(bench.ipc_path().c_str());
    const auto start = SteadyClock::now();
    bench.daemon = std::make_unique<test::Process>("mos", std::vector<std::string>{"--foreground"},
                                                   bench.environment());
    Client(context, "ipc://" + bench.ipc_path()).Ask();
    times.push_back(std::chrono::duration<double, std::milli>(SteadyClock::now() - start).count());
  }
  std::sort(times.begin(), times.end());
  return Quantile(times, 0.5);
}

}  // namespace

int main(int argc, char* argv[]) {
  const long requests = argc > 1 ? std::atol(argv[1]) : 100000;
  test::Bench bench;
  bench.StartDaemon();
  const std::string address = bench.AddressOf("meas");
  const std::string echo_ipc = "ipc://" + (bench.root / "echo.ipc");
  const std::string echo_tcp = "tcp://" + address + ":3999";
  const pid_t echo = ::fork();
  if (echo == 0) RunEcho({echo_ipc, echo_tcp});

  void* context = zmq_ctx_new();
  {
    Client daemon_ipc(context, "ipc://" + bench.ipc_path()), to_echo_ipc(context, echo_ipc);
    Client daemon_tcp(context, "tcp://" + address + ":3088"), to_echo_tcp(context, echo_tcp);
    Compare("ipc back to back", daemon_ipc, to_echo_ipc, 40, 500, 0);
    Compare("tcp back to back", daemon_tcp, to_echo_tcp, 40, 500, 0);
    Compare("ipc 5 ms gaps", daemon_ipc, to_echo_ipc, 20, 50, 5);
    Compare("tcp 5 ms gaps", daemon_tcp, to_echo_tcp, 20, 50, 5);

    for (const test::Bytes& request : RunningTest()) daemon_ipc.Ask(request);
    Compare("0x46 in a test", daemon_ipc, to_echo_ipc, 40, 200, 0);
    Compare("0x06 in a test", daemon_ipc, to_echo_ipc, 40, 200, 0, kResult);
    daemon_ipc.Ask(test::WireRecord(0x07));

    const long idle = bench.daemon->ResidentKib();
    for (long i = 0; i < requests; ++i) daemon_ipc.Ask();
    std::printf("resident memory      %ld KiB, after %ld more requests %ld KiB\n", idle, requests,
                bench.daemon->ResidentKib());
  }
  std::printf("start to first reply %.1f ms\n", StartUpMilliseconds(bench, context));
  zmq_ctx_term(context);
  ::kill(echo, SIGKILL);
  ::waitpid(echo, nullptr, 0);
  return 0;
}
