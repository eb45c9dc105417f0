// The round trip of an 8-byte request through a servant, beside that through a bare libzmq router
// that echoes. The client is the same plain libzmq socket; what differs is the server's loop.
#include <benchmark/benchmark.h>
#include <zmq.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <thread>

#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_simple_servant.h"
#include "platform/backend.h"

namespace {

class Echo : public Servant::ZmbSimpleServant {
 public:
  Echo() { SetZid("Bench.Echo"); }
  void SetFeUris() override {
    _sockfe->AddLink(Common::INPROC, "/bench");
    AddFeIpcLink();
  }
  int Handle(Common::ZmbMessage* msg) override {
    // a reply of the request's size, as a handler makes it in a buffer of its own
    std::memcpy(reply_, msg->GetPayload().first, sizeof reply_);
    return msg->SetPayload(reply_, sizeof reply_);
  }

 private:
  char reply_[8] = {};
};

class ServantServer {
 public:
  explicit ServantServer(const std::string&) { echo_.Init(); }
  void* Context() { return echo_.GetZmqCtx(); }
  void Serve() { echo_.Start(); }
  void Stop() { echo_.Stop(); }

 private:
  Echo echo_;
};

class BareServer {
 public:
  explicit BareServer(const std::string& root) : context_(zmq_ctx_new()) {
    router_ = zmq_socket(context_, ZMQ_ROUTER);
    zmq_bind(router_, "inproc:///bench");
    zmq_bind(router_, ("ipc://" + root + "/tmp/Bench.Echo.ipc").c_str());
  }
  ~BareServer() {
    zmq_close(router_);
    zmq_ctx_term(context_);
  }
  void* Context() { return context_; }
  void Serve() {
    while (running_) {
      int more = 1;
      while (more != 0) {
        zmq_msg_t msg;
        zmq_msg_init(&msg);
        zmq_msg_recv(&msg, router_, 0);
        more = zmq_msg_more(&msg);
        zmq_msg_send(&msg, router_, more != 0 ? ZMQ_SNDMORE : 0);
      }
    }
  }
  void Stop() { running_ = false; }

 private:
  void* context_;
  void* router_;
  std::atomic<bool> running_{true};
};

std::string root;

void RoundTrip(void* client) {
  char data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  zmq_send(client, data, sizeof data, 0);
  if (zmq_recv(client, data, sizeof data, 0) != sizeof data) std::abort();
}

double ThreadNs() {
  timespec used{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e9 + static_cast<double>(used.tv_nsec);
}

/// `server_ns` is the processor time of the server's thread for one request, which separates
/// the two loops also on a busy machine.
template <class Server>
void BM_RoundTrip(benchmark::State& state, bool inproc) {
  Server server(root);
  void* client = zmq_socket(server.Context(), ZMQ_REQ);
  zmq_connect(client,
              inproc ? "inproc:///bench" : ("ipc://" + root + "/tmp/Bench.Echo.ipc").c_str());
  double server_ns = 0;
  std::thread loop([&] {
    server.Serve();
    server_ns = ThreadNs();
  });
  RoundTrip(client);
  for (auto _ : state) RoundTrip(client);
  server.Stop();
  zmq_send(client, "last", 4, 0);  // a loop that waits looks at its flag after the next message
  loop.join();
  const int linger = 0;
  zmq_setsockopt(client, ZMQ_LINGER, &linger, sizeof linger);
  state.counters["server_ns"] = server_ns / static_cast<double>(state.iterations() + 2);
  zmq_close(client);
}

constexpr auto* BareRouter = &BM_RoundTrip<BareServer>;
constexpr auto* SimpleServant = &BM_RoundTrip<ServantServer>;
BENCHMARK_CAPTURE(BareRouter, ipc, false)->UseRealTime();
BENCHMARK_CAPTURE(SimpleServant, ipc, false)->UseRealTime();
BENCHMARK_CAPTURE(BareRouter, inproc, true)->UseRealTime();
BENCHMARK_CAPTURE(SimpleServant, inproc, true)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  char name[] = "/tmp/zmbbenchXXXXXX";
  root = mkdtemp(name);
  std::filesystem::create_directory(root + "/tmp");
  setenv("Q5_ROOT", root.c_str(), 1);
  // as in a daemon whose log filters the bus out
  Common::zmb_log.Connect([](int, const char*, std::va_list) {}, [](int) { return false; });
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  std::filesystem::remove_all(root);
  return 0;
}
