#include "tests/window/WindowTest.h"

#include <QElapsedTimer>
#include <cstdlib>
#include <filesystem>

namespace {
QtEditorWindow* window = nullptr;
std::string program;
}  // namespace

ZV_REGISTER_CLASS(Pressed, "WindowTestPressed", NSObject, {{"press", runtime::method(&Pressed::press)}})

const std::string& theProgram() {
  return program;
}

QtEditorWindow& theWindow() {
  return *window;
}

int picturesDrawnIn(int milliseconds) {
  int pictures = 0;
  const auto watch = QObject::connect(&theWindow().quickWindow(), &QQuickWindow::afterRendering, [&] { ++pictures; });
  QElapsedTimer timer;
  timer.start();
  waitUntil([&] { return timer.elapsed() >= milliseconds; });
  QObject::disconnect(watch);
  return pictures;
}

Strong<UIBarButtonItem> barItem(UIBarButtonSystemItem kind, const Strong<Pressed>& target) {
  return UIBarButtonItem::initWithBarButtonSystemItem_target_action(kind, target, "press");
}

Strong<UIToolbar> addToolbar(const Strong<UIView>& to, CGRect frame, std::vector<Strong<UIBarButtonItem>> items) {
  auto bar = std::make_shared<UIToolbar>();
  bar->setFrame(frame);
  bar->setItems(std::move(items));
  to->addSubview(bar);
  return bar;
}

Strong<UIView> addView(const Strong<UIView>& to, CGRect frame, UIColor color) {
  auto view = std::make_shared<UIView>();
  view->setFrame(frame);
  view->setBackgroundColor(color);
  to->addSubview(view);
  return view;
}

void WindowTest::SetUp() {
  controller_ = std::make_shared<UIViewController>();
  theWindow().resize({375, 667});
  theWindow().present(controller_);
  ASSERT_TRUE(waitUntil([] { return theWindow().quickWindow().isExposed(); }));
}

void WindowTest::TearDown() {
  theWindow().dismiss();
}

void WindowTest::resize(CGSize size) {
  theWindow().resize(size);
  EXPECT_TRUE(waitUntil([&] { return theWindow().window()->bounds().size == size; }));
}

std::string WindowTest::picturePath(const std::string& name) {
  const std::filesystem::path folder = std::filesystem::path(ZEVANTI_BUILD_DIR) / "pictures";
  std::filesystem::create_directories(folder);
  const char* scale = std::getenv("ZEVANTI_TEST_SCALE");
  return (folder / (name + (scale ? std::string("@") + scale : "") + ".png")).string();
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  program = std::filesystem::canonical(argv[0]).string();
  EditorWindow::Options options;
  options.offscreen = std::getenv("ZEVANTI_TEST_ON_SCREEN") == nullptr;
  options.size = CGSizeMake(375, 667);
  if (const char* scale = std::getenv("ZEVANTI_TEST_SCALE")) {
    options.scale = std::strtof(scale, nullptr);
  }
  options.title = "Window tests";
  EditorWindow::prepareEnvironment(options);
  auto editorWindow = std::make_unique<QtEditorWindow>(argc, argv, options);
  window = editorWindow.get();
  return RUN_ALL_TESTS();
}
