#include "platform/AVFoundation/AVAssetImageGenerator.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/backends/ffmpeg/FreedMemory.h"
#include "platform/backends/ffmpeg/PictureSize.h"
#include "platform/backends/ffmpeg/ThumbnailDecoder.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>

namespace {

using Clock = std::chrono::steady_clock;

/// How long a request waits for the one after it, whose distance tells a coarse strip from a fine one.
constexpr auto kNeighbourWait = std::chrono::milliseconds(4);

/// Seconds without a request after which a decoder is closed; opening one again takes some milliseconds.
constexpr double kIdleTime = 2;

struct Request {
  std::uint64_t number;
  CMTime time;
  CGSize maximumSize;
  AVAssetImageGenerator::CompletionHandler handler;
  double distanceBefore;  // seconds to the request before it; infinite for the first
  double distanceAfter;   // seconds to the one after it; infinite until that has come
  bool hasNext = false;
  Clock::time_point arrival = Clock::now();
};

}  // namespace

struct AVAssetImageGenerator::Impl {
  /// Shared with the work items, so that they can end in peace after the generator has gone.
  struct State {
    Strong<AVURLAsset> asset;
    std::atomic<bool> cancelled{false};
    dispatch_queue_t delivery = dispatch_queue_create("thumbnails: delivery");

    /// A decoder on a queue of its own; two of them use two processors.
    struct Worker {
      dispatch_queue_t queue = dispatch_queue_create("thumbnails: decoding");
      std::unique_ptr<ThumbnailDecoder> decoder;
      NSErrorPtr openError;
      bool scheduled = false;
      std::uint64_t runs = 0;      // how often it has been scheduled
      std::int64_t keyIndex = -1;  // the key frame that its decoder depends on at the moment, while decoding exactly
    };
    std::array<Worker, 2> workers;

    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<Request> requests;
    double lastTime = NAN;
    std::uint64_t requestCount = 0, nextNumber = 0;
    std::map<std::uint64_t, dispatch_block_t> finished;  // pictures that wait for earlier ones, by request number
    CGSize maximumSize;
  };
  std::shared_ptr<State> state = std::make_shared<State>();

  static void work(const std::shared_ptr<State>& state, State::Worker& worker);
  static void closeLater(const std::shared_ptr<State>& state, State::Worker& worker);
};

void AVAssetImageGenerator::Impl::work(const std::shared_ptr<State>& state, State::Worker& worker) {
  if (!worker.decoder && !worker.openError && !state->cancelled) {
    worker.decoder = ThumbnailDecoder::open(state->asset->readablePath(), state->asset->URL().lastPathComponent(),
                                            state->cancelled, &worker.openError);
    if (worker.decoder) worker.decoder->keyIndex(kCMTimeZero);  // reads the index
  }
  std::unique_lock lock(state->mutex);
  if (&worker != &state->workers[0] && worker.decoder && worker.decoder->pixels() > kPixelsOfTwoDecoders) {
    // The first one does it all: it is always at work when another one is.
    worker.scheduled = false;
    lock.unlock();
    worker.decoder = nullptr;
    return;
  }
  while (!state->requests.empty()) {
    // Fine strips: a run of requests that depend on one key frame is left to the decoder that has begun with it.
    auto next = state->requests.begin();
    const State::Worker& other = state->workers[&worker == &state->workers[0] ? 1 : 0];
    if (worker.decoder && other.keyIndex >= 0) {
      const auto free = std::find_if(next, state->requests.end(), [&](const Request& request) {
        return worker.decoder->keyIndex(request.time) != other.keyIndex;
      });
      if (free != state->requests.end()) next = free;
    }
    if (!next->hasNext && Clock::now() < next->arrival + kNeighbourWait) {
      state->arrived.wait_until(lock, next->arrival + kNeighbourWait);
      continue;  // the queue may have changed meanwhile
    }
    Request request = std::move(*next);
    state->requests.erase(next);
    const double distance = std::min(request.distanceBefore, request.distanceAfter);
    const bool exact = worker.decoder && distance < 0.999 * worker.decoder->keyInterval(request.time);
    worker.keyIndex = exact ? worker.decoder->keyIndex(request.time) : -1;
    lock.unlock();

    ThumbnailDecoder::Picture picture;
    NSErrorPtr error = worker.openError;
    if (worker.decoder) {
      picture = worker.decoder->picture(request.time, exact, request.maximumSize, &error);
    }
    lock.lock();
    const std::uint64_t number = request.number;
    state->finished.emplace(number, [request = std::move(request), picture, error] {
      request.handler(request.time, picture.image, picture.time, picture.image ? nullptr : error);
    });
    // What was asked for later waits for what was asked for earlier.
    while (!state->finished.empty() && (state->finished.begin()->first == state->nextNumber || state->cancelled)) {
      dispatch_async(state->delivery, std::move(state->finished.begin()->second));
      state->finished.erase(state->finished.begin());
      ++state->nextNumber;
    }
  }
  worker.keyIndex = -1;
  worker.scheduled = false;
  if (!state->cancelled) return closeLater(state, worker);
  lock.unlock();
  worker.decoder = nullptr;
}

/// An hour's index is large: a decoder that is not asked again for a while gives it back. With the mutex held.
void AVAssetImageGenerator::Impl::closeLater(const std::shared_ptr<State>& state, State::Worker& worker) {
  dispatch_after(kIdleTime, worker.queue, [weak = std::weak_ptr(state), &worker, runs = worker.runs] {
    const std::shared_ptr<State> state = weak.lock();
    if (!state) return;
    std::unique_ptr<ThumbnailDecoder> idle;
    {
      const std::lock_guard lock(state->mutex);
      if (worker.runs == runs) idle = std::move(worker.decoder);
    }
    if (!idle) return;
    idle = nullptr;
    returnFreedMemory();
  });
}

AVAssetImageGenerator::AVAssetImageGenerator() : impl_(std::make_shared<Impl>()) {}

AVAssetImageGenerator::~AVAssetImageGenerator() {
  const std::shared_ptr<Impl::State> state = impl_->state;
  state->cancelled = true;
  std::deque<Request> dropped;  // released after the lock: their handlers may hold anything
  const std::lock_guard lock(state->mutex);
  dropped.swap(state->requests);
  state->arrived.notify_all();
  for (Impl::State::Worker& worker : state->workers) {
    if (!worker.scheduled) dispatch_async(worker.queue, [state, &worker] { worker.decoder = nullptr; });
  }
}

Strong<AVAssetImageGenerator> AVAssetImageGenerator::initWithAsset(const Strong<AVURLAsset>& asset) {
  auto generator = std::make_shared<AVAssetImageGenerator>();
  generator->impl_->state->asset = asset;
  return generator;
}

void AVAssetImageGenerator::setMaximumSize(CGSize size) {
  const std::lock_guard lock(impl_->state->mutex);
  impl_->state->maximumSize = size;
}

CGSize AVAssetImageGenerator::maximumSize() const {
  const std::lock_guard lock(impl_->state->mutex);
  return impl_->state->maximumSize;
}

void AVAssetImageGenerator::generateCGImagesAsynchronouslyForTimes_completionHandler(const std::vector<CMTime>& times,
                                                                                     CompletionHandler handler) {
  const std::shared_ptr<Impl::State>& state = impl_->state;
  const std::lock_guard lock(state->mutex);
  for (CMTime time : times) {
    if (!time.isValid() || !state->asset) {
      auto error = std::make_shared<const NSError>(AVFoundationErrorDomain, AVErrorInvalidTimeRange, "No such time.");
      dispatch_async(state->delivery, [handler, time, error] { handler(time, nullptr, kCMTimeInvalid, error); });
      continue;
    }
    const double seconds = CMTimeGetSeconds(time);
    // The same time twice says nothing about how fine the strip is.
    double distance = std::abs(seconds - state->lastTime);
    if (!(distance > 0)) distance = INFINITY;
    if (!state->requests.empty()) {
      state->requests.back().distanceAfter = distance;
      state->requests.back().hasNext = true;
    }
    state->lastTime = seconds;
    state->requests.push_back({state->requestCount++, time, state->maximumSize, handler, distance, INFINITY});
  }
  state->arrived.notify_all();
  // The second decoder is worth its opening when there is more than one picture to make.
  const std::size_t wanted = std::min(state->requests.size(), state->workers.size());
  std::size_t scheduled = 0;
  for (const Impl::State::Worker& worker : state->workers) scheduled += worker.scheduled;
  for (Impl::State::Worker& worker : state->workers) {
    if (scheduled >= wanted) break;
    if (worker.scheduled) continue;
    worker.scheduled = true;
    ++worker.runs;
    ++scheduled;
    dispatch_async(worker.queue, [state, &worker] { Impl::work(state, worker); });
  }
}
