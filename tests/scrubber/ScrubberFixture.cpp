#include "ScrubberFixture.h"

#include <cstdio>
#include <utility>

UIMovieScrubber::Clock TestClock::clock() {
  return {[this] { return now_; },
          [this](double seconds, std::function<void()> block) { due_.emplace(now_ + seconds, std::move(block)); }};
}

void TestClock::pass(double seconds) {
  const double until = now_ + seconds;
  while (!due_.empty() && due_.begin()->first <= until + 1e-9) {
    auto next = due_.extract(due_.begin());
    now_ = std::max(now_, next.key());
    next.mapped()();
  }
  now_ = until;
}

std::vector<NSNumber> Recorder::movieScrubber_evenlySpacedTimestamps_startingAt_endingAt(UIMovieScrubber&, int count,
                                                                                         NSNumber start, NSNumber end) {
  std::vector<NSNumber> times;
  const double step = (end.doubleValue() - start.doubleValue()) / count;
  for (int i = 0; i < count && start.doubleValue() + i * step <= duration; ++i) {
    times.emplace_back(start.doubleValue() + i * step);
  }
  return times;
}

void Recorder::movieScrubber_requestThumbnailImageForTimestamp(UIMovieScrubber&, NSNumber timestamp) {
  requested.push_back(timestamp.doubleValue());
}

void Recorder::tell(const std::string& what) {
  told.push_back(what);
  if (onTold) onTold(what);
}

void Recorder::tell(const std::string& what, double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%s %.3f", what.c_str(), value);
  tell(text);
}

void ScrubberTest::SetUp() {
  scrubber = std::make_shared<UIMovieScrubber>();
  scrubber->setClock(clock.clock());
  scrubber->setAutoresizingMask(UIViewAutoresizingFlexibleWidth);
  scrubber->setMinimumTrimLength(1);
  scrubber->setEditable(true);
  scrubber->setZoomDelay(0.5);
  scrubber->setEdgeInset(10);
  container->addSubview(scrubber);
  scrubber->setDelegate(recorder, recorder.get());
  scrubber->setDataSource(recorder, recorder.get());
  setWidth(375);
  scrubber->reloadData();
  clock.pass(1);
}

void ScrubberTest::setWidth(CGFloat width) {
  container->setFrame({{0, 100}, {width, 38}});
  container->layoutIfNeeded();
}

void ScrubberTest::setDuration(double seconds) {
  recorder->duration = seconds;
  scrubber->reloadData();
  clock.pass(1);
}

void ScrubberTest::touch(UITouchPhase phase, CGPoint point, int identifier) {
  scrubber->handleTouch({identifier, phase, scrubber->convertPointToWindow(point), 0});
}

void ScrubberTest::drag(UIMovieScrubber::Handle handle, double seconds) {
  const auto from = scrubber->grabPointForHandle(handle);
  press(from.x);
  const auto to = scrubber->dragPointForHandle(handle, seconds);
  for (int i = 1; i <= 4; ++i) move(from.x + (to.x - from.x) * static_cast<CGFloat>(i) / 4);
  release(to.x);
}

int ScrubberTest::handleAt(CGFloat x) {
  press(x);
  const int handle = scrubber->look().activeHandle;
  touch(UITouchPhase::Cancelled, {x, 19});
  return handle;
}

ScrubberTest::Texts ScrubberTest::told() {
  return std::exchange(recorder->told, {});
}

UIAccessibilityElement ScrubberTest::element(const std::string& label) {
  for (const auto& element : scrubber->accessibilityElements()) {
    if (element.label == label) return element;
  }
  return {};
}

void ScrubberTest::deliver(const std::function<CGImageRef(double)>& picture) {
  for (const double time : std::exchange(recorder->requested, {})) {
    scrubber->setThumbnailImage_forTimestamp(picture(time), NSNumber(time));
  }
}

CGImageRef plainPicture(const QColor& color) {
  auto image = std::make_shared<CGImage>(160, 90);
  image->opaque = true;
  for (std::size_t i = 0; i + 3 < image->pixels.size(); i += 4) {
    image->pixels[i] = static_cast<std::uint8_t>(color.blue());
    image->pixels[i + 1] = static_cast<std::uint8_t>(color.green());
    image->pixels[i + 2] = static_cast<std::uint8_t>(color.red());
    image->pixels[i + 3] = 255;
  }
  return image;
}
