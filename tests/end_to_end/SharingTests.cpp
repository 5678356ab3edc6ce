#include "Desktop.h"
#include "MovieReader.h"
#include "VideoService.h"

#include <gtest/gtest.h>
#include <fstream>

namespace fs = std::filesystem;

namespace {

/// A store that knows the recorded application.
void addCatalogue(Session& session) {
  const fs::path folder = session.folder() / "catalogue/xml";
  fs::create_directories(folder);
  std::ofstream(folder / "test.xml") << R"(<?xml version="1.0" encoding="UTF-8"?>
<components version="0.14" origin="test">
  <component type="desktop-application"><id>org.example.Rainfall</id><name>Rainfall</name><summary>Drops</summary>
    <developer_name>Cloud Works</developer_name><url type="homepage">https://rainfall.example.org/</url></component>
</components>)";
  session.environment.push_back("ZEVANTI_STORE_CATALOGUE=" + folder.parent_path().string());
  session.environment.emplace_back("LC_ALL=C.UTF-8");
  session.options.insert(session.options.end(), {"--bundle-id", "org.example.Rainfall"});
}

/// A recording opened, trimmed and saved.
constexpr const char* trimAndSave = "wait ready\ndrag end 2\nwait editing\ntap Done\nwait saved 90\n";

constexpr const char* toolbarAfterSharing = R"(["Done", "flexible space", "Rain", "flexible space", "Save"])";

/// What the host prints at the end, after the lines of JSON.
std::string report(const Session& session) {
  const std::string output = session.output();
  const auto json = output.rfind("}\n");
  return json == std::string::npos ? output : output.substr(json + 2);
}

/// Neither a converted movie nor an upload to go on with.
void expectNothingIsLeft(const Session& session, const Desktop& desktop) {
  EXPECT_TRUE(session.leftovers().empty()) << session.leftovers()[0];
  const fs::path uploads = desktop.home("state") / "zevanti/uploads";
  EXPECT_TRUE(!fs::exists(uploads) || fs::is_empty(uploads)) << uploads;
}

}  // namespace

TEST(Sharing, TheSheetTakesTheKeysAndGivesThemBack) {
  for (const bool wide : {false, true}) {
    SCOPED_TRACE(wide ? "wide" : "narrow");
    Session session;
    addCatalogue(session);
    const fs::path movie = session.copyOf("basic.mp4");
    ASSERT_EQ(session.run(movie, std::string("wait ready\n") + (wide ? "resize 700 400\n" : "") +
                                     "share\nstate\nkey Space\nkey Control+S\nkey Return\nstate\nkey Escape\nstate\n"
                                     "tap Done\nwait finished\n"),
              0)
        << session.errors();
    const auto states = session.states();
    ASSERT_EQ(states.size(), 3U);
    const std::string sheet = member(states[0], "sheet");
    EXPECT_EQ(member(sheet, "style"), wide ? "\"popover\"" : "\"sheet\"");
    EXPECT_NE(member(sheet, "activities").find("\"UIActivityTypeCopyToPasteboard\""), std::string::npos) << sheet;
    EXPECT_NE(member(states[0], "reachable").find("Rainfall"), std::string::npos) << states[0];
    EXPECT_EQ(member(states[1], "sheet"), sheet);
    EXPECT_EQ(member(states[1], "playing"), "false");
    EXPECT_EQ(member(states[2], "sheet"), "null");
    EXPECT_NE(member(states[2], "topToolBar").find("\"Done\""), std::string::npos);
    EXPECT_TRUE(session.saved().empty());
    EXPECT_EQ(session.output().find("UIActivityType", session.output().rfind('}')), std::string::npos)
        << "nothing was done, so nothing is reported";
    EXPECT_TRUE(session.leftovers().empty());
  }
}

TEST(Sharing, AScriptIsToldWhatThereIs) {
  Session session;
  addCatalogue(session);
  EXPECT_EQ(session.run(session.copyOf("basic.mp4"), "wait ready\nshare\nactivity Fax\n"), 3);
  EXPECT_NE(session.errors().find("script line 3: no activity is called \"Fax\"; there is: "), std::string::npos)
      << session.errors();
}

TEST(Sharing, HandsTheSavedMovieToTheDesktopAndReportsWhatWasDoneInOrder) {
  Session session;
  addCatalogue(session);
  const Desktop desktop(session);
  desktop.installHandler("sms");
  const fs::path copy = session.folder() / "a copy.m4v";
  desktop.tell("save-path", copy.string());
  ASSERT_EQ(
      session.run(session.copyOf("basic.mp4", "Rain.mp4"),
                  std::string(trimAndSave) + "share\nactivity UIActivityTypeMail\nwait shared 60\n"
                                             "share\nactivity UIActivityTypeShowInFolder\nwait shared 60\n"
                                             "share\nactivity UIActivityTypeMessage\nalert Continue\nwait shared 60\n"
                                             "share\nactivity UIActivityTypeSaveToFiles\nwait shared 60\n"
                                             "share\nactivity UIActivityTypeCopyToPasteboard\nwait shared 60\n"
                                             "state\ntap Done\nwait finished 60\n"),
      0)
      << session.errors() << desktop.calls();
  EXPECT_EQ(report(session),
            "UIActivityTypeSaveToCameraRoll\nUIActivityTypeMail\nUIActivityTypeShowInFolder\nUIActivityTypeMessage\n"
            "UIActivityTypeSaveToFiles\nUIActivityTypeCopyToPasteboard\n");
  ASSERT_EQ(session.states().size(), 1U);
  EXPECT_EQ(member(session.states()[0], "topToolBar"), toolbarAfterSharing);

  ASSERT_EQ(session.saved().size(), 1U) << "saved once, whatever is done with it";
  const fs::path saved = session.saved()[0];
  EXPECT_NEAR(movieDuration(saved), 2, 0.1);
  const std::string size = std::to_string(fs::file_size(saved));
  const std::string calls = desktop.calls();
  EXPECT_EQ(calls.find("ComposeEmail\tRain\tMy recording of Rainfall by Cloud Works\\nhttps://rainfall.example.org/\t" +
                       saved.string() + " " + size + " "),
            0U)
      << calls;
  EXPECT_NE(calls.find("\nShowItems\tfile://"), std::string::npos) << calls;
  EXPECT_NE(calls.find("\nOpenURI\tsms:?body=My%20recording%20of%20Rainfall"), std::string::npos) << calls;
  EXPECT_NE(calls.find("\nSaveFile\t" + saved.filename().string() + "\n"), std::string::npos) << calls;
  EXPECT_EQ(contentOf(copy), contentOf(saved));
  expectNothingIsLeft(session, desktop);
}

TEST(Sharing, PublishesTheSavedMovie) {
  Session session;
  addCatalogue(session);
  const Desktop desktop(session);
  desktop.tell("browser", "");
  const VideoService service(session, desktop);
  ASSERT_EQ(session.run(session.copyOf("basic.mp4", "Rain.mp4"),
                        std::string(trimAndSave) +
                            "share\nactivity ZVPublishToYouTube\n"
                            "form Title \"Rain over the harbour\"\nform Tags \"rain, harbour\"\n"
                            "form Visibility Unlisted\nform \"Made for Children\" on\nform Category Music\n"
                            "tap Publish\nwait alert 90\nstate\nalert \"View on YouTube\"\nwait shared\n"
                            "state\ntap Done\nwait finished 60\n"),
            0)
      << session.errors() << service.log();
  EXPECT_EQ(report(session), "UIActivityTypeSaveToCameraRoll\nZVPublishToYouTube\n");
  const auto states = session.states();
  ASSERT_EQ(states.size(), 2U);
  EXPECT_EQ(member(member(states[0], "alert"), "buttons"), R"(["View on YouTube", "Close"])");
  EXPECT_EQ(member(states[1], "presented"), "[]");
  EXPECT_EQ(member(states[1], "topToolBar"), toolbarAfterSharing);

  ASSERT_EQ(service.videos().size(), 1U) << service.log();
  ASSERT_EQ(session.saved().size(), 1U);
  EXPECT_EQ(contentOf(service.videos()[0]), contentOf(session.saved()[0])) << "it needed no conversion";
  const std::string details = VideoService::details(service.videos()[0]);
  for (const char* said :
       {R"("title": "Rain over the harbour")", R"("privacyStatus": "unlisted")", R"("selfDeclaredMadeForKids": true)",
        R"("categoryId": "10")", R"("harbour")",
        R"("description": "My recording of Rainfall by Cloud Works https://rainfall.example.org/")"}) {
    EXPECT_NE(details.find(said), std::string::npos) << said << " is not in " << details;
  }
  const std::string calls = desktop.calls();
  EXPECT_EQ(calls.find("OpenURI\t" + service.address() + "/authorize?"), 0U) << calls;
  EXPECT_NE(calls.find("\nOpenURI\t" + service.address() + "/watch?v=video-1\n"), std::string::npos) << calls;
  expectNothingIsLeft(session, desktop);
}

// What an activity has put into the library is what Save finds there.
TEST(Sharing, SavingAfterSharingMakesNoSecondFile) {
  Session session;
  addCatalogue(session);
  const Desktop desktop(session);
  const fs::path movie = session.copyOf("basic.mp4", "rec.mp4");
  ASSERT_EQ(session.run(movie,
                        "wait ready\nshare\nactivity UIActivityTypeCopyToPasteboard\nwait shared 60\ntap Save\n"
                        "wait finished 60\n"),
            0)
      << session.errors();
  EXPECT_EQ(session.output(), "UIActivityTypeCopyToPasteboard\nUIActivityTypeSaveToCameraRoll\n");
  ASSERT_EQ(session.saved().size(), 1U);
  EXPECT_EQ(session.saved()[0].filename(), "rec.mp4");
  EXPECT_EQ(contentOf(session.saved()[0]), contentOf(movie));
}

// All sound of a recording is mixed before it is published; one that is given up leaves nothing behind, here or there.
TEST(Sharing, ConvertsWhatIsPublishedAndForgetsWhatIsCancelled) {
  Session session;
  addCatalogue(session);
  const Desktop desktop(session);
  desktop.tell("browser", "");
  const VideoService service(session, desktop, {"chunk:stall"});
  ASSERT_EQ(session.run(session.copyOf("two_audio.mp4"),
                        "wait ready\nshare\nactivity YouTube\nform Title Rain\ntap Publish\nwait text Uploading 90\n"
                        "tap Cancel\nalert Discard\nstate\n"
                        "share\nactivity YouTube\nform Title Rain\ntap Publish\nwait alert 90\nalert Close\n"
                        "wait shared\ntap Done\nwait finished 60\n"),
            0)
      << session.errors() << service.log();
  EXPECT_EQ(report(session), "ZVPublishToYouTube\n");
  ASSERT_EQ(session.states().size(), 1U);
  EXPECT_EQ(member(session.states()[0], "presented"), "[]");
  ASSERT_EQ(service.videos().size(), 1U) << service.log();
  EXPECT_NEAR(movieDuration(service.videos()[0]), movieDuration(session.folder() / "two_audio.mp4"), 0.1);
  EXPECT_TRUE(session.saved().empty());
  expectNothingIsLeft(session, desktop);
}
