#include "tests/integration/process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace test {
namespace {

using SteadyClock = std::chrono::steady_clock;

[[noreturn]] void Become(const std::string& program, const std::vector<std::string>& arguments,
                         const Process::Environment& environment, int output) {
  ::unsetenv("Q5_ROOT");
  for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
  int input = ::open("/dev/null", O_RDONLY);
  ::dup2(input, 0);
  ::dup2(output, 1);
  ::dup2(output, 2);
  std::vector<char*> argv;
  const std::string path = std::string(Q5_BIN_DIR) + "/" + program;
  argv.push_back(const_cast<char*>(path.c_str()));
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  ::execv(path.c_str(), argv.data());
  ::_exit(126);
}

}  // namespace

Process::Process(const std::string& program, const std::vector<std::string>& arguments,
                 const Environment& environment) {
  // Not a pipe, which would hold the program up when the test does not read.
  output_ = ::memfd_create("output", MFD_CLOEXEC);
  if (output_ < 0) throw std::runtime_error("memfd_create failed");
  pid_ = ::fork();
  if (pid_ == 0) Become(program, arguments, environment, output_);
}

Process::~Process() {
  if (Running()) {
    Signal(SIGKILL);
    Wait();
  }
  ::close(output_);
}

std::string Process::Output() const {
  std::string text;
  char buffer[4096];
  for (ssize_t n;
       (n = ::pread(output_, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;) {
    text.append(buffer, static_cast<size_t>(n));
  }
  return text;
}

bool Process::WaitForOutput(const std::string& text, Milliseconds patience) {
  const auto deadline = SteadyClock::now() + patience;
  for (;;) {
    const bool running = Running();
    if (Output().find(text) != std::string::npos) return true;
    if (!running || SteadyClock::now() > deadline) return false;
    std::this_thread::sleep_for(Milliseconds(2));
  }
}

std::optional<int> Process::Wait(Milliseconds patience) {
  const auto deadline = SteadyClock::now() + patience;
  while (Running()) {
    if (SteadyClock::now() > deadline) return std::nullopt;
    std::this_thread::sleep_for(Milliseconds(2));
  }
  return status_;
}

bool Process::Running() {
  if (status_) return false;
  int status = 0;
  if (::waitpid(pid_, &status, WNOHANG) != pid_) return true;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return false;
}

void Process::Signal(int signal_number) {
  if (Running()) ::kill(pid_, signal_number);
}

long Process::ResidentKib() const {
  std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
  for (std::string word; status >> word;) {
    if (word == "VmRSS:") {
      long kib = 0;
      status >> kib;
      return kib;
    }
  }
  return -1;
}

Result RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                  const Process::Environment& environment) {
  Process process(program, arguments, environment);
  auto status = process.Wait();
  return {status.value_or(-1), process.Output()};
}

Bench::Bench() { StartSimulator(); }

Bench::~Bench() {
  std::ifstream lock(root / "tmp/moslock");
  pid_t pid = 0;
  if (lock >> pid && pid > 1) ::kill(pid, SIGKILL);
}

void Bench::StartSimulator() {
  simulator.reset();
  simulator = std::make_unique<Process>(
      "q5sim", std::vector<std::string>{"--root", root.Path(), "--subnet", subnet_});
  if (!simulator->WaitForOutput("q5sim ready")) {
    throw std::runtime_error("q5sim did not start: " + simulator->Output());
  }
  const std::string address = AddressOf("main");
  subnet_ = address.substr(0, address.rfind('.'));
}

void Bench::StartDaemon(const std::vector<std::string>& more_options) {
  daemon.reset();
  std::vector<std::string> options{"--foreground"};
  options.insert(options.end(), more_options.begin(), more_options.end());
  daemon = std::make_unique<Process>("mos", options, environment());
  const auto deadline = SteadyClock::now() + kPatience;
  while (Host({"--timeout", "200", "progress"}).status != 0) {
    if (!daemon->Running() || SteadyClock::now() > deadline) {
      throw std::runtime_error("mos did not start: " + daemon->Output());
    }
  }
}

Result Bench::Host(const std::vector<std::string>& arguments) {
  std::vector<std::string> words{"--root", root.Path()};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return RunProgram("q5host", words);
}

std::string Bench::AddressOf(const std::string& module) const {
  std::ifstream hosts(root / "etc/hosts");
  for (std::string line; std::getline(hosts, line);) {
    std::istringstream words(line);
    std::string address, name;
    if (words >> address >> name && name == module) return address;
  }
  throw std::runtime_error("no address of " + module);
}

int Bench::Connect(const std::string& module, int port) const {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  ::inet_pton(AF_INET, AddressOf(module).c_str(), &address.sin_addr);
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return fd;
  ::close(fd);
  return -1;
}

Result Bench::Control(const std::vector<std::string>& words) {
  std::vector<std::string> arguments{"ctl", "--root", root.Path()};
  arguments.insert(arguments.end(), words.begin(), words.end());
  return RunProgram("q5sim", arguments);
}

}  // namespace test
