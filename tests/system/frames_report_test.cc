// zel-frames report as a program: what is in the file that it makes. scripts/test-report opens such files in a browser.
#include <gmock/gmock.h>

#include "console_text.h"
#include "frames_folder.h"
#include "harness/client_run.h"

using testing::HasSubstr;
using testing::Not;

namespace {

/// A run of 20 frames in groups of 5, with its console text: cap, cap.meta, run.txt.
class FramesReport : public FramesFolder {
 protected:
  void SetUp() override {
    ClientRun client;
    const RunResult result = client.run(
        {"--meta", "--output=cap", "--frames=20", "--framerate=25", "--gop_length=5", "--format=h264", "160", "96"});
    ASSERT_EQ(result.status, 0) << result.err;
    for (const char *name : {"cap", "cap.meta"})
      std::filesystem::copy(client.file(name), folder.path() / name);
    write("run.txt", result.out);
  }

  std::string page() const { return read_file(folder.path() / "page.html"); }
};

}  // namespace

// Catches a head without one of its facts, key frames without their picture, and another summary.
TEST_F(FramesReport, OneCapture) {
  const std::string said = output({"report", "-o", "page.html", "--log", "run.txt", "cap"});
  EXPECT_EQ(said, "page.html: 20 frames, " + std::to_string(page().size()) + " bytes\n");
  for (const char *part : {"h264, 160×96", "20, 4 key frames, GOPs of 5", "0.760000 s", "25.000 frames/s",
                           "passes: no faults, no notes", "zel-frames report -o page.html --log run.txt cap"}) {
    EXPECT_THAT(page(), HasSubstr(part));
  }
  EXPECT_EQ(occurrences(page(), "<img src=\"data:image/jpeg;base64,"), 4U);
  EXPECT_THAT(page(), Not(HasSubstr("id=\"comparison\"")));
}

// Catches pictures that leave the house all the same.
TEST_F(FramesReport, WithoutPictures) {
  output({"report", "-o", "page.html", "--no-pictures", "cap"});
  EXPECT_EQ(occurrences(page(), "data:image/jpeg"), 0U);
}

// Catches a second capture that is read with the first one's console text, or that is not compared.
TEST_F(FramesReport, TwoCaptures) {
  output({"report", "-o", "page.html", "--log", "run.txt", "cap", "run.txt"});
  EXPECT_THAT(page(), HasSubstr("<title>cap against run.txt</title>"));
  EXPECT_THAT(page(), HasSubstr("<section id=\"comparison\""));
  EXPECT_THAT(page(), HasSubstr("latency, us"));
}

TEST_F(FramesReport, Json) {
  const std::string text = output({"report", "--json", "-o", "page.html", "cap.meta"});
  EXPECT_EQ(text, R"({"file":"page.html","frames":20,"bytes":)" + std::to_string(page().size()) + "}\n");
}

// Catches a page that replaces another, or a half-made one that is left.
TEST_F(FramesReport, Refusals) {
  write("page.html", "mine");
  EXPECT_EQ(refusal({"report", "-o", "page.html", "cap"}), "page.html: exists: --force writes over it");
  EXPECT_EQ(page(), "mine");
  EXPECT_THAT(refusal({"report", "--force", "-o", "cap", "cap"}), HasSubstr("cap"));
  EXPECT_THAT(refusal({"report", "cap"}), HasSubstr("--output"));
  EXPECT_EQ(refusal({"report", "-o", "none.html", "cap", "none"}), "none: No such file or directory");
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "none.html"));
  EXPECT_EQ(refusal({"report", "-o", "-", "cap"}), "-: a page goes into a file, such as report.html");
  EXPECT_EQ(refusal({"report", "-o", "none.html", "--log-b", "run.txt", "cap"}), "--log-b requires B");
}
