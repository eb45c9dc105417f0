// Deferred work: order, a full ring, and many posters at once.
#include "common/lib/pthreadobj.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/semaphore.h"

namespace {

struct Job {
  std::vector<int>* order;
  int number;
  platform::Semaphore* done;
};

int NoteRun(void* data) {
  auto* job = static_cast<Job*>(data);
  job->order->push_back(job->number);  // one callback at a time: no lock
  job->done->Post();
  return 0;
}

int WaitForGo(void* data) {
  static_cast<platform::Semaphore*>(data)->Wait();
  return 0;
}

TEST(DeferredWork, RunsInTheOrderPostedAndRefusesTheTwentyFirst) {
  pthreadobj worker;
  ASSERT_EQ(worker.Init(), 0);
  platform::Semaphore done;
  std::vector<int> order;
  std::vector<Job> jobs;
  for (int i = 0; i < 100; ++i) jobs.push_back({&order, i, &done});

  // before the thread runs, the ring takes 20 and no more
  const std::string long_name(300, 'n');
  for (size_t i = 0; i < 20; ++i) {
    ASSERT_EQ(worker.SetCallbackFunction(long_name.c_str(), NoteRun, &jobs[i]), 0);
    worker.Release();
  }
  EXPECT_EQ(worker.SetCallbackFunction("one too many", NoteRun, &jobs[20]), -1);
  ASSERT_EQ(worker.Start(), 0);
  for (size_t i = 0; i < 20; ++i) done.Wait();

  // and it turns round for ever: a slot is free once its callback has ended
  for (size_t i = 20; i < jobs.size(); ++i) {
    while (worker.SetCallbackFunction("job", NoteRun, &jobs[i]) != 0) std::this_thread::yield();
    worker.Release();
    done.Wait();
  }
  ASSERT_EQ(order.size(), jobs.size());
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<size_t>(i)], i);
}

TEST(DeferredWork, WorkThatThrowsDoesNotEndTheThread) {
  pthreadobj worker;
  ASSERT_EQ(worker.Init(), 0);
  ASSERT_EQ(worker.Start(), 0);
  platform::Semaphore done;
  std::vector<int> order;
  Job job{&order, 1, &done};
  ASSERT_EQ(worker.SetCallbackFunction(
                "bad", [](void*) -> int { throw 1; }, nullptr),
            0);
  worker.Release();
  ASSERT_EQ(worker.SetCallbackFunction("good", NoteRun, &job), 0);
  worker.Release();
  done.Wait();
}

TEST(DeferredWork, ManyPostersLoseNothing) {
  pthreadobj worker;
  worker.Init();
  ASSERT_EQ(worker.Start(), 0);
  platform::Semaphore done;
  std::vector<int> order;
  constexpr int kThreads = 4, kJobs = 500;
  std::vector<std::thread> posters;
  std::vector<Job> jobs(kThreads, Job{&order, 0, &done});
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (int i = 0; i < kJobs; ++i) {
        while (worker.SetCallbackFunction("job", NoteRun, &jobs[static_cast<size_t>(t)]) != 0) {
          std::this_thread::yield();
        }
        worker.Release();
      }
    });
  }
  for (auto& poster : posters) poster.join();
  for (int i = 0; i < kThreads * kJobs; ++i) done.Wait();
  EXPECT_EQ(order.size(), static_cast<size_t>(kThreads * kJobs));
}

TEST(DeferredWork, TheEndWaitsForTheRunningCallbackAndDropsTheRest) {
  platform::Semaphore go, done;
  std::vector<int> order;
  Job never{&order, 1, &done};
  {
    pthreadobj worker;
    worker.Init();
    ASSERT_EQ(worker.Start(), 0);
    ASSERT_EQ(worker.SetCallbackFunction("waits", WaitForGo, &go), 0);
    worker.Release();
    ASSERT_EQ(worker.SetCallbackFunction("never", NoteRun, &never), 0);
    go.Post();
  }
  EXPECT_TRUE(order.empty());
}

TEST(DeferredWork, AReleaseWithoutWorkIsHarmless) {
  pthreadobj worker;
  worker.Init();
  worker.Release();
  ASSERT_EQ(worker.Start(), 0);
  platform::Semaphore done;
  std::vector<int> order;
  Job job{&order, 7, &done};
  ASSERT_EQ(worker.SetCallbackFunction("job", NoteRun, &job), 0);
  worker.Release();
  done.Wait();
  EXPECT_EQ(order, std::vector<int>{7});
}

}  // namespace
