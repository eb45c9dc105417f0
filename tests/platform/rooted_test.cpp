#include "platform/rooted.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "platform/local.h"
#include "tests/platform/test_instrument.h"

namespace platform {
namespace {

TEST(RootDirectory, PathsStayInTheRoot) {
  const RootDirectory root("/tmp/q5/");
  const struct {
    const char* path;
    const char* mapped;
    bool leaves;
  } cases[] = {
      {"/varek/config/a.cfg", "/tmp/q5/varek/config/a.cfg", false},
      {"./snapshot.cmd", "/tmp/q5/snapshot.cmd", false},
      {"//media//p3/logs//naklogs/", "/tmp/q5/media/p3/logs/naklogs/", false},
      {"/var/../tmp/./x", "/tmp/q5/tmp/x", false},
      {"/../../etc/passwd", "/tmp/q5/etc/passwd", true},
      {"../x", "/tmp/q5/x", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(root.Map(c.path), c.mapped) << c.path;
    EXPECT_EQ(RootDirectory::Leaves(c.path), c.leaves) << c.path;
  }
}

class LocalBackendTest : public testing::Test {
 protected:
  TemporaryRoot root_;
  TestInstrument instrument_;
  FakeClock clock_;
  LocalBackend backend_{instrument_, clock_, root_.Path()};
};

TEST_F(LocalBackendTest, OrdinaryFilesAreUnderTheRoot) {
  const int fd = backend_.Open("/file", O_CREAT | O_RDWR, 0600);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(backend_.Write(fd, "abc", 3), 3);
  EXPECT_EQ(backend_.Close(fd), 0);
  EXPECT_EQ(std::filesystem::file_size(root_.Path() + "/file"), 3U);
  EXPECT_EQ(backend_.Open("/../etc/passwd", O_RDONLY, 0), -1);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(backend_.Open("/dev/null", O_RDONLY, 0), -1);  // not this machine's
  EXPECT_EQ(errno, ENOENT);
}

TEST(Machine, RefusesARootThatIsNotADirectory) {
  for (const char* root : {"/nonexistent/q5", "/", ""}) {
    EXPECT_EXIT(
        {
          ::setenv("Q5_ROOT", root, 1);
          Machine();
        },
        testing::ExitedWithCode(1), "Q5_ROOT=");
  }
}

}  // namespace
}  // namespace platform
