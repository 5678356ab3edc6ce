#include "platform/Foundation/os_trace.h"
#include "platform/MobileCoreServices/LSApplicationWorkspace.h"
#include "platform/UIKit/UIPasteboard.h"
#include "platform/UIKit/UISystemActivities.h"
#include "platform/backends/portal/SessionBus.h"
#include "platform/backends/portal/SystemActivity.h"
#include "platform/backends/posix/FileDescriptor.h"
#include "tests/common/Files.h"
#include "tests/services/ServicesFixture.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLocalServer>
#include <QMimeData>
#include <QUrl>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

namespace fs = std::filesystem;

namespace {

const std::string kMessage = "Look at Rainfall by Cloud Works.\\nhttps://rainfall.example.org/";
const std::string kSavedName = "Rainfall trimmed.m4v";

TEST_F(ServicesTest, OffersOnlyWhatCanWork) {
  using Types = std::vector<std::string>;
  ASSERT_TRUE(learn());
  EXPECT_EQ(offered(), Types{UIActivityTypeCopyToPasteboard}) << "neither bus nor programs";

  // A handler without the program that would call it, and one whose own program is gone.
  installHandler("sms");
  home_.write("XDG_DATA_HOME/applications/gone.desktop",
              "[Desktop Entry]\nName=Gone\nExec=no-such-program %u\nMimeType=x-scheme-handler/mailto;\n");
  installProgram("xdg-email", 0);
  ASSERT_TRUE(learn());
  EXPECT_EQ(offered(), Types{UIActivityTypeCopyToPasteboard});

  installProgram("xdg-open", 0);
  installHandler("mailto");
  installHandler("https");
  ASSERT_TRUE(learn());
  EXPECT_EQ(offered(), (Types{UIActivityTypeMail, UIActivityTypeMessage, UIActivityTypeCopyToPasteboard,
                              UIActivityTypePostToFacebook}));
  // The person has taken the mail program's addresses away from it.
  home_.write("XDG_CONFIG_HOME/mimeapps.list",
              "[Removed Associations]\nx-scheme-handler/mailto=mailto-handler.desktop;\n");
  fs::remove(home_ / "XDG_DATA_HOME/applications/sms-handler.desktop");
  startBus();
  ASSERT_TRUE(learn());
  EXPECT_EQ(offered(), (Types{UIActivityTypeCopyToPasteboard, UIActivityTypePostToFacebook}));
  startServices();
  ASSERT_TRUE(learn());
  EXPECT_EQ(offered(), (Types{UIActivityTypeMail, UIActivityTypeCopyToPasteboard, UIActivityTypePostToFacebook,
                              UIActivityTypeSaveToFiles, UIActivityTypeShowInFolder}));
  for (const auto& activity : UISystemActivities()) {
    EXPECT_FALSE(activity->activityTitle().empty());
    EXPECT_TRUE(activity->activityImage()) << activity->activityTitle();
    EXPECT_FALSE(activity->canPerformWithActivityItems({})) << activity->activityTitle();
  }
}

TEST_F(ServicesTest, ABusThatHangsHoldsUpNobody) {
  QLocalServer silent;  // takes connections and never says a word
  ASSERT_TRUE(silent.listen(QString::fromStdString(home_ / "silent")));
  setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (home_ / "silent")).c_str(), 1);
  QElapsedTimer elapsed;
  elapsed.start();
  SessionBus::shared().reconnect();
  UISystemActivitiesPrepare("Rainfall");
  ASSERT_TRUE(waitUntil([&] { return silent.hasPendingConnections(); }));
  EXPECT_FALSE(offered().empty());
  EXPECT_TRUE(perform(UIActivityTypeCopyToPasteboard));
  EXPECT_LT(elapsed.elapsed(), 15000);  // the bus's library gives up after 25 seconds
  silent.close();
}

TEST_F(ServicesTest, MailsTheMovieThroughThePortal) {
  ASSERT_NO_FATAL_FAILURE(startDesktop());
  EXPECT_TRUE(perform(UIActivityTypeMail));
  // The attachment is the file in the library, which is there for as long as the draft is.
  EXPECT_EQ(read("calls"),
            "ComposeEmail\tRainfall\t" + kMessage + "\t" + library_ + "/" + kSavedName + " 9 moviedat\n");
  tell("answer", "1");
  EXPECT_FALSE(perform(UIActivityTypeMail)) << "the person has cancelled";
  tell("answer", "2");
  EXPECT_FALSE(perform(UIActivityTypeMail)) << "no mail program is left to ask";
  // One that the desktop's own tool knows.
  installProgram("xdg-email", 0);
  installHandler("mailto");
  ASSERT_TRUE(learn());
  EXPECT_TRUE(perform(UIActivityTypeMail));
  EXPECT_EQ(read("opened"),
            "--utf8\n--subject\nRainfall\n--body\nLook at Rainfall by Cloud Works.\n"
            "https://rainfall.example.org/\n--attach\n" +
                library_ + "/" + kSavedName + "\n");
  installProgram("xdg-email", 3);
  EXPECT_FALSE(perform(UIActivityTypeMail));
  services_->kill();
  ASSERT_TRUE(services_->waitForFinished());
  EXPECT_FALSE(perform(UIActivityTypeMail)) << "the portal has gone, and it ends all the same";
  EXPECT_EQ(std::distance(fs::directory_iterator(library_), {}), 1) << "saved once";
}

TEST_F(ServicesTest, SendsAMessageWithTheMovieOnTheClipboardAndShowsItInItsFolder) {
  installHandler("sms");
  ASSERT_NO_FATAL_FAILURE(startDesktop());
  EXPECT_TRUE(perform(UIActivityTypeMessage));
  EXPECT_TRUE(perform(UIActivityTypeShowInFolder));
  EXPECT_EQ(read("calls"),
            "OpenURI\tsms:?body=Look%20at%20Rainfall%20by%20Cloud%20Works.%0Ahttps%3A%2F%2Frainfall."
            "example.org%2F\nShowItems\tfile://" +
                library_ + "/Rainfall%20trimmed.m4v\n");
  EXPECT_EQ(QGuiApplication::clipboard()->mimeData()->urls().value(0).toLocalFile().toStdString(),
            library_ + "/" + kSavedName);
  tell("answer", "1");
  EXPECT_FALSE(perform(UIActivityTypeMessage));
}

TEST_F(ServicesTest, CopiesAFileThatStaysAndAText) {
  ASSERT_TRUE(learn());
  EXPECT_TRUE(perform(UIActivityTypeCopyToPasteboard));
  fs::remove(movie_);  // the editor has gone
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  const std::string path = library_ + "/" + kSavedName;
  const QByteArray address = QUrl::fromLocalFile(QString::fromStdString(path)).toEncoded();
  EXPECT_EQ(data->data("text/uri-list"), address + "\r\n");
  EXPECT_EQ(data->data("x-special/gnome-copied-files"), "copy\n" + address);
  EXPECT_EQ(data->text().toStdString(), "Look at Rainfall by Cloud Works.\nhttps://rainfall.example.org/");
  EXPECT_TRUE(fs::exists(path));
  EXPECT_FALSE(perform(UIActivityTypeCopyToPasteboard)) << "there is no movie any more";
}

TEST_F(ServicesTest, CopiesAText) {
  UIPasteboard::generalPasteboard().setString("https://video.example/1");
  if (QGuiApplication::platformName() == "xcb") {
    EXPECT_TRUE(waitUntil([] { return !QGuiApplication::clipboard()->ownsClipboard(); })) << "another program keeps it";
  }
  EXPECT_EQ(UIPasteboard::generalPasteboard().string(), "https://video.example/1");
}

TEST_F(ServicesTest, PostsTheLinkInTheBrowserWhateverItLooksLike) {
  installHandler("https");
  installProgram("xdg-open", 0);
  ASSERT_TRUE(learn());
  EXPECT_TRUE(perform(UIActivityTypePostToFacebook));
  link_ = "rainfall.example.org";  // as a catalogue may have it
  EXPECT_TRUE(perform(UIActivityTypePostToFacebook));
  const std::string page = "https://www.facebook.com/sharer/sharer.php?u=";
  EXPECT_EQ(read("opened"), page + "https%3A%2F%2Frainfall.example.org%2F\n" + page + "rainfall.example.org\n");
  EXPECT_TRUE(perform(UIActivityTypeCopyToPasteboard));
  EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(),
            "Look at Rainfall by Cloud Works.\nrainfall.example.org");
  installProgram("xdg-open", 4);
  EXPECT_FALSE(perform(UIActivityTypePostToFacebook));
}

class OpeningActivity : public SystemActivity {
 public:
  using SystemActivity::openMovie;
};

TEST_F(ServicesTest, TellsWhyAMovieCouldNotBeOpened) {
  const auto activity = std::make_shared<OpeningActivity>();
  std::optional<bool> finished;
  activity->setFinishHandler([&](bool completed) { finished = completed; });
  bool opened = false;
  activity->openMovie(movie_, "Not used", [&](const FileDescriptor& file) { opened = static_cast<bool>(file); });
  EXPECT_FALSE(opened) << "opened in the background";
  ASSERT_TRUE(waitUntil([&] { return opened; }));
  EXPECT_EQ(finished, std::nullopt);
  trace_log::clear();
  activity->openMovie(movie_ + ".gone", "The mail could not be opened",
                      [&](const FileDescriptor&) { ADD_FAILURE() << "there is no such file"; });
  ASSERT_TRUE(waitUntil([&] { return finished.has_value(); }));
  EXPECT_EQ(finished, false);
  EXPECT_EQ(trace_log::messages().back().text,
            "The mail could not be opened: " + movie_ + ".gone: No such file or directory");
}

TEST_F(ServicesTest, EndsWhereItsAlertCannotBeShown) {
  installHandler("sms");
  installHandler("https");
  installProgram("xdg-open", 4);
  ASSERT_TRUE(learn());
  const auto offScreen = std::make_shared<UIViewController>();
  offScreen->view();
  EXPECT_FALSE(perform(UIActivityTypeMessage, offScreen)) << "the question before it";
  EXPECT_FALSE(perform(UIActivityTypePostToFacebook, offScreen)) << "the failure";
}

TEST_F(ServicesTest, SavesACopyWhereThePersonSays) {
  ASSERT_NO_FATAL_FAILURE(startDesktop());
  const std::string target = home_.write("Desktop/A b%ä.m4v", "an older file");
  tell("save-path", target);
  tell("answer", "1");
  EXPECT_FALSE(perform(UIActivityTypeSaveToFiles));
  EXPECT_EQ(contentOf(target), "an older file");
  tell("answer", "0");
  EXPECT_TRUE(perform(UIActivityTypeSaveToFiles));  // the dialog has asked about the older file
  EXPECT_EQ(contentOf(target), "moviedata");
  EXPECT_EQ(read("calls"), "SaveFile\t" + kSavedName + "\nSaveFile\t" + kSavedName + "\n");
  EXPECT_FALSE(fs::exists(library_)) << "nothing but the copy";
  // Somebody writes into the movie, and shortens it, while the dialog is open.
  const std::function<void()> changes[] = {[&] { std::fstream(movie_, std::ios::in | std::ios::out) << "other"; },
                                           [&] { fs::resize_file(movie_, 4); }};
  for (const auto& change : changes) {
    EXPECT_FALSE(perform(UIActivityTypeSaveToFiles, nullptr, change));
    EXPECT_EQ(contentOf(target), "moviedata");
  }
  tell("save-path", home_ / "no such folder/copy.m4v");
  EXPECT_FALSE(perform(UIActivityTypeSaveToFiles));
  fs::remove(movie_);
  tell("save-path", target);
  EXPECT_FALSE(perform(UIActivityTypeSaveToFiles));
  EXPECT_EQ(contentOf(target), "moviedata");
}

TEST_F(ServicesTest, WritesNothingThatWouldFillTheDisk) {
  ASSERT_NO_FATAL_FAILURE(startDesktop());
  const std::string target = home_.write("Desktop/copy.m4v", "an older file");
  tell("save-path", target);
  UISystemActivitiesSetRequiredFreeSpace(std::int64_t(1) << 60);
  for (const char* type :
       {UIActivityTypeMail, UIActivityTypeShowInFolder, UIActivityTypeCopyToPasteboard, UIActivityTypeSaveToFiles})
    EXPECT_FALSE(perform(type)) << type;
  EXPECT_FALSE(fs::exists(library_));
  EXPECT_EQ(fs::file_size(target), std::strlen("an older file"));
  UISystemActivitiesSetRequiredFreeSpace(0);
  EXPECT_TRUE(perform(UIActivityTypeMail));
  UISystemActivitiesSetRequiredFreeSpace(std::int64_t(1) << 60);
  EXPECT_TRUE(perform(UIActivityTypeMail)) << "it is in the library already";
  UISystemActivitiesSetRequiredFreeSpace(0);
}

TEST_F(ServicesTest, OpensAddressesOfTheWebOnly) {
  installProgram("xdg-open", 0);
  ASSERT_TRUE(learn());
  const auto& workspace = LSApplicationWorkspace::defaultWorkspace();
  for (const char* address : {"file:///etc/passwd", "/usr/bin/true", "-h", "", "https:", "javascript:alert(1)",
                              "https://example.org/\nx", "https://example.org/ x"})
    EXPECT_FALSE(workspace->openSensitiveURL_withOptions(address, nullptr)) << address;
  EXPECT_TRUE(workspace->openSensitiveURL_withOptions("HTTPS://video.example.org/1", nullptr));
  ASSERT_TRUE(waitUntil([&] { return !read("opened").empty(); }));
  EXPECT_EQ(read("opened"), "HTTPS://video.example.org/1\n");
}

}  // namespace
