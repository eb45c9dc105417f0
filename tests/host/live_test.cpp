// What a measuring client publishes, and who looks on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/app.h"
#include "host/live_stream.h"
#include "tests/host/measuring_daemon.h"
#include "tests/platform/bare_machine.h"

namespace {

namespace fs = std::filesystem;
using host::LiveFeed;
using host::LiveStream;
using testing::HasSubstr;

class Live : public testing::Test {
 protected:
  Live() {
    clock_.SetAutoAdvance(true);
    fs::create_directories(root_.Path() + "/tmp");
  }

  test::Outcome Host(std::vector<std::string> words) {
    words.insert(words.begin(), {"--root", root_.Path()});
    return test::Host(words);
  }
  std::string File(int client) const {
    return root_.Path() + "/tmp/q5host.live/" + std::to_string(client) + ".jsonl";
  }

  platform::TemporaryRoot root_;
  platform::BareInstrument instrument_;
  platform::FakeClock clock_;
  platform::LocalBackend backend_{instrument_, clock_, "/"};
  platform::ScopedBackend scope_{backend_};
};

host::MeasurementResult Result(float kilovolts) {
  host::MeasurementResult result;
  result.target = 10000;
  result.record.rsltype = 0x900;
  result.record.acfcvolt = kilovolts;
  result.record.acamps = 1e-3F;
  return result;
}

TEST_F(Live, OldDataAreMarked) {
  {
    LiveStream stream(root_.Path());
    stream.Result(Result(10));
    clock_.Advance(std::chrono::seconds(24));
    const auto silent = Host({"watch", "--rows", "2"}).out;
    EXPECT_THAT(silent, HasSubstr("STALE: the host that measures is silent, 24."));
    const auto json = Host({"watch", "--rows", "2", "--json"}).out;
    EXPECT_THAT(json, HasSubstr("\"stale\":true"));
    // a client that was killed has published no end and holds no lock
    fs::copy(File(::getpid()), File(999999999));
  }
  fs::remove(File(::getpid()));
  EXPECT_THAT(Host({"watch", "--rows", "2"}).out,
              HasSubstr("STALE: the host that measured has gone"));
}

TEST_F(Live, ClientsAndWatchersDelayNoOther) {
  fs::create_directories(root_.Path() + "/tmp/q5host.live");
  std::ofstream(File(999999999)) << "{\"clock_ns\":1,\"status\":0}\nrubbish\n";
  std::ofstream(File(::getpid())) << "left over\n";
  LiveFeed first(root_.Path()), second(root_.Path());
  EXPECT_TRUE(first.Clients().empty());
  {
    LiveStream stream(root_.Path());
    EXPECT_THAT(first.Clients(), testing::ElementsAre(::getpid()));
    first.Read(), second.Read();
    for (int i = 0; i < 3000; ++i) {  // more than the file may keep
      stream.Result(Result(static_cast<float>(i)));
      for (LiveFeed* feed : {&first, &second}) {
        const auto entries = feed->Read();
        ASSERT_EQ(entries.size(), 1U) << i;
        ASSERT_EQ(+entries[0].result->record.acfcvolt, static_cast<float>(i));
      }
    }
    EXPECT_LT(fs::file_size(File(::getpid())), (1U << 20) + 2000);
  }
  EXPECT_TRUE(second.Clients().empty());
  EXPECT_EQ(second.Read().back().state, "ended");
  // what is old and of nobody is removed by the next one
  fs::last_write_time(File(999999999), fs::file_time_type::clock::now() - std::chrono::hours(1));
  LiveStream next(root_.Path());
  EXPECT_FALSE(fs::exists(File(999999999)));
}

}  // namespace
