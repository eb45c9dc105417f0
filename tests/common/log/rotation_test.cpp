// Rotation: the ring, the number file, what fails, and lines that many threads write meanwhile.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <thread>

#include "common/lib/pthreadobj.h"
#include "platform/semaphore.h"
#include "tests/common/log/log_bench.h"

namespace {

using namespace log_bench;
using namespace Logger;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::int64_t kRingFileBytes = 21504 * 1024;

class RotationTest : public LogTest {
 protected:
  void Rotate(logger_mgr& logger, const std::string& text) {
    Say(text);
    logger.RotateLogFile(kReopenFlags, 1);
    Queue::RunAll();
  }
  std::string Numbers() const { return Read("/media/mmcblk0p2/logs/moslog.txt").substr(0, 5); }
};

TEST_F(RotationTest, TheFirstLogOfABootReachesTheRingAndTheMounts) {
  AsDaemon([&](logger_mgr& logger) { Rotate(logger, "first"); });
  const std::string stored = Read(Ring(1));
  EXPECT_THAT(stored, HasSubstr("meas:5 first\n"));
  for (const char* place : {"", "/mnt/main", "/mnt/src"}) {
    SCOPED_TRACE(place);
    EXPECT_EQ(Read(place + Ring(1)), stored);
    EXPECT_EQ(Read(place + std::string(kRing) + "moslog.boot"), stored);
    EXPECT_THAT(Read(place + std::string(kRing) + "moslog.txt"),
                StartsWith("1 2\n0: /media/mmcblk0p2/logs/moslog.02\n"));
  }
  EXPECT_FALSE(Exists("/staging/moslog.01"));
  EXPECT_THAT(Read(kLog), Not(HasSubstr("first")));
}

TEST_F(RotationTest, ARingFileIsFilledBeforeTheNextAndAfter20Follows1) {
  std::string small, full;
  AsDaemon([&](logger_mgr& logger) {
    Rotate(logger, "one");
    Rotate(logger, "two");
    small = Numbers();
    // one byte of room less than the log has
    fs::resize_file(At(Ring(1)), kRingFileBytes - 1);
    Rotate(logger, "three");
    full = Numbers();
    for (int number = 2; number <= 20; ++number) {
      fs::resize_file(At(Ring(number)), kRingFileBytes);
      Rotate(logger, "step");
    }
  });
  EXPECT_EQ(small, "1 2\n0");
  EXPECT_EQ(full, "1 3\n0");
  EXPECT_THAT(Read("/mnt/main" + Ring(1)), HasSubstr("step"));  // 20 was full: 1 was taken again
  EXPECT_THAT(Read(Ring(1)), Not(HasSubstr("two")));
  EXPECT_THAT(Read(Ring(2)), HasSubstr("three"));
  EXPECT_EQ(Numbers(), "1 2\n1");
  EXPECT_FALSE(Exists(Ring(0)));
  EXPECT_FALSE(Exists(Ring(21)));
}

TEST_F(RotationTest, ABootContinuesAtTheNumberOfTheFile) {
  const struct {
    const char* numbers;
    int used;
  } cases[] = {{"2 7\n", 7}, {"2 20\n", 20}, {"2 21\n", 1}, {"rubbish\n", 1}, {"", 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.numbers);
    for (const auto& file : fs::directory_iterator(At(kRing))) fs::remove(file);
    Write(std::string(kRing) + "moslog.txt", c.numbers);
    AsDaemon([&](logger_mgr& logger) { Rotate(logger, "here"); });
    EXPECT_THAT(Read(Ring(c.used)), HasSubstr("here"));
    const int next = c.used % 20 + 1;
    EXPECT_THAT(Read(std::string(kRing) + "moslog.txt"),
                StartsWith(std::to_string(c.used) + " " + std::to_string(next) + "\n"));
  }
}

TEST_F(RotationTest, ALogThatCannotBeStoredIsKept) {
  // No staging directory: the log waits until there is one, and the next one grows meanwhile.
  AsDaemon([&](logger_mgr& logger) {
    fs::remove(At("/staging"));
    Rotate(logger, "unstaged");
    Rotate(logger, "next");
    fs::create_directory(At("/staging"));
    for (int i = 0; i < 9; ++i) logger.RotateLogFile(kReopenFlags, 0);
    Queue::RunAll();
    logger.RotateLogFile(kReopenFlags, 0);
  });
  EXPECT_THAT(Read(Ring(1)), testing::AllOf(HasSubstr("unstaged"), Not(HasSubstr("next"))));
  EXPECT_THAT(Read(kLog), HasSubstr("next"));
  EXPECT_EQ(Numbers(), "1 2\n0");

  // No place takes the backup: it waits in staging.
  fs::rename(At("/media"), At("/gone"));
  fs::rename(At("/mnt"), At("/unmounted"));
  std::string waiting;
  AsDaemon([&](logger_mgr& logger) {
    Rotate(logger, "homeless");
    waiting = Read("/staging/moslog.01");
    fs::rename(At("/gone"), At("/media"));
    for (int i = 0; i < 10; ++i) logger.RotateLogFile(kReopenFlags, 0);
    Queue::RunAll();
  });
  EXPECT_THAT(waiting, HasSubstr("homeless"));
  EXPECT_THAT(Read(Ring(1)), HasSubstr("homeless"));
  EXPECT_FALSE(Exists("/staging/moslog.01"));
}

TEST_F(RotationTest, ALogThatNoDiskTakesIsEmptiedAtItsLimit) {
  struct Case {
    const char* what;
    bool staging;
    bool queue;
    unsigned waiting;
  };
  for (const Case& c : {Case{"no staging directory", false, true, kMaxLogSize / 4},
                        Case{"no queue", true, false, kMaxLogSize / 4},
                        Case{"little left", true, false, kMaxLogSize / 10 * 9}}) {
    SCOPED_TRACE(c.what);
    if (!c.staging) fs::remove(At("/staging"));
    std::uintmax_t below = 0, after = 0;
    AsDaemon([&](logger_mgr& logger) {
      if (!c.queue) logger.SetBackgroundQueue(nullptr);
      fs::resize_file(At(kLog), c.waiting);
      Rotate(logger, "stays in memory");
      // what waits and what is new share the limit
      fs::resize_file(At(kLog), kMaxLogSize - c.waiting - 4096);
      logger.CheckUpdate();
      below = fs::file_size(At(kLog));
      fs::resize_file(At(kLog), kMaxLogSize - c.waiting);
      logger.CheckUpdate();
      after = fs::file_size(At(kLog));
    });
    EXPECT_GE(below, std::uintmax_t{kMaxLogSize} - c.waiting - 4096);
    EXPECT_LT(after, 4096U);
    EXPECT_THAT(Read(kLog), HasSubstr("Logger: dropped"));
    fs::create_directory(At("/staging"));
  }
}

/// Paths of `disk` are not to be had until it comes back.
class HangingDisk : public platform::LocalBackend {
 public:
  HangingDisk(platform::MachineInPlace<platform::RecordingShell>& machine,
              std::string_view its_disk)
      : LocalBackend(machine.instrument, machine.clock, machine.root.Path()), disk(its_disk) {}
  std::string Path(std::string_view path) const override {
    while (hangs && path.starts_with(disk)) {
      reached = true;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return LocalBackend::Path(path);
  }
  const std::string_view disk;
  std::atomic<bool> hangs{true};
  mutable std::atomic<bool> reached{false};
};

TEST_F(RotationTest, AShareThatHangsDelaysOnlyItsOwnCopies) {
  HangingDisk backend(machine, "/mnt/main/");
  const platform::ScopedBackend scope(backend);
  constexpr int kRotations = 7;  // one hangs, four wait
  AsDaemon([&](logger_mgr& logger) {
    logger_mgr::SetModuleLevel(mainL, kWarning);
    for (int i = 1; i <= kRotations; ++i) {
      const std::string text = "log " + std::to_string(i);
      Rotate(logger, text);
      while (!backend.reached || Read("/mnt/src" + Ring(1)).find(text) == std::string::npos) {
        std::this_thread::yield();
      }
    }
    backend.hangs = false;
  });
  for (int i = 1; i <= kRotations; ++i) {
    const std::string text = "log " + std::to_string(i) + "\n";
    const bool missed = i == 2 || i == 3;
    EXPECT_THAT(Read(Ring(1)), HasSubstr(text));
    EXPECT_EQ(Read("/mnt/main" + Ring(1)).find(text) == std::string::npos, missed) << text;
  }
  EXPECT_EQ(Read("/mnt/src" + Ring(1)), Read(Ring(1)));
  EXPECT_THAT(Read(Ring(1)) + Read(kLog), HasSubstr("/mnt/main hangs, it misses a log"));
}

TEST_F(RotationTest, AStagingDiskThatHangsDelaysNoThreadThatLogs) {
  HangingDisk backend(machine, "/staging/");
  const platform::ScopedBackend scope(backend);
  std::uintmax_t after = 0;
  AsDaemon([&](logger_mgr& logger) {
    Say("before");
    logger.RotateLogFile(kReopenFlags, 1);
    std::thread background(Queue::RunAll);
    while (!backend.reached) std::this_thread::yield();
    Say("meanwhile");
    fs::resize_file(At(kLog), kMaxLogSize);
    logger.CheckUpdate();
    after = fs::file_size(At(kLog));
    backend.hangs = false;
    background.join();
  });
  EXPECT_LT(after, 4096U);
  EXPECT_THAT(Read(Ring(1)), testing::AllOf(HasSubstr("before"), Not(HasSubstr("meanwhile"))));
}

TEST_F(RotationTest, ADiskThatFillsDuringTheBackupLeavesTheRingFileWhole) {
  std::signal(SIGXFSZ, SIG_IGN);
  fs::remove_all(At("/mnt"));
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limit{128 * 1024, before.rlim_max};
  WriteConfig("Q5Logging: { mosmgr = 7; };");  // large enough for no rotation but those asked for
  bool whole = false;
  std::string ring;
  AsDaemon([&](logger_mgr& logger) {
    for (int i = 0; i < 80; ++i) Say("a" + std::string(900, 'x'));
    Rotate(logger, "end of one");
    ring = Read(Ring(1));
    for (int i = 0; i < 80; ++i) Say("b" + std::string(900, 'x'));
    ::setrlimit(RLIMIT_FSIZE, &limit);
    Rotate(logger, "end of two");
    whole = Read(Ring(1)) == ring;
    ::setrlimit(RLIMIT_FSIZE, &before);
    for (int i = 0; i < 10; ++i) logger.RotateLogFile(kReopenFlags, 0);
    Queue::RunAll();
  });
  EXPECT_THAT(ring, HasSubstr("end of one"));
  EXPECT_TRUE(whole);
  EXPECT_TRUE(Read(Ring(1)).starts_with(ring));
  EXPECT_THAT(Read(Ring(1)), HasSubstr("end of two"));
}

// The real background thread, eight writers at full rate, a rotation every few lines.
TEST_F(RotationTest, NoLineIsTornOrLostWhileEightThreadsWrite) {
  constexpr int kThreads = 8;
  constexpr int kMostLines = 20000;
  constexpr int kRotations = 40;
  static pthreadobj background;
  background.Init();
  background.Start();
  static std::atomic<int> rotations{0};
  std::vector<int> written(kThreads, 0);
  WriteConfig("Q5Logging: { mosmgr = 7; rotateSize = 16; };");
  AsDaemon([&](logger_mgr& logger) {
    logger.SetBackgroundQueue([](const char* name, int (*work)(void*), void* data) {
      const int result = background.SetCallbackFunction(name, work, data);
      if (result == 0) background.Release();
      ++rotations;
      return result;
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([t, &written] {
        int& line = written[static_cast<size_t>(t)];
        for (; line < kMostLines && rotations < kRotations; ++line) {
          logger_mgr::print(measurementL, 5, 0, "line %d %d %s.\n", t, line,
                            "abcdefghijklmnopqrstuvwxyz");
        }
      });
    }
    for (auto& thread : threads) thread.join();
    // behind the backup that waits: the end of the thread would drop it
    platform::Semaphore done;
    const auto post = [](void* data) {
      static_cast<platform::Semaphore*>(data)->Post();
      return 0;
    };
    background.SetCallbackFunction("end", post, &done);
    background.Release();
    done.Wait();
    background.EndThread();
  });
  std::string all;
  for (int number = 1; number <= 20; ++number) all += Read(Ring(number));
  all += Read(kLog);

  std::vector<int> next(kThreads, 0);
  std::istringstream lines(all);
  int wrong = 0;
  for (std::string line; std::getline(lines, line);) {
    const auto start = line.find("meas:5 line ");
    if (start == std::string::npos) {
      wrong += line.find("abc") != std::string::npos;
      continue;
    }
    int thread = -1, number = -1;
    char text[32] = "";
    const int got =
        std::sscanf(line.c_str() + start, "meas:5 line %d %d %31s", &thread, &number, text);
    if (got != 3 || std::string(text) != "abcdefghijklmnopqrstuvwxyz." || thread < 0 ||
        thread >= kThreads || number != next[static_cast<size_t>(thread)]++) {
      ++wrong;
    }
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_THAT(next, testing::ElementsAreArray(written));
  EXPECT_GE(rotations, 2);
}

}  // namespace
