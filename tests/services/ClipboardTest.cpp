#include "tests/common/Files.h"
#include "tests/services/ServicesFixture.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr int kPatience = 60000;  // milliseconds

/// An X server without a screen and without a clipboard manager.
class ClipboardTest : public ServicesTest {
 protected:
  void SetUp() override {
    if (!fs::exists("/usr/bin/Xvfb")) GTEST_SKIP() << "Xvfb is not installed";
    ServicesTest::SetUp();
    server_.start("/usr/bin/Xvfb", {"-displayfd", "1", "-nolisten", "tcp"});
    ASSERT_TRUE(waitUntil([&] { return server_.canReadLine(); }));
    display_ = ":" + server_.readLine().trimmed().toStdString();
  }
  void TearDown() override {
    server_.terminate();  // the keeper goes with it
    server_.waitForFinished(kPatience);
    EXPECT_TRUE(waitUntil([&] { return keepers() == 0; }));
    ServicesTest::TearDown();
  }

  /// Runs a program of the tests on that server to its end, and returns what it prints.
  std::string run(const QString& program, const QStringList& arguments) const {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DISPLAY", QString::fromStdString(display_));
    environment.insert("QT_QPA_PLATFORM", "xcb");
    // What the window system's libraries keep until the end is no leak of ours.
    environment.insert("ASAN_OPTIONS", environment.value("ASAN_OPTIONS") + ":detect_leaks=0");
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForFinished(kPatience));
    EXPECT_EQ(process.exitCode(), 0);
    return process.readAllStandardOutput().toStdString();
  }
  std::string clipboard(const QStringList& arguments = {}) const {
    return run(ZEVANTI_BUILD_DIR "/tests/zevanti-test-clipboard", arguments);
  }

  /// How many programs keep the clipboard of that server.
  int keepers() const {
    int count = 0;
    std::error_code error;
    for (const auto& process : fs::directory_iterator("/proc", error)) {
      if (fs::read_symlink(process.path() / "exe", error).filename() != "zevanti-clipboard") continue;
      const std::string variables = contentOf(process.path() / "environ");
      if (variables.find("DISPLAY=" + display_ + std::string(1, '\0')) != std::string::npos) ++count;
    }
    return count;
  }

  QProcess server_;
  std::string display_;
};

TEST_F(ClipboardTest, OutlivesTheProgramUntilSomethingElseIsCopied) {
  const auto copy = [this](const char* test) {
    const std::string output = run(QString::fromStdString(fs::read_symlink("/proc/self/exe").string()),
                                   {"--gtest_filter=ServicesTest." + QLatin1String(test)});
    EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
  };
  copy("CopiesAText");
  EXPECT_NE(clipboard().find("text/plain\thttps://video.example/1\n"), std::string::npos);
  copy("CopiesAFileThatStaysAndAText");
  EXPECT_TRUE(waitUntil([&] { return keepers() == 1; })) << "the former one has gone";
  for (int time = 0; time < 2; ++time) {  // pasting takes nothing away
    const std::string content = clipboard();
    EXPECT_NE(content.find("text/uri-list\tfile:///"), std::string::npos) << content;
    EXPECT_NE(content.find("/Videos/Zevanti/Rainfall%20trimmed.m4v\\n\n"), std::string::npos) << content;
    EXPECT_NE(content.find("x-special/gnome-copied-files\tcopy\\nfile:///"), std::string::npos) << content;
    EXPECT_NE(content.find("text/plain\tLook at Rainfall by Cloud Works.\\nhttps://rainfall.example.org/"),
              std::string::npos)
        << content;
  }
  clipboard({"something else"});
  EXPECT_TRUE(waitUntil([&] { return keepers() == 0; }));
}

}  // namespace
