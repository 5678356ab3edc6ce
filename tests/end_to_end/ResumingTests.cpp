#include "Desktop.h"
#include "VideoService.h"

#include <gtest/gtest.h>
#include <csignal>

namespace fs = std::filesystem;

namespace {

int countOf(const std::string& what, const std::string& text) {
  int count = 0;
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
  return count;
}

}  // namespace

// The program ends in the middle of an upload. The next one knows nothing but what was kept, and makes the file anew.
TEST(Resuming, AnUploadGoesOnInTheNextRunOfTheProgram) {
  Session session;
  const Desktop desktop(session);
  desktop.tell("browser", "");
  const VideoService service(session, desktop, {"chunk:stall"});
  const fs::path movie = session.copyOf("two_audio.mp4");
  session.start(movie,
                "wait ready\nshare\nactivity YouTube\nform Title Rain\nform Visibility Unlisted\ntap Publish\n"
                "wait text Uploading 90\nstate\nwait finished 100\n");
  ASSERT_TRUE(session.waitForOutput("}\n", 90)) << session.errors() << service.log();
  const fs::path uploads = desktop.home("state") / "zevanti/uploads";
  ASSERT_TRUE(waitUntil(90, [&] { return fs::exists(uploads) && !fs::is_empty(uploads); })) << session.errors();
  session.signal(SIGTERM);
  EXPECT_EQ(session.wait(), 128 + SIGTERM);
  EXPECT_TRUE(session.leftovers().empty()) << "the converted file has gone";
  EXPECT_TRUE(service.videos().empty());

  ASSERT_EQ(session.run(movie,
                        "wait ready\nshare\nactivity YouTube\nwait text \"was interrupted\" 90\ntap Publish\n"
                        "wait alert 90\nalert Close\nwait shared\ntap Done\nwait finished 60\n"),
            0)
      << session.errors() << service.log();
  ASSERT_EQ(service.videos().size(), 1U) << service.log();
  EXPECT_EQ(countOf(" starts, ", service.log()), 1) << service.log();
  EXPECT_TRUE(fs::is_empty(uploads));
  const std::string details = VideoService::details(service.videos()[0]);
  EXPECT_NE(details.find(R"("title": "Rain")"), std::string::npos) << details;
  EXPECT_NE(details.find(R"("privacyStatus": "unlisted")"), std::string::npos) << details;
}

// The person closes the window in the middle of an upload, and is asked; the next run says what waits.
TEST(Resuming, AClosedWindowKeepsTheUploadForTheNextRun) {
  Session session;
  const Desktop desktop(session);
  desktop.tell("browser", "");
  const VideoService service(session, desktop, {"chunk:stall"});
  const fs::path movie = session.copyOf("basic.mp4");
  ASSERT_EQ(session.run(movie,
                        "wait ready\nshare\nactivity YouTube\nform Title Rain\ntap Publish\nwait text Uploading 90\n"
                        "close\nwait alert\nstate\nalert \"Continue Uploading\"\n"
                        "close\nalert \"Keep for Later\"\nwait finished 60\n"),
            0)
      << session.errors() << service.log();
  EXPECT_EQ(session.output().find("ZVPublishToYouTube"), std::string::npos) << "nothing was published";
  ASSERT_EQ(session.states().size(), 1U);
  EXPECT_EQ(member(member(session.states()[0], "alert"), "title"), "\"Stop the upload?\"");
  EXPECT_FALSE(fs::is_empty(desktop.home("state") / "zevanti/uploads"));
  EXPECT_TRUE(session.leftovers().empty());

  ASSERT_EQ(session.run(movie,
                        "wait ready\nshare\nactivity YouTube\nwait text \"It goes on when you tap Publish\" 90\n"
                        "tap Publish\nwait alert 90\nalert Close\nwait shared\ntap Done\nwait finished 60\n"),
            0)
      << session.errors() << service.log();
  ASSERT_EQ(service.videos().size(), 1U) << service.log();
  EXPECT_EQ(countOf(" starts, ", service.log()), 1) << service.log();
}
