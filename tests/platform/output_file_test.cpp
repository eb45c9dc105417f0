// Files that the daemon writes, with a link or a pipe where the file should be.
#include "platform/output_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/platform/bare_machine.h"

namespace {

namespace fs = std::filesystem;

TEST(OutputFile, ALinkInPlaceOfAFileIsNotFollowed) {
  platform::MachineInPlace<> machine;
  const std::string victim = machine.root / "victim";
  std::ofstream(victim) << "whole";
  fs::create_directories(machine.root / "real");
  fs::create_directory_symlink(machine.root / "real", machine.root / "linked");
  fs::create_symlink(victim, machine.root / "real/link");
  fs::create_symlink(machine.root / "absent", machine.root / "real/dangling");
  ::mkfifo((machine.root / "real/pipe").c_str(), 0600);
  const struct {
    const char* path;
    int error;  // 0: it opens
  } cases[] = {{"/linked/link", ELOOP},
               {"/linked/dangling", ELOOP},
               {"/linked/pipe", ENXIO},
               {"/linked/file", 0},
               {"/none/file", ENOENT}};
  for (const auto& c : cases) {
    for (const char* mode : {"w", "a", "wbe"}) {
      SCOPED_TRACE(std::string(c.path) + " " + mode);
      errno = 0;
      testing::internal::CaptureStderr();
      const platform::Stream stream = platform::OpenStream(c.path, mode);
      const int error = stream ? 0 : errno;
      EXPECT_EQ(error, c.error);
      EXPECT_EQ(
          testing::internal::GetCapturedStderr().find("is a symbolic link") != std::string::npos,
          c.error == ELOOP);
      if (stream) {
        EXPECT_NE(::fcntl(::fileno(stream.get()), F_GETFD) & FD_CLOEXEC, 0);
      }
    }
  }
  std::ostringstream text;
  text << std::ifstream(victim).rdbuf();
  EXPECT_EQ(text.str(), "whole");
  EXPECT_FALSE(fs::exists(machine.root / "absent"));
}

}  // namespace
