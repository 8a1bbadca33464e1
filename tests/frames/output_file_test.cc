// Files appear whole, under free names only, or not at all.
#include "frames/common/output_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "frames/common/temporary_names.h"
#include "frames/common/unusable.h"
#include "tests/support/files.h"

namespace {

using frames::OutputFile;
using frames::publish;
using testing::ElementsAre;
using testing::IsEmpty;

class OutputFiles : public testing::Test {
 protected:
  std::string path(const std::string &name) const { return folder / name; }

  std::vector<std::string> names() const { return list_files(folder.path()); }

  void put(const std::string &name, const std::string &text) const { write_file(path(name), text); }

  std::string get(const std::string &name) const { return read_file(path(name)); }

  /// What opening the file is refused with.
  std::string refusal(const std::string &name, bool force, const std::vector<std::string> &inputs = {}) const {
    try {
      const OutputFile file(path(name), force, inputs);
    } catch (const frames::Unusable &error) {
      return error.what();
    }
    return "not refused";
  }

  TempFolder folder;
};

void write(OutputFile &file, std::string_view text) {
  file.write({reinterpret_cast<const std::uint8_t *>(text.data()), text.size()});
}

}  // namespace

// Catches a half-written file that has its name already, lost bytes, and rights that other new files do not have.
TEST_F(OutputFiles, AppearWhenTheyAreWhole) {
  const std::string large(700'000, 'x');
  {
    OutputFile file(path("out"), false, {});
    write(file, "one ");
    write(file, large);
    write(file, " two");
    EXPECT_FALSE(std::filesystem::exists(path("out")));
    publish({&file});
    EXPECT_EQ(file.size(), large.size() + 8);
  }
  EXPECT_THAT(names(), ElementsAre("out"));
  EXPECT_EQ(get("out"), "one " + large + " two");
  put("other", "");
  struct stat made = {};
  struct stat other = {};
  ASSERT_EQ(stat(path("out").c_str(), &made), 0);
  ASSERT_EQ(stat(path("other").c_str(), &other), 0);
  EXPECT_EQ(made.st_mode, other.st_mode);
}

TEST_F(OutputFiles, LeaveNothingWhenTheyAreGivenUp) {
  {
    OutputFile file(path("out"), false, {});
    write(file, "half");
    file.flush();
  }
  EXPECT_THAT(names(), IsEmpty());
}

// Catches an existing file that is lost without being asked for.
TEST_F(OutputFiles, ReplaceOthersOnlyByForce) {
  put("out", "old");
  EXPECT_EQ(refusal("out", false), path("out") + ": exists: --force writes over it");
  {
    OutputFile file(path("out"), true, {});
    write(file, "new");
    EXPECT_EQ(get("out"), "old");
    publish({&file});
  }
  EXPECT_EQ(get("out"), "new");
  EXPECT_THAT(names(), ElementsAre("out"));
}

TEST_F(OutputFiles, AreNeverTheCapturesOwn) {
  put("cap", "frames");
  std::filesystem::create_symlink("cap", path("link"));
  const std::vector<std::string> inputs = {path("cap")};
  EXPECT_EQ(refusal("cap", true, inputs), path("cap") + ": is a file of the capture, which is never written");
  EXPECT_EQ(refusal("link", true, inputs), path("link") + ": is a file of the capture, which is never written");
}

// Catches a link that is replaced by the file instead of the file behind it.
TEST_F(OutputFiles, FollowLinks) {
  put("target", "old");
  std::filesystem::create_symlink("target", path("link"));
  OutputFile file(path("link"), true, {});
  write(file, "new");
  publish({&file});
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
  EXPECT_EQ(get("target"), "new");
}

// Catches one of two files that belong together standing alone.
TEST_F(OutputFiles, AppearTogetherOrNotAtAll) {
  OutputFile stream(path("out"), false, {});
  OutputFile sidecar(path("out.meta"), false, {});
  write(stream, "frames");
  write(sidecar, "records");
  put("out.meta", "somebody else's");
  EXPECT_THROW(publish({&stream, &sidecar}), frames::Unusable);
  EXPECT_THAT(names(), ElementsAre("out.meta"));
  EXPECT_EQ(get("out.meta"), "somebody else's");
}

// Catches a pair of which one file is new and the other is not.
TEST_F(OutputFiles, AreReplacedTogetherOrNotAtAll) {
  put("out", "old frames");
  put("out.meta", "old records");
  {
    OutputFile stream(path("out"), true, {});
    OutputFile sidecar(path("out.meta"), true, {});
    write(stream, "frames");
    write(sidecar, "records");
    std::filesystem::remove(path("out.meta"));
    std::filesystem::create_directory(path("out.meta"));
    try {
      publish({&stream, &sidecar});
      ADD_FAILURE() << "a folder was replaced";
    } catch (const frames::Unusable &error) {
      EXPECT_EQ(error.what(), path("out.meta") + ": Is a directory");
    }
  }
  EXPECT_EQ(get("out"), "old frames");
  EXPECT_THAT(names(), ElementsAre("out", "out.meta"));
}

// Catches the old files, or their hidden names, that stay.
TEST_F(OutputFiles, LeaveNothingOfThePairThatTheyReplace) {
  put("out", "old frames");
  OutputFile stream(path("out"), true, {});
  OutputFile sidecar(path("out.meta"), true, {});
  write(stream, "frames");
  write(sidecar, "records");
  publish({&stream, &sidecar});
  EXPECT_EQ(get("out"), "frames");
  EXPECT_EQ(get("out.meta"), "records");
  EXPECT_THAT(names(), ElementsAre("out", "out.meta"));
}

// Catches a file named "-" where somebody wants a pipe.
TEST_F(OutputFiles, AreNotStandardOutput) {
  try {
    const OutputFile file("-", true, {});
    ADD_FAILURE() << "a file was made";
  } catch (const frames::Unusable &error) {
    EXPECT_STREQ(error.what(), "-: cannot go to standard output: ./- is a file of that name");
  }
}

TEST_F(OutputFiles, GoIntoFoldersThatAreThere) {
  EXPECT_EQ(refusal(".", true), path(".") + ": is a folder");
  EXPECT_EQ(refusal("none/out", false), path("none/out") + ": No such file or directory");
}

TEST_F(OutputFiles, AreDevicesToo) {
  OutputFile file("/dev/null", false, {});
  write(file, "gone");
  publish({&file});
  EXPECT_EQ(file.size(), std::nullopt);
}

TEST_F(OutputFiles, TellOfAFullDisk) {
  OutputFile file("/dev/full", false, {});
  write(file, "lost");
  EXPECT_THROW(publish({&file}), frames::Unusable);
}

// Catches a file that stays when the process is asked to end, on file systems where it needs a name from the start.
TEST_F(OutputFiles, WithTemporaryNamesGoWithTheProcess) {
  for (const int signal_number : {SIGHUP, SIGINT, SIGTERM}) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      std::string name;
      if (frames::create_temporary(path("out"), name) < 0 || access(name.c_str(), F_OK) != 0) _exit(1);
      (void)raise(signal_number);
      _exit(2);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status)) << WEXITSTATUS(status);
    EXPECT_EQ(WTERMSIG(status), signal_number);
    EXPECT_THAT(names(), IsEmpty());
  }
}
