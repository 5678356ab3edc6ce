#include "Desktop.h"
#include "ProcessFamily.h"
#include "VideoService.h"

#include <gtest/gtest.h>
#include <csignal>

namespace fs = std::filesystem;

namespace {

/// An upload that stalls in one run of the program, and goes on in the next one.
class Resuming : public testing::Test {
 protected:
  Resuming() { desktop_.tell("browser", ""); }

  /// The script of the first run; `form`: what is filled in beside the title.
  static std::string startStalledUpload(const std::string& form = "") {
    return "wait ready\nshare\nactivity YouTube\nform Title Rain\n" + form + "tap Publish\nwait text Uploading 90\n";
  }

  /// The next run knows nothing but what was kept, says so in these words, and makes the file anew.
  void expectGoesOn(const fs::path& movie, const std::string& words) {
    EXPECT_TRUE(service_.videos().empty());
    ASSERT_EQ(session_.run(movie, "wait ready\nshare\nactivity YouTube\nwait text \"" + words +
                                      "\" 90\ntap Publish\nwait alert 90\nalert Close\nwait shared\ntap Done\n"
                                      "wait finished 60\n"),
              0)
        << session_.errors() << service_.log();
    ASSERT_EQ(service_.videos().size(), 1U) << service_.log();
    const std::string log = service_.log(), start = " starts, ";
    EXPECT_EQ(log.find(start), log.rfind(start)) << log;
    EXPECT_TRUE(fs::is_empty(uploads_));
    EXPECT_TRUE(session_.leftovers().empty()) << session_.leftovers()[0];
  }

  Session session_;
  Desktop desktop_{session_};
  VideoService service_{session_, desktop_, {"chunk:stall"}};
  fs::path uploads_ = desktop_.home("state") / "zevanti/uploads";
};

}  // namespace

// The program is killed in the middle of an upload.
TEST_F(Resuming, AnUploadGoesOnInTheNextRunOfTheProgram) {
  const fs::path movie = session_.copyOf("two_audio.mp4");
  session_.start(movie, startStalledUpload("form Visibility Unlisted\n") + "state\nwait finished 100\n");
  ASSERT_TRUE(session_.waitForOutput("}\n", 90)) << session_.errors() << service_.log();
  ASSERT_TRUE(waitUntil(90, [&] { return fs::exists(uploads_) && !fs::is_empty(uploads_); })) << session_.errors();
  // All of it at once, so that nothing can be written at the end.
  ProcessFamily("XDG_CACHE_HOME=" + session_.cache.string(), session_.process()).kill(ProcessFamily::Victim::All);
  EXPECT_EQ(session_.wait(), 128 + SIGKILL);
  ASSERT_NO_FATAL_FAILURE(expectGoesOn(movie, "was interrupted"));
  const std::string details = VideoService::details(service_.videos()[0]);
  EXPECT_NE(details.find(R"("title": "Rain")"), std::string::npos) << details;
  EXPECT_NE(details.find(R"("privacyStatus": "unlisted")"), std::string::npos) << details;
}

// The person closes the window in the middle of an upload, and is asked; the next run says what waits.
TEST_F(Resuming, AClosedWindowKeepsTheUploadForTheNextRun) {
  const fs::path movie = session_.copyOf("basic.mp4");
  ASSERT_EQ(session_.run(movie, startStalledUpload() + "close\nwait alert\nstate\nalert \"Continue Uploading\"\n"
                                                       "close\nalert \"Keep for Later\"\nwait finished 60\n"),
            0)
      << session_.errors() << service_.log();
  EXPECT_EQ(session_.output().find("ZVPublishToYouTube"), std::string::npos) << "nothing was published";
  ASSERT_EQ(session_.states().size(), 1U);
  EXPECT_EQ(member(member(session_.states()[0], "alert"), "title"), "\"Stop the upload?\"");
  EXPECT_FALSE(fs::is_empty(uploads_));
  expectGoesOn(movie, "It goes on when you tap Publish");
}
