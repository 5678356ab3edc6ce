#include "EditorFixture.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/os_trace.h"
#include "support/NSFileManagerZVExtensions.h"

#include <QElapsedTimer>

namespace fs = std::filesystem;

void pump(double seconds) {
  QElapsedTimer timer;
  timer.start();
  (void)waitUntil([&] { return timer.elapsed() > seconds * 1000; });
}

std::string itemsOf(const Strong<UIToolbar>& bar) {
  std::string text;
  for (const Strong<UIBarButtonItem>& item : bar->items()) {
    if (!text.empty()) text += ' ';
    if (item->isCustomView()) {
      text += "title";
    } else if (item->isSpace()) {
      text += item->systemItem() == UIBarButtonSystemItem::FlexibleSpace ? "flex" : "fix";
    } else {
      text += item->accessibilityLabel();
    }
  }
  return text;
}

void EditorTest::SetUp() {
  library = fs::path(ZVScreenRecorderTempDirectory).parent_path().parent_path() / "library";
  fs::remove_all(library);
  fs::remove_all(ZVScreenRecorderTempDirectory);
  fs::create_directories(ZVScreenRecorderTempDirectory);
  PHPhotoLibrary::sharedPhotoLibrary().configure(library.string(), "Test App");
  delegate = std::make_shared<RecordingDelegate>();
  trace_log::clear();
}

void EditorTest::TearDown() {
  close();
}

void EditorTest::open(const std::string& recording, CGSize size) {
  testWindow().present(std::make_shared<UIViewController>());  // a window takes a new size only on the screen
  testWindow().resize(size);
  ASSERT_TRUE(waitUntil([&] { return testWindow().window()->bounds().size == size; }));
  movie = fs::path(ZVScreenRecorderTempDirectory) / recording;
  fs::copy_file(fs::path(ZEVANTI_TEST_DATA) / recording, movie);
  editor = ZVVideoEditorViewController::initWithBundleIdentifier_URL_applicationName(
      "org.example.app", NSURL::fileURLWithPath(movie.string()), "Test App");
  editor->setDelegate(delegate);
  testWindow().present(editor);
}

void EditorTest::openReady(const std::string& recording, CGSize size) {
  open(recording, size);
  ASSERT_TRUE(waitUntil([&] { return editor->avTrimmer()->dataSource() != nullptr; }));
}

void EditorTest::close() {
  if (!editor) return;
  testWindow().dismiss();
  const Weak<ZVVideoEditorViewController> watched = editor;
  editor = nullptr;
  EXPECT_TRUE(waitUntil([&] { return watched.expired(); })) << "something keeps the editor alive";
  EXPECT_TRUE(dispatch_main::waitForBackgroundWork(20));
  EXPECT_FALSE(fs::exists(movie)) << "the handed-over movie goes with the editor";
  for (const auto& left : fs::directory_iterator(ZVScreenRecorderTempDirectory)) ADD_FAILURE() << "left: " << left;
}

void EditorTest::select(double start, double end) {
  editor->movieScrubberDidBeginEditing(*editor->avTrimmer());
  editor->movieScrubber_editingStartValueDidChange(*editor->avTrimmer(), start);
  editor->movieScrubber_editingEndValueDidChange(*editor->avTrimmer(), end);
}

std::vector<std::string> EditorTest::libraryFiles() const {
  std::vector<std::string> names;
  if (!fs::exists(library)) return names;
  for (const auto& entry : fs::directory_iterator(library)) names.push_back(entry.path().filename().string());
  return names;
}
